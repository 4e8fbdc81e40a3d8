// Bytes as text and back: hexadecimal, packed BCD, trimming. The exported functions that work on
// pointers and lengths are declared in deskreader.h; here stand the forms on spans.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace deskreader::text {

// Writes bytes as upper-case hexadecimal digits, as many whole bytes as fit. Returns the characters
// written; no terminator.
std::size_t to_hex(std::span<const std::uint8_t> bytes, std::span<char> out) noexcept;

// Reads pairs of hexadecimal digits of either case, as many as fit; any other character counts as 0
// and an odd last one is ignored. Returns the bytes written.
std::size_t from_hex(std::string_view digits, std::span<std::uint8_t> out) noexcept;

}  // namespace deskreader::text
