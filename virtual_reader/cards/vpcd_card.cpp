#include "cards/vpcd_card.h"

namespace virtual_reader {
namespace {

constexpr std::size_t longest_answer = 64;  // to reset

}  // namespace

void VpcdCard::enter() {
    door_ =
        settings_.connects ? connecting_door(settings_.address) : listening_door(settings_.address);
}

void VpcdCard::leave() {
    power_off();
    connection_.reset();
    door_.reset();
}

bool VpcdCard::is_present() {
    if (connection_) {
        // Whoever comes instead is another card: the reader sees this one go first.
        if (connection_->is_open()) return true;
        connection_.reset();
        is_powered_ = false;
        return false;
    }
    if (!door_) return false;
    if (auto socket = door_->try_open()) connection_.emplace(std::move(*socket));
    return connection_ && connection_->is_open();
}

std::string VpcdCard::situation() {
    if (!door_) return {};
    const std::string place = text_of(door_->address());
    if (is_present()) return "connected at " + place;
    return (settings_.connects ? "connecting to " : "waiting at ") + place;
}

void VpcdCard::say(VpcdControl control) {
    const auto byte = static_cast<std::uint8_t>(control);
    connection_->send(vpcd_message(View(&byte, 1)));
}

// The answer to a message, empty if there is none. Who is late has gone out of step for good.
Bytes VpcdCard::ask(View message) {
    connection_->forget();
    connection_->send(vpcd_message(message));
    auto answer = connection_->take(settings_.limit);
    if (!answer) connection_->close();
    return answer.value_or(Bytes{});
}

Bytes VpcdCard::power_on() {
    if (!is_present()) return {};
    say(is_powered_ ? VpcdControl::reset : VpcdControl::power_on);
    is_powered_ = true;
    constexpr auto question = static_cast<std::uint8_t>(VpcdControl::answer);
    Bytes answer = ask(View(&question, 1));
    if (answer.size() <= longest_answer) return answer;
    connection_->close();
    return {};
}

void VpcdCard::power_off() {
    if (connection_ && is_powered_) say(VpcdControl::power_off);
    is_powered_ = false;
}

// A single byte would be taken for what is none.
Bytes VpcdCard::transmit(View command) {
    if (command.size() < 2 || command.size() > longest_vpcd_message) return {};
    if (!is_present() || !is_powered_) return {};
    return ask(command);
}

}  // namespace virtual_reader
