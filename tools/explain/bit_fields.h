// Fields of single bits and small codes in payment data: EMV Book 3 annex C, Book 4 annex A, EMV
// contactless Book A, JR/T 0025.
#pragma once

#include "bytes.h"
#include "note.h"
#include "tags.h"

namespace explain {

// Adds a note for every bit that is set, by name or as one that has none. False for a form that is
// no field of bits.
bool explain_bits(Form form, View value, Note& note);

// The names of small codes; empty for those without.
std::string cryptogram_name(std::uint8_t information);
std::string verification_method_name(std::uint8_t code);
std::string verification_condition_name(std::uint8_t code);
std::string verification_result_name(std::uint8_t code);
std::string transaction_name(std::uint8_t code);
std::string terminal_name(std::uint8_t code);
std::string response_code_name(std::string_view code);

}  // namespace explain
