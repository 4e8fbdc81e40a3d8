// MD5 (RFC 1321).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace deskreader::md5 {

using Digest = std::array<std::uint8_t, 16>;

// One digest in the making: any number of updates, then one finish.
class Context {
  public:
    void update(std::span<const std::uint8_t> data) noexcept;
    Digest finish() noexcept;

  private:
    std::array<std::uint32_t, 4> state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::uint64_t length_ = 0;  // in bytes
    std::array<std::uint8_t, 64> block_;
};

}  // namespace deskreader::md5
