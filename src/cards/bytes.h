// Small forms that the card floor takes hosts' pointers, lengths and integers in.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace deskreader::cards {

using Bytes = std::span<const std::uint8_t>;

// A host's pointer and length; a negative length counts as 0.
inline Bytes bytes_of(const unsigned char* data, int length) noexcept {
    return {data, static_cast<std::size_t>(std::max(length, 0))};
}

constexpr std::uint8_t low_byte(int value) noexcept {
    return static_cast<std::uint8_t>(value);
}

}  // namespace deskreader::cards
