// Bytes as this program handles them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_reader {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

// Hexadecimal text without blanks; throws std::invalid_argument for any other.
Bytes from_hex(std::string_view text);
std::string to_hex(View bytes);

inline Bytes to_bytes(View bytes) {
    return {bytes.begin(), bytes.end()};
}
inline Bytes to_bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

inline void append(Bytes& to, View bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

std::uint8_t xor_of(View bytes);

}  // namespace virtual_reader
