// Status words of ISO 7816-4, EMV and PBOC.
#pragma once

#include <cstdint>
#include <string>

namespace explain {

// Empty for one that no standard knows.
std::string status_word_name(std::uint16_t word);

// Whether its first byte is that of a status word: 61 to 6F, 90 to 9F.
constexpr bool may_be_status_word(std::uint16_t word) {
    const int first = word >> 8;
    return (first > 0x60 && first < 0x70) || (first >= 0x90 && first < 0xA0);
}

}  // namespace explain
