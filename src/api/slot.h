// Which card a call is for, as hosts say it.
#pragma once

namespace deskreader::api {

enum class Slot { contact, contactless, automatic };

// 0 contact, 1 contactless, every other number automatic.
constexpr Slot slot_of(int number) noexcept {
    return number == 0 ? Slot::contact : number == 1 ? Slot::contactless : Slot::automatic;
}

// The kind of a card that answered.
inline constexpr int kind_contact = 0;
inline constexpr int kind_contactless = 1;

}  // namespace deskreader::api
