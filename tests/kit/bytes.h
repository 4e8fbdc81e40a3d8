// Bytes as tests write and read them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kit {

using Bytes = std::vector<std::uint8_t>;

// The bytes of hexadecimal text; blanks between them are for the reader: hex("60 02 E101 82").
Bytes hex(std::string_view text);

// The bytes of a text as they stand: ascii("6002E10182").
Bytes ascii(std::string_view text);

// Upper-case hexadecimal text of bytes, without blanks.
std::string to_hex(std::span<const std::uint8_t> bytes);

// Several runs of bytes in one.
Bytes join(std::initializer_list<Bytes> parts);

}  // namespace kit
