#include "ic_module.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

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

const IcModule::Inserted* IcModule::at(Place place) const {
    const auto inserted = inserted_.find(place);
    return inserted == inserted_.end() || !inserted->second.card->is_present() ? nullptr
                                                                               : &inserted->second;
}

IcModule::Inserted* IcModule::at(Place place) {
    return const_cast<Inserted*>(std::as_const(*this).at(place));
}

void IcModule::take_out(Card& card) {
    const auto taken =
        std::erase_if(inserted_, [&](const auto& entry) { return entry.second.card == &card; });
    if (taken == 0) return;
    card.power_off();
    card.leave();
}

void IcModule::insert(std::string_view name, int slot) {
    Card& card = find(name);
    const Place place = card.contactless() ? Place{true, 0} : Place{false, slot};
    take_out(card);
    if (const auto before = inserted_.find(place); before != inserted_.end())
        take_out(*before->second.card);
    card.enter();
    inserted_[place] = {&card, false, ++insertions_};
}

void IcModule::remove(std::string_view name) {
    Card& card = find(name);
    if (std::ranges::none_of(inserted_,
                             [&](const auto& entry) { return entry.second.card == &card; }))
        throw std::invalid_argument("the card " + std::string(name) + " is not in the reader");
    take_out(card);
}

void IcModule::remove_all() {
    while (!inserted_.empty())
        take_out(*inserted_.begin()->second.card);
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
    Bytes answer = inserted->card->power_on();
    inserted->powered = inserted->card->is_present();
    if (!inserted->powered) return {Outcome::no_card, {}};
    return {Outcome::done, std::move(answer)};
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
    const Inserted* inserted = at(place);
    return inserted == nullptr ? nullptr : inserted->card;
}

Card* IcModule::card_at(Place place) {
    const Inserted* inserted = at(place);
    return inserted == nullptr ? nullptr : inserted->card;
}

bool IcModule::is_powered(Place place) const {
    const Inserted* inserted = at(place);
    return inserted != nullptr && inserted->powered;
}

int IcModule::insertion(Place place) const {
    const Inserted* inserted = at(place);
    return inserted == nullptr ? 0 : inserted->number;
}

bool IcModule::any_contact_card(bool powered) const {
    return std::ranges::any_of(inserted_, [&](const auto& entry) {
        return !entry.first.field && entry.second.card->is_present() &&
               entry.second.powered == powered;
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
            if (const std::string more = card->situation(); !more.empty()) text += ", " + more;
        }
        text += '\n';
    }
    return text;
}

}  // namespace virtual_reader
