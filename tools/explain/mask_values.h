// How single values are masked, in place.
#pragma once

#include <string>
#include <string_view>

#include "bytes.h"
#include "tags.h"

namespace explain {

// The digits of a card number from which on six in front stay, and what of any stays at its end.
inline constexpr std::size_t shortest_card_number = 13;

// Masks the digits from `begin` to `end` of a number, in characters.
void mask_number(std::string& text, std::size_t begin, std::size_t end);

// A value that is secret in one of the ways. Returns the card number that it held, if it held one.
std::string mask_value(Room value, Secret secret);

// The characters of a stripe, separators and marks included: of track 1 alone, or of those that are
// there. Returns the card numbers.
std::vector<std::string> mask_stripe(Room characters, bool is_track_1 = false);

// Text without structure: runs of digits that are long enough for a card or identity number.
void mask_long_numbers(Room characters);

// Characters of two bytes each, the low one first.
void mask_wide_text(Room characters);

// Every place where the digits stand, as BCD at any nibble or as characters.
void mask_known_number(Room bytes, const std::string& digits);

}  // namespace explain
