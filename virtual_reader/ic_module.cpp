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

bool IcModule::has(std::string_view name) const {
    return std::ranges::any_of(drawer_, [&](const auto& one) { return one->name() == name; });
}

const IcModule::Inserted* IcModule::at(Place place) const {
    const auto there = std::ranges::find_if(inserted_, [&](const Inserted& one) {
        return one.place == place && one.card->is_present();
    });
    return there == inserted_.end() ? nullptr : &*there;
}

IcModule::Inserted* IcModule::at(Place place) {
    return const_cast<Inserted*>(std::as_const(*this).at(place));
}

// Two cards answer at once, and no reader understands either.
bool IcModule::is_crowded(Place place) const {
    return std::ranges::count_if(inserted_, [&](const Inserted& one) {
               return one.place == place && one.card->is_present();
           }) > 1;
}

const IcModule::Inserted* IcModule::find_inserted(const Card& card) const {
    const auto inserted = std::ranges::find(inserted_, &card, &Inserted::card);
    return inserted == inserted_.end() ? nullptr : &*inserted;
}

template <class Taken>
void IcModule::take_out(Taken is_taken) {
    std::erase_if(inserted_, [&](const Inserted& one) {
        if (!is_taken(one)) return false;
        one.card->power_off();
        one.card->leave();
        return true;
    });
}

void IcModule::put(Card& card, Place place) {
    take_out([&](const Inserted& one) { return one.card == &card; });
    card.enter();
    inserted_.push_back({place, &card, false, ++insertions_});
}

void IcModule::insert(std::string_view name, int slot) {
    Card& card = find(name);
    const Place place = card.contactless() ? Place{true, 0} : Place{false, slot};
    take_out([&](const Inserted& one) { return one.place == place; });
    put(card, place);
}

void IcModule::insert_beside(std::string_view name) {
    Card& card = find(name);
    if (!card.contactless())
        throw std::invalid_argument("the card " + std::string(name) + " is not contactless");
    put(card, {true, 0});
}

void IcModule::remove(std::string_view name) {
    const Card& card = find(name);
    if (find_inserted(card) == nullptr)
        throw std::invalid_argument("the card " + std::string(name) + " is not in the reader");
    take_out([&](const Inserted& one) { return one.card == &card; });
}

void IcModule::remove_all() {
    take_out([](const Inserted&) { return true; });
}

std::optional<Place> IcModule::place_of(std::string_view name) const {
    const Inserted* inserted = has(name) ? find_inserted(find(name)) : nullptr;
    return inserted == nullptr ? std::nullopt : std::optional(inserted->place);
}

void IcModule::power_off_all() {
    for (Inserted& inserted : inserted_) {
        inserted.powered = false;
        inserted.card->power_off();
    }
}

Result IcModule::power_on(Place place) {
    Inserted* inserted = at(place);
    if (inserted == nullptr) return {Outcome::no_card, {}};
    if (is_crowded(place)) {
        inserted->powered = false;
        inserted->card->power_off();
        return {Outcome::refused, {}};
    }
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
    return std::ranges::any_of(inserted_, [&](const Inserted& one) {
        return !one.place.field && one.card->is_present() && one.powered == powered;
    });
}

std::string IcModule::where(const Card& card) const {
    const Inserted* inserted = find_inserted(card);
    if (inserted == nullptr) return "out";
    const Place place = inserted->place;
    std::string text = place.field ? "in the field" : "slot " + std::to_string(place.slot);
    text += inserted->powered ? ", powered" : ", not powered";
    const std::string more = inserted->card->situation();
    return more.empty() ? text : text + ", " + more;
}

std::string IcModule::describe() const {
    std::string text;
    for (const auto& card : drawer_)
        text += card->name() + ": " + where(*card) + '\n';
    return text;
}

}  // namespace virtual_reader
