#include <deskreader.h>

#include <random>

#include "kit/bytes.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;

TEST(XorSum, CombinesAllBytes) {
    EXPECT_EQ(GCalXor(hex("5A").data(), 1), 0x5A);
    EXPECT_EQ(GCalXor(hex("01 02 03").data(), 3), 0);
    EXPECT_EQ(GCalXor(nullptr, 1), -22);
    EXPECT_EQ(GCalXor(hex("01").data(), 0), -22);
}

TEST(Sum, IsNotReduced) {
    EXPECT_EQ(GCalSum(hex("FF FF").data(), 2), 510);
    const Bytes many(100'000, 0xFF);
    EXPECT_EQ(GCalSum(many.data(), many.size()), 25'500'000);
    EXPECT_EQ(GCalSum(nullptr, 1), -22);
    EXPECT_EQ(GCalSum(hex("01").data(), 0), -22);
}

// The augmented form, bit by bit, as the standard words it.
unsigned shift_in_bits(unsigned crc, unsigned byte) {
    for (int bit = 7; bit >= 0; --bit) {
        crc = crc * 2 + (byte >> bit & 1);
        if (crc >= 0x10000) crc = (crc ^ 0x1021) & 0xFFFF;
    }
    return crc;
}

TEST(Crc16, HasThePublishedCheckValue) {
    EXPECT_EQ(GCalCRC16(ascii("123456789").data(), 9), 0x31C3u);
    EXPECT_EQ(GCalCRC16(ascii("A").data(), 1), 0x58E5u);
}

TEST(Crc16, OfNothingIsNought) {
    EXPECT_EQ(GCalCRC16(nullptr, 5), 0u);
    EXPECT_EQ(GCalCRC16(hex("01").data(), 0), 0u);
    EXPECT_EQ(GCalCRC16(hex("01").data(), -1), 0u);
}

TEST(Crc16, AgreesWithShiftingBitByBit) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        Bytes bytes(random() % 300);
        unsigned expected = 0;
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
            expected = shift_in_bits(expected, byte);
        }
        expected = shift_in_bits(shift_in_bits(expected, 0), 0);
        EXPECT_EQ(GCalCRC16(bytes.data(), static_cast<long>(bytes.size())), expected);
    }
}

TEST(Crc16, RegisterTakesOneByte) {
    EXPECT_EQ(UpdateCRC16(0, 0x00), 0x0000u);
    EXPECT_EQ(UpdateCRC16(0, 0xA5), 0x00A5u);
    EXPECT_EQ(UpdateCRC16(0x0100, 0x00), 0x1021u);
    std::mt19937 random(2);
    for (int round = 0; round < 1000; ++round) {
        const unsigned crc = random() & 0xFFFF;
        const unsigned byte = random() & 0xFF;
        EXPECT_EQ(UpdateCRC16(crc, byte), shift_in_bits(crc, byte));
    }
}

}  // namespace
