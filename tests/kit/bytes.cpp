#include "kit/bytes.h"

#include <stdexcept>

namespace kit {

Bytes hex(std::string_view text) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    Bytes bytes;
    bool high = true;
    for (const char character : text) {
        if (character == ' ' || character == '\n') continue;
        const std::size_t value = digits.find(character);
        if (value == std::string_view::npos)
            throw std::invalid_argument("not upper-case hexadecimal");
        if (high) {
            bytes.push_back(static_cast<std::uint8_t>(value << 4));
        } else {
            bytes.back() = static_cast<std::uint8_t>(bytes.back() | value);
        }
        high = !high;
    }
    if (!high) throw std::invalid_argument("odd number of hexadecimal digits");
    return bytes;
}

Bytes ascii(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

}  // namespace kit
