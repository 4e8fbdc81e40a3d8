// DES (FIPS 46-3) on single blocks, and triple DES with two or three keys.
#pragma once

#include <array>
#include <cstdint>

namespace deskreader::des {

enum class Direction { encrypt, decrypt };

// The sixteen round keys of one 8-byte key, parity bits ignored; each in eight groups of six bits.
using RoundKeys = std::array<std::array<std::uint8_t, 8>, 16>;

RoundKeys expand(const std::uint8_t* key) noexcept;

// One block, most significant byte first.
std::uint64_t crypt(std::uint64_t block, const RoundKeys& keys, Direction direction) noexcept;

}  // namespace deskreader::des
