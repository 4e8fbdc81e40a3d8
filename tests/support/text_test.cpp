#include <deskreader.h>

#include "kit/bytes.h"

namespace {

using kit::Bytes;
using kit::hex;

TEST(HexToBytes, ReadsPairsOfEitherCase) {
    unsigned char out[4] = {};
    EXPECT_EQ(GHex2Byte("0aBcF9", 6, out, 4), 3);
    EXPECT_EQ(Bytes(out, out + 4), hex("0A BC F9 00"));
}

TEST(HexToBytes, OtherCharactersCountAsNought) {
    unsigned char out[3] = {0xEE, 0xEE, 0xEE};
    EXPECT_EQ(GHex2Byte("1g", 2, out, 3), 1);
    EXPECT_EQ(out[0], 0x10);
    EXPECT_EQ(GHex2Byte("\xFF\x80", 2, out, 3), 1);
    EXPECT_EQ(out[0], 0x00);
    EXPECT_EQ(GHex2Byte(" /:@G`", 6, out, 3), 3);
    EXPECT_EQ(Bytes(out, out + 3), hex("00 00 00"));
}

TEST(HexToBytes, OddLastCharacterIsIgnored) {
    unsigned char out[8] = {};
    EXPECT_EQ(GHex2Byte("ABC", 3, out, 8), 1);
    EXPECT_EQ(out[0], 0xAB);
    EXPECT_EQ(out[1], 0x00);
}

TEST(HexToBytes, WritesNoMoreThanTheRoom) {
    unsigned char out[3] = {0xEE, 0xEE, 0xEE};
    EXPECT_EQ(GHex2Byte("112233", 6, out, 2), 2);
    EXPECT_EQ(Bytes(out, out + 3), hex("11 22 EE"));
    EXPECT_EQ(GHex2Byte("112233", 6, out, 0), 0);
    EXPECT_LT(GHex2Byte("112233", 6, out, -1), 0);
    EXPECT_EQ(out[2], 0xEE);
}

TEST(HexToBytes, RefusesNothing) {
    unsigned char out[1];
    EXPECT_EQ(GHex2Byte(nullptr, 2, out, 1), -22);
    EXPECT_EQ(GHex2Byte("11", 0, out, 1), -22);
}

TEST(BytesToHex, WritesUpperCaseWithoutTerminator) {
    char out[9] = "########";
    const Bytes in = hex("00 9F AB");
    EXPECT_EQ(GByte2Hex(in.data(), 3, out, 8), 6);
    EXPECT_STREQ(out, "009FAB##");
}

TEST(BytesToHex, WritesWholeBytesThatFit) {
    char out[7] = "######";
    const Bytes in = hex("11 22 33");
    EXPECT_EQ(GByte2Hex(in.data(), 3, out, 5), 4);
    EXPECT_STREQ(out, "1122##");
    EXPECT_EQ(GByte2Hex(in.data(), 3, out, 1), 0);
}

TEST(BytesToHex, RefusesNullAndNoRoom) {
    char out[2];
    const unsigned char in[1] = {};
    EXPECT_EQ(GByte2Hex(nullptr, 1, out, 2), -22);
    EXPECT_EQ(GByte2Hex(in, 1, nullptr, 2), -22);
    EXPECT_EQ(GByte2Hex(in, 1, out, 0), -22);
    EXPECT_EQ(GByte2Hex(in, 0, out, 2), 0);
    EXPECT_EQ(GByte2Hex(in, -5, out, 2), 0);
}

TEST(BcdToText, GivesEachNibbleAsACharacter) {
    char out[7] = "######";
    const Bytes in = hex("1A 90 FB");
    EXPECT_EQ(GBCD2Ansi(in.data(), 3, out, 6), 6);
    EXPECT_STREQ(out, "1:90?;");
}

TEST(BcdToText, ChecksAndCountsAsHexadecimal) {
    char out[5] = "####";
    const Bytes in = hex("12 34");
    EXPECT_EQ(GBCD2Ansi(in.data(), 2, out, 3), 2);
    EXPECT_STREQ(out, "12##");
    EXPECT_EQ(GBCD2Ansi(nullptr, 1, out, 2), -22);
    EXPECT_EQ(GBCD2Ansi(in.data(), 1, nullptr, 2), -22);
    EXPECT_EQ(GBCD2Ansi(in.data(), 1, out, 0), -22);
}

TEST(TextToBcd, PacksWithoutMaskingTheHighCharacter) {
    unsigned char out[3] = {};
    EXPECT_EQ(GAnsi2BCD("12", 2, out, 3), 1);
    EXPECT_EQ(out[0], 0x12);
    EXPECT_EQ(GAnsi2BCD("A1", 2, out, 3), 1);
    EXPECT_EQ(out[0], 0x11);
    EXPECT_EQ(GAnsi2BCD("1A2", 3, out, 3), 1);
    EXPECT_EQ(out[0], 0x11);
}

TEST(TextToBcd, RefusesWhatDoesNotFit) {
    unsigned char out[1];
    EXPECT_EQ(GAnsi2BCD("1234", 4, out, 1), -22);
    EXPECT_EQ(GAnsi2BCD(nullptr, 2, out, 1), -22);
    EXPECT_EQ(GAnsi2BCD("12", 2, nullptr, 1), -22);
    EXPECT_EQ(GAnsi2BCD("12", 0, out, 1), -22);
    EXPECT_EQ(GAnsi2BCD("1", 1, out, 1), 0);
}

TEST(Xor, CombinesByteByByte) {
    unsigned char out[3];
    EXPECT_EQ(GXor(hex("0F F0 AA").data(), hex("FF FF AA").data(), out, 3), 0);
    EXPECT_EQ(Bytes(out, out + 3), hex("F0 0F 00"));
    EXPECT_EQ(GXor(nullptr, out, out, 3), -22);
    EXPECT_EQ(GXor(out, nullptr, out, 3), -22);
    EXPECT_EQ(GXor(out, out, nullptr, 3), -22);
    EXPECT_EQ(GXor(out, out, out, 0), -22);
}

TEST(TrimZero, StripsBothEnds) {
    unsigned char out[8] = {};
    EXPECT_EQ(GTrimZero(hex("00 12 00 34 00").data(), 5, out, 8), 3);
    EXPECT_EQ(Bytes(out, out + 3), hex("12 00 34"));
    EXPECT_EQ(GTrimZero(hex("12").data(), 1, out, 1), 1);
}

TEST(TrimZero, HasErrorsForNothingAndForTooMuch) {
    unsigned char out[2] = {};
    EXPECT_EQ(GTrimZero(hex("00 00").data(), 2, out, 2), -99);
    EXPECT_EQ(GTrimZero(hex("11").data(), 0, out, 2), -99);
    EXPECT_EQ(GTrimZero(hex("11 22 33").data(), 3, out, 2), -22);
    EXPECT_EQ(GTrimZero(nullptr, 1, out, 2), -22);
    EXPECT_EQ(GTrimZero(out, 1, nullptr, 2), -22);
    EXPECT_EQ(GTrimZero(out, 1, out, 0), -22);
}

TEST(DigitValue, KnowsDigitsAndLettersOfBothCases) {
    EXPECT_EQ(hex2num('0'), 0);
    EXPECT_EQ(hex2num('9'), 9);
    EXPECT_EQ(hex2num('a'), 10);
    EXPECT_EQ(hex2num('z'), 35);
    EXPECT_EQ(hex2num('A'), 10);
    EXPECT_EQ(hex2num('Z'), 35);
    for (const char other : {'/', ':', '@', '[', '`', '{', ' ', '\0', '\xFF'})
        EXPECT_EQ(hex2num(other), 111);
}

}  // namespace
