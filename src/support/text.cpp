#include "support/text.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "status.h"

namespace deskreader::text {
namespace {

// The two digits of every byte.
constexpr auto hex_digits = [] {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::array<std::array<char, 2>, 256> pairs{};
    for (unsigned byte = 0; byte < pairs.size(); ++byte)
        pairs[byte] = {digits[byte >> 4], digits[byte & 0x0F]};
    return pairs;
}();

// The value of every character as a hexadecimal digit; 0 for those that are none.
constexpr auto hex_values = [] {
    std::array<std::uint8_t, 256> values{};
    for (unsigned digit = 0; digit < 10; ++digit)
        values['0' + digit] = static_cast<std::uint8_t>(digit);
    for (unsigned digit = 10; digit < 16; ++digit) {
        values['A' + digit - 10] = values['a' + digit - 10] = static_cast<std::uint8_t>(digit);
    }
    return values;
}();

std::uint8_t hex_value(char character) noexcept {
    return hex_values[static_cast<unsigned char>(character)];
}

// How many bytes fit as two characters each.
std::size_t pairs_that_fit(int length, std::size_t out_size) noexcept {
    return std::min(static_cast<std::size_t>(std::max(length, 0)), out_size / 2);
}

}  // namespace

std::size_t to_hex(std::span<const std::uint8_t> bytes, std::span<char> out) noexcept {
    const std::size_t count = std::min(bytes.size(), out.size() / 2);
    const auto put = [&](std::size_t i) {
        std::memcpy(&out[2 * i], hex_digits[bytes[i]].data(), 2);
    };
    constexpr std::size_t group = 4;
    std::size_t i = 0;
    for (; i + group <= count; i += group) {
        put(i);
        put(i + 1);
        put(i + 2);
        put(i + 3);
    }
    for (; i < count; ++i)
        put(i);
    return 2 * count;
}

std::size_t from_hex(std::string_view digits, std::span<std::uint8_t> out) noexcept {
    const std::size_t count = std::min(digits.size() / 2, out.size());
    for (std::size_t i = 0; i < count; ++i) {
        out[i] =
            static_cast<std::uint8_t>(hex_value(digits[2 * i]) << 4 | hex_value(digits[2 * i + 1]));
    }
    return count;
}

}  // namespace deskreader::text

using namespace deskreader;

int GHex2Byte(const char* hex, size_t hex_length, unsigned char* out, int out_size) {
    if (hex == nullptr || hex_length == 0) return status::invalid_argument;
    if (out_size < 0) return out_size;
    const std::string_view digits(hex, hex_length);
    return static_cast<int>(text::from_hex(digits, {out, static_cast<std::size_t>(out_size)}));
}

int GByte2Hex(const unsigned char* in, int length, char* out, size_t out_size) {
    if (in == nullptr || out == nullptr || out_size == 0) return status::invalid_argument;
    const std::size_t count = text::pairs_that_fit(length, out_size);
    return static_cast<int>(text::to_hex({in, count}, {out, out_size}));
}

int GBCD2Ansi(const unsigned char* bcd, int length, char* out, size_t out_size) {
    if (bcd == nullptr || out == nullptr || out_size == 0) return status::invalid_argument;
    const std::size_t count = text::pairs_that_fit(length, out_size);
    for (std::size_t i = 0; i < count; ++i) {
        out[2 * i] = static_cast<char>('0' + (bcd[i] >> 4));
        out[2 * i + 1] = static_cast<char>('0' + (bcd[i] & 0x0F));
    }
    return static_cast<int>(2 * count);
}

int GAnsi2BCD(const char* text, size_t length, unsigned char* out, size_t out_size) {
    const std::size_t count = length / 2;
    if (text == nullptr || out == nullptr || length == 0 || count > out_size)
        return status::invalid_argument;
    for (std::size_t i = 0; i < count; ++i) {
        // kept: the high character is shifted whole, so 'A' (0x41) gives the nibble 1.
        const auto high = static_cast<unsigned char>(text[2 * i]);
        const auto low = static_cast<unsigned char>(text[2 * i + 1]);
        out[i] = static_cast<unsigned char>(high << 4 | (low & 0x0F));
    }
    return static_cast<int>(count);
}

int GXor(const unsigned char* a, const unsigned char* b, unsigned char* out, size_t length) {
    if (a == nullptr || b == nullptr || out == nullptr || length == 0)
        return status::invalid_argument;
    for (std::size_t i = 0; i < length; ++i)
        out[i] = a[i] ^ b[i];
    return status::ok;
}

int GTrimZero(const unsigned char* in, size_t length, unsigned char* out, size_t out_size) {
    if (in == nullptr || out == nullptr || out_size == 0) return status::invalid_argument;
    const auto is_data = [](unsigned char byte) { return byte != 0; };
    const unsigned char* begin = std::find_if(in, in + length, is_data);
    const unsigned char* end = in + length;
    if (begin == end) return status::failed;
    while (end[-1] == 0)
        --end;
    const auto kept = static_cast<std::size_t>(end - begin);
    if (kept > out_size) return status::invalid_argument;
    std::memmove(out, begin, kept);
    return static_cast<int>(kept);
}
