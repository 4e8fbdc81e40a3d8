// Chinese text of the source, written out in GB 18030 while compiling: what a host reads must not
// depend on the encoding that a compiler gives to its literals.
#pragma once

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace deskreader::gb18030 {

inline constexpr GB18030_2BYTE two_byte_rows[] = {
#include "support/gb18030_two_byte_rows.inc"
};

// Declared and nowhere defined: a call to one of them does not compile where the compiler encodes.
void character_has_no_two_byte_code();
void text_leaves_no_room_for_its_terminator();

// A terminated text of less than Room bytes.
template <std::size_t Room>
struct Literal {
    std::array<char, Room> bytes{};
    std::size_t size = 0;

    constexpr std::string_view view() const noexcept { return {bytes.data(), size}; }
    constexpr void append(unsigned byte) noexcept { bytes[size++] = static_cast<char>(byte); }
};

// Does not compile for a text that needs more room, or a character that is neither ASCII nor has
// two bytes.
template <std::size_t Room>
consteval Literal<Room> encode(std::u16string_view text) {
    Literal<Room> literal;
    for (const char16_t unit : text) {
        if (unit < 0x80) {
            literal.append(unit);
            continue;
        }
        const auto* row = std::ranges::lower_bound(two_byte_rows, unit, {}, &GB18030_2BYTE::nUcs2);
        if (row == std::end(two_byte_rows) || row->nUcs2 != unit) character_has_no_two_byte_code();
        literal.append(row->nCode >> 8);
        literal.append(row->nCode & 0xFF);
    }
    if (literal.size == Room) text_leaves_no_room_for_its_terminator();
    return literal;
}

}  // namespace deskreader::gb18030
