// Check values over bytes.
#pragma once

#include <cstdint>
#include <span>

namespace deskreader::checksum {

// All bytes XORed; 0 for none.
inline std::uint8_t xor_of(std::span<const std::uint8_t> bytes) noexcept {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum ^= byte;
    return sum;
}

}  // namespace deskreader::checksum
