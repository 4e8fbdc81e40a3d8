// Bytes and their hexadecimal text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace explain {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;
using Room = std::span<std::uint8_t>;

// Upper-case digits without blanks.
std::string hex(View bytes);

// The value of a hexadecimal digit, -1 for any other character.
int digit_value(char character);

inline std::uint16_t word_at(View bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

// Of what is left behind `at`, at most `count` bytes; none behind the end.
template <class Element>
std::span<Element> part(std::span<Element> all, std::size_t at, std::size_t count = SIZE_MAX) {
    if (at >= all.size()) return {};
    return all.subspan(at, count < all.size() - at ? count : all.size() - at);
}

inline Bytes copy_of(View bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace explain
