#include "support/checksum.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "status.h"

namespace deskreader::checksum {
namespace {

constexpr unsigned polynomial = 0x1021;  // CRC-16/XMODEM: x^16 + x^12 + x^5 + 1

// One byte shifted into the register, the most significant bit first.
constexpr unsigned shift_in(unsigned crc, unsigned byte) noexcept {
    for (unsigned bit = 0x80; bit != 0; bit >>= 1) {
        crc = crc << 1 | ((byte & bit) != 0 ? 1u : 0u);
        if ((crc & 0x10000) != 0) crc ^= polynomial;
        crc &= 0xFFFF;
    }
    return crc;
}

constexpr std::size_t stride = 8;

// What a byte does to the register: row 0 while it is shifted out of the upper end, row n with n
// zero bytes after it. With as many rows, as many bytes go at once.
constexpr auto shifted_out = [] {
    std::array<std::array<std::uint16_t, 256>, stride> rows{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte << 8;
        for (auto& row : rows) {
            crc = shift_in(crc, 0);
            row[byte] = static_cast<std::uint16_t>(crc);
        }
    }
    return rows;
}();

unsigned shift_in_byte(unsigned crc, std::uint8_t byte) noexcept {
    return (crc << 8 ^ shifted_out[0][(crc >> 8 ^ byte) & 0xFF]) & 0xFFFF;
}

// The register covers the first two bytes; those after them meet it as zeros.
unsigned shift_in_stride(unsigned crc, const std::uint8_t* bytes) noexcept {
    unsigned result = shifted_out[stride - 1][crc >> 8 ^ bytes[0]] ^
                      shifted_out[stride - 2][(crc & 0xFF) ^ bytes[1]];
    for (std::size_t i = 2; i < stride; ++i)
        result ^= shifted_out[stride - 1 - i][bytes[i]];
    return result;
}

}  // namespace
}  // namespace deskreader::checksum

using namespace deskreader;

int GCalXor(const unsigned char* data, size_t length) {
    if (data == nullptr || length == 0) return status::invalid_argument;
    return checksum::xor_of({data, length});
}

long long GCalSum(const unsigned char* data, size_t length) {
    if (data == nullptr || length == 0) return status::invalid_argument;
    unsigned long long sum = 0;
    for (const unsigned char byte : std::span(data, length))
        sum += byte;
    return static_cast<long long>(sum);
}

unsigned UpdateCRC16(unsigned crc, unsigned byte) {
    return checksum::shift_in(crc & 0xFFFF, byte);
}

unsigned GCalCRC16(const unsigned char* data, long length) {
    if (data == nullptr) return 0;
    // The same as shifting in every byte bit by bit and then two zero bytes.
    std::span<const unsigned char> rest(data, static_cast<std::size_t>(std::max(length, 0L)));
    unsigned crc = 0;
    for (; rest.size() >= checksum::stride; rest = rest.subspan(checksum::stride))
        crc = checksum::shift_in_stride(crc, rest.data());
    for (const unsigned char byte : rest)
        crc = checksum::shift_in_byte(crc, byte);
    return crc;
}
