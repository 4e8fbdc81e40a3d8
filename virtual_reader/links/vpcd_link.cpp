#include "links/vpcd_link.h"

#include <stdexcept>

namespace virtual_reader {
namespace {

// PC/SC part 3, 3.1.3.2.3: what a reader makes up for a contactless card without historical bytes.
constexpr std::uint8_t contactless_answer[] = {0x3B, 0x80, 0x80, 0x01, 0x01};

Bytes answer_to_reset(const Bytes& answer) {
    constexpr std::uint8_t direct = 0x3B;
    constexpr std::uint8_t inverse = 0x3F;
    const bool is_contact = !answer.empty() && (answer[0] == direct || answer[0] == inverse);
    return is_contact ? answer : to_bytes(View(contactless_answer));
}

}  // namespace

Place VpcdLink::place_of(const std::string& card, const Reader& reader) {
    constexpr Place first_slot{false, 0};
    if (card.empty()) return first_slot;
    const auto place = reader.ic().place_of(card);
    if (!place || !reader.ic().card_at(*place)->knows_apdus())
        throw std::invalid_argument("the card " + card + " takes no commands from PC/SC programs");
    return *place;
}

bool VpcdLink::serve(Reader& reader) {
    if (!follow_card(reader) || !connect(reader)) return false;
    write_due();
    // Others want their turn as well.
    constexpr int most_messages = 64;
    for (int messages = 0; messages < most_messages && connection_; ++messages) {
        const auto message = connection_->take();
        if (!message) break;
        answer(reader, *message);
        if (!follow_card(reader)) return false;
    }
    write_due();
    if (connection_->is_open()) return true;
    disconnect(reader);
    return false;
}

// Whether there is a card; another one than before is not that connection's.
bool VpcdLink::follow_card(Reader& reader) {
    const bool is_plugged = reader.faults().is_plugged();
    const int insertion = is_plugged ? reader.ic().insertion(place_) : 0;
    const int replugs = reader.faults().replugs();
    if (connection_ && (insertion != insertion_ || replugs != replugs_)) disconnect(reader);
    insertion_ = insertion;
    replugs_ = replugs;
    return insertion != 0;
}

bool VpcdLink::connect(Reader& reader) {
    if (connection_) return true;
    auto socket = door_->try_open();
    if (!socket) return false;
    connection_.emplace(std::move(*socket));
    answer_to_reset_ = answer_to_reset(reader.ic().power_on(place_).data);
    reader.ic().power_off(place_);
    return true;
}

void VpcdLink::disconnect(Reader& reader) {
    // What an unplugged reader had said before still arrives.
    write_due();
    connection_.reset();
    output_.clear();
    if (reader.ic().insertion(place_) == insertion_) reader.ic().power_off(place_);
}

void VpcdLink::control(Reader& reader, std::uint8_t message) {
    switch (static_cast<VpcdControl>(message)) {
        case VpcdControl::power_off:
            reader.ic().power_off(place_);
            break;
        case VpcdControl::power_on:
        case VpcdControl::reset:
            answer_to_reset_ = answer_to_reset(reader.ic().power_on(place_).data);
            break;
        case VpcdControl::answer:
            output_.put({{vpcd_message(answer_to_reset_)}}, steady_now());
            break;
    }
}

// What means nothing is passed over.
void VpcdLink::answer(Reader& reader, View message) {
    if (message.empty()) return;
    if (message.size() == 1) return control(reader, message[0]);
    const Result result = reader.ic().transmit(place_, message);
    output_.put(reader.faults().spoil(vpcd_message(result.data)), steady_now());
}

void VpcdLink::write_due() {
    if (!connection_) return;
    while (const auto bytes = output_.take_due(steady_now()))
        connection_->send(*bytes);
}

}  // namespace virtual_reader
