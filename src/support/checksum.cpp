#include "support/checksum.h"

#include <deskreader.h>

#include <array>

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

// What the register's upper byte does to it while it is shifted out.
constexpr auto shifted_out = [] {
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        table[byte] = static_cast<std::uint16_t>(shift_in(byte << 8, 0));
    }
    return table;
}();

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
    // The same as shifting in every byte and then two zero bytes, one table row a byte.
    unsigned crc = 0;
    for (long at = 0; at < length; ++at) {
        crc = (crc << 8 ^ checksum::shifted_out[(crc >> 8 ^ data[at]) & 0xFF]) & 0xFFFF;
    }
    return crc;
}
