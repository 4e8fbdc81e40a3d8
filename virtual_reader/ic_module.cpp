#include "ic_module.h"

#include <algorithm>
#include <stdexcept>

namespace virtual_reader {

void IcModule::add(std::unique_ptr<Card> card) {
    drawer_.push_back(std::move(card));
}

Card& IcModule::find(std::string_view name) const {
    const auto card =
        std::ranges::find_if(drawer_, [&](const auto& one) { return one->name() == name; });
    if (card == drawer_.end()) throw std::invalid_argument("no card is named " + std::string(name));
    return **card;
}

IcModule::Inserted* IcModule::at(Place place) {
    const auto inserted = inserted_.find(place);
    return inserted == inserted_.end() ? nullptr : &inserted->second;
}

void IcModule::insert(std::string_view name, int slot) {
    Card& card = find(name);
    std::erase_if(inserted_, [&](const auto& entry) { return entry.second.card == &card; });
    const Place place = card.contactless() ? Place{true, 0} : Place{false, slot};
    if (const Inserted* before = at(place)) before->card->power_off();
    inserted_[place] = {&card, false};
}

void IcModule::remove(std::string_view name) {
    Card& card = find(name);
    const auto removed =
        std::erase_if(inserted_, [&](const auto& entry) { return entry.second.card == &card; });
    if (removed == 0)
        throw std::invalid_argument("the card " + std::string(name) + " is not in the reader");
    card.power_off();
}

void IcModule::remove_all() {
    for (auto& [place, inserted] : inserted_)
        inserted.card->power_off();
    inserted_.clear();
}

void IcModule::power_off_all() {
    for (auto& [place, inserted] : inserted_) {
        inserted.powered = false;
        inserted.card->power_off();
    }
}

Result IcModule::power_on(Place place) {
    Inserted* inserted = at(place);
    if (inserted == nullptr) return {Outcome::no_card, {}};
    inserted->powered = true;
    return {Outcome::done, inserted->card->power_on()};
}

Result IcModule::power_off(Place place) {
    Inserted* inserted = at(place);
    if (inserted == nullptr) return {Outcome::no_card, {}};
    inserted->powered = false;
    inserted->card->power_off();
    return {Outcome::done, {}};
}

Result IcModule::transmit(Place place, View command) {
    Inserted* inserted = at(place);
    if (inserted == nullptr) return {Outcome::no_card, {}};
    if (!inserted->powered) return {Outcome::not_powered, {}};
    Bytes response = inserted->card->transmit(command);
    if (response.empty()) return {Outcome::refused, {}};
    return {Outcome::done, std::move(response)};
}

const Card* IcModule::card_at(Place place) const {
    const auto inserted = inserted_.find(place);
    return inserted == inserted_.end() ? nullptr : inserted->second.card;
}

Card* IcModule::card_at(Place place) {
    const Inserted* inserted = at(place);
    return inserted == nullptr ? nullptr : inserted->card;
}

bool IcModule::is_powered(Place place) const {
    const auto inserted = inserted_.find(place);
    return inserted != inserted_.end() && inserted->second.powered;
}

bool IcModule::any_contact_card(bool powered) const {
    return std::ranges::any_of(inserted_, [&](const auto& entry) {
        return !entry.first.field && entry.second.powered == powered;
    });
}

std::string IcModule::describe() const {
    std::string text;
    for (const auto& card : drawer_) {
        const auto entry = std::ranges::find_if(
            inserted_, [&](const auto& one) { return one.second.card == card.get(); });
        text += card->name() + ": ";
        if (entry == inserted_.end()) {
            text += "out";
        } else {
            text +=
                entry->first.field ? "in the field" : "slot " + std::to_string(entry->first.slot);
            text += entry->second.powered ? ", powered" : ", not powered";
        }
        text += '\n';
    }
    return text;
}

}  // namespace virtual_reader
