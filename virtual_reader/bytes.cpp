#include "bytes.h"

#include <stdexcept>

namespace virtual_reader {
namespace {

constexpr std::string_view upper_digits = "0123456789ABCDEF";

unsigned digit_value(char digit) {
    const char upper = digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit;
    const std::size_t value = upper_digits.find(upper);
    if (value == std::string_view::npos) throw std::invalid_argument("not hexadecimal");
    return static_cast<unsigned>(value);
}

}  // namespace

Bytes from_hex(std::string_view text) {
    if (text.size() % 2 != 0) throw std::invalid_argument("odd number of hexadecimal digits");
    Bytes bytes;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        bytes.push_back(
            static_cast<std::uint8_t>(digit_value(text[at]) << 4 | digit_value(text[at + 1])));
    }
    return bytes;
}

std::string to_hex(View bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += upper_digits[byte >> 4];
        text += upper_digits[byte & 0x0F];
    }
    return text;
}

std::uint8_t xor_of(View bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum = static_cast<std::uint8_t>(sum ^ byte);
    return sum;
}

}  // namespace virtual_reader
