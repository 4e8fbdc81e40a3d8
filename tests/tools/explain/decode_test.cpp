// What typed bytes are taken for, and answers to reset, APDUs and frames in words.
#include "explain/decode.h"

#include "lines.h"

namespace {

using namespace explain_tests;
using explain::hex;
using explain::Kind;
using explain::read_typed;

TEST(Typed, MayHaveSeparators) {
    EXPECT_EQ(hex(read_typed("00 a4:04-00,0x02 0X3F\r\n\t00;").bytes), "00A40400023F00");
    EXPECT_EQ(read_typed("00 a4").problem, "");
}

TEST(Typed, SaysWhatCannotBeRead) {
    EXPECT_EQ(read_typed("00 g1").problem, "character 4 is no hexadecimal digit");
    EXPECT_EQ(read_typed("00 1 2").problem, "character 5 ends half a byte");
    EXPECT_EQ(read_typed("001").problem, "the last byte has one digit");
    EXPECT_EQ(read_typed(" : ").problem, "no bytes");
}

TEST(Typed, IsFoundOut) {
    EXPECT_EQ(found("9F0206000000000012"), "tlv");
    EXPECT_EQ(found("6F0A8408A000000333010101"), "tlv");
    EXPECT_EQ(found("6F0A8408A000000333010101 9000"), "apdu");
    EXPECT_EQ(found("9F36020001"), "tlv");
    EXPECT_EQ(found("9F3602 6112"), "tlv");  // the last two bytes are no status word here
    EXPECT_EQ(found("3BE00000813120 45 35"), "atr");
    EXPECT_EQ(found("3B600000"), "atr");
    EXPECT_EQ(found("3B6000"), "atr");
    EXPECT_EQ(found("00A40400"), "apdu");
    EXPECT_EQ(found("00A4040007A0000000031010"), "apdu");
    EXPECT_EQ(found("80A8000002830000"), "apdu");
    EXPECT_EQ(found("00B2010C00"), "apdu");
    EXPECT_EQ(found("9000"), "apdu");
    EXPECT_EQ(found("6A82"), "apdu");
    EXPECT_EQ(found("6002E10182"), "frame");               // 60^02^E1^01 = 82
    EXPECT_EQ(found("36303032453130313832 03"), "frame");  // the same as it stands on the wire
    EXPECT_EQ(found("AAAAAA9669 0003 3001 32"), "frame");
    EXPECT_EQ(found("1B5D"), "frame");
    EXPECT_EQ(found("42"), "nothing");
}

// EMV Book 1, the basic answers of cards with T=0 and T=1 alone.
TEST(AnswerToReset, IsExplained) {
    EXPECT_EQ(lines(Kind::answer_to_reset, "3B600000"),
              "ATR  answer to reset  3B600000\n"
              "  TS  3B  direct convention\n"
              "  T0  60  TB1 TC1 follow, 0 historical bytes\n"
              "  TB1  00  VPP not connected\n"
              "  TC1  00  extra guard time: 0 etu\n");
    EXPECT_EQ(lines(Kind::answer_to_reset,
                    "3BE0000081312045"
                    "35"),
              "ATR  answer to reset  3BE000008131204535\n"
              "  TS  3B  direct convention\n"
              "  T0  E0  TB1 TC1 TD1 follow, 0 historical bytes\n"
              "  TB1  00  VPP not connected\n"
              "  TC1  00  extra guard time: 0 etu\n"
              "  TD1  81  protocol T=1, TD2 follows\n"
              "  TD2  31  protocol T=1, TA3 TB3 follow\n"
              "  TA3  20  T=1: the card takes blocks of 32 bytes\n"
              "  TB3  45  T=1: block waiting time 2^4, character waiting time 2^5\n"
              "  TCK  35  check byte, right\n");
}

// F = 512 and D = 16 at 4 MHz make 125000 bit/s.
TEST(AnswerToReset, HasSpeedModeAndHistoricalBytes) {
    EXPECT_EQ(lines(Kind::answer_to_reset, "3F 95 95 FF 10 80 8031E0 6502 4142"),
              "ATR  answer to reset  3F9595FF10808031E065024142\n"
              "  TS  3F  inverse convention\n"
              "  T0  95  TA1 TD1 follow, 5 historical bytes\n"
              "  TA1  95  F = 512, D = 16, clock up to 5 MHz: 125000 bit/s at 4 MHz\n"
              "  TD1  FF  for no protocol (T=15), TA2 TB2 TC2 TD2 follow\n"
              "  TA2  10  only T=0 is spoken at once (specific mode), which can change, speed as "
              "the reader knows it\n"
              "  TB2  80  VPP 128 tenths of a volt\n"
              "  TC2  80  T=0: waiting time integer 128\n"
              "  TD2  31  protocol T=1, TA3 TB3 follow\n"
              "  TA3  E0  T=1: the card takes blocks of 224 bytes\n"
              "  TB3  65  T=1: block waiting time 2^6, character waiting time 2^5\n"
              "  historical bytes  024142  .AB\n"
              "  cut short\n");
    EXPECT_EQ(lines(Kind::answer_to_reset, "3B06 80 65 4142"),
              "ATR  answer to reset  3B0680654142\n"
              "  TS  3B  direct convention\n"
              "  T0  06  no more interface bytes, 6 historical bytes\n"
              "  historical bytes  80654142  compact data objects\n"
              "    65  pre-issuing data  4142\n"
              "      cut short\n"
              "  cut short\n");
}

TEST(AnswerToReset, HasItsCheckByteChecked) {
    const std::string text = lines(Kind::answer_to_reset, "3BE0000081312045 34");
    EXPECT_NE(text.find("  TCK  34  check byte, wrong: 35 is right\n"), std::string::npos) << text;
}

// The card capabilities and status of ISO 7816-4, 8.1.1: 00, objects, life cycle, status word.
TEST(AnswerToReset, MayEndWithAStatus) {
    EXPECT_EQ(lines(Kind::answer_to_reset, "3B08 00 7341E014 05 9000"),
              "ATR  answer to reset  3B08007341E014059000\n"
              "  TS  3B  direct convention\n"
              "  T0  08  no more interface bytes, 8 historical bytes\n"
              "  historical bytes  007341E014059000  compact data objects and a status\n"
              "    73  card capabilities  41E014\n"
              "    card life cycle  05\n"
              "    SW  9000  done\n");
}

TEST(Apdu, IsExplained) {
    EXPECT_EQ(lines(Kind::apdu, "00A4040008A000000333010101 00"),
              "command  SELECT\n"
              "  CLA INS  00A4\n"
              "  P1 P2  0400  by name\n"
              "  Lc  8 bytes\n"
              "  data  A000000333010101  UnionPay debit\n"
              "  Le  up to 256 bytes\n");
    EXPECT_EQ(lines(Kind::apdu, "00B2011400"),
              "command  READ RECORD\n"
              "  CLA INS  00B2\n"
              "  P1 P2  0114  record 1 of file 2\n"
              "  Le  up to 256 bytes\n");
    EXPECT_EQ(lines(Kind::apdu, "80AE9000 02 0102"),
              "command  GENERATE AC\n"
              "  CLA INS  80AE\n"
              "  P1 P2  9000  ARQC, to go online, with signature (CDA)\n"
              "  Lc  2 bytes\n"
              "  data  0102\n");
    EXPECT_EQ(lines(Kind::apdu, "0020008003241234"),
              "command  VERIFY\n"
              "  CLA INS  0020\n"
              "  P1 P2  0080  PIN in plain text\n"
              "  Lc  3 bytes\n"
              "  data  241234\n");
}

TEST(Apdu, MayHaveExtendedLengths) {
    EXPECT_EQ(lines(Kind::apdu, "00B0810A 00 0100"),
              "command  READ BINARY\n"
              "  CLA INS  00B0\n"
              "  P1 P2  810A  file 1 from byte 10\n"
              "  Le  up to 256 bytes\n");
    EXPECT_EQ(lines(Kind::apdu, "00D60000 00 0002 4142"),
              "command  UPDATE BINARY\n"
              "  CLA INS  00D6\n"
              "  P1 P2  0000\n"
              "  Lc  2 bytes\n"
              "  data  4142\n");
}

TEST(Apdu, SaysWhatIsWrong) {
    EXPECT_EQ(lines(Kind::apdu, "00A404000841"),
              "command  SELECT\n"
              "  CLA INS  00A4\n"
              "  P1 P2  0400  by name\n"
              "  Lc  1 byte\n"
              "  data  41  A\n"
              "  Lc says 8 bytes, 1 there\n");
    EXPECT_EQ(lines(Kind::apdu, "00A4"), "command  00A4  too short for a command of ISO 7816-4\n");
}

TEST(Apdu, HasStatusWordsWithMeanings) {
    const auto word = [](std::string_view hex) {
        const std::string text = lines(Kind::apdu, hex);
        return text.substr(text.find("SW"));
    };
    EXPECT_EQ(word("9000"), "SW  9000  done\n");
    EXPECT_EQ(word("6110"), "SW  6110  done, 16 bytes more with GET RESPONSE\n");
    EXPECT_EQ(word("6100"), "SW  6100  done, 256 bytes more with GET RESPONSE\n");
    EXPECT_EQ(word("6C1F"), "SW  6C1F  wrong Le, 31 is right\n");
    EXPECT_EQ(word("63C2"), "SW  63C2  warning: failed, 2 tries left\n");
    EXPECT_EQ(word("63C1"), "SW  63C1  warning: failed, 1 try left\n");
    EXPECT_EQ(word("6982"), "SW  6982  security status not satisfied\n");
    EXPECT_EQ(word("6983"), "SW  6983  authentication method (PIN) blocked\n");
    EXPECT_EQ(word("6A82"), "SW  6A82  file or application not found\n");
    EXPECT_EQ(word("6D00"), "SW  6D00  instruction not supported\n");
    EXPECT_EQ(word("9303"), "SW  9303  application permanently blocked (PBOC)\n");
    EXPECT_EQ(word("6FFF"), "SW  6FFF  not a status word of any standard\n");
}

TEST(Frames, AreExplained) {
    EXPECT_EQ(lines(Kind::frame, "6002E10182"),
              "IC frame  command  2 bytes\n"
              "  power on, contact  E101\n"
              "  check  82  right\n");
    EXPECT_EQ(lines(Kind::frame, "6001FB9A"),
              "IC frame  reply  1 byte\n"
              "  status  FB  no card\n"
              "  check  9A  right\n");
    EXPECT_EQ(lines(Kind::frame, "AAAAAA9669 0003 3001 32"),
              "ID frame  command  2 bytes\n"
              "  identity module: read text and photo  3001\n"
              "  check  32  right\n");
    EXPECT_EQ(lines(Kind::frame, "AAAAAA9669 0004 000080 84"),
              "ID frame  reply  3 bytes\n"
              "  status  000080  no card\n"
              "  check  84  right\n");
    EXPECT_EQ(lines(Kind::frame, "1B425D"), "escape command  1B425D  read tracks 2 and 3\n");
}

// 02, then 00 02 31 13 and the XOR of the last two, 22, in characters '0' to '?', and 03.
TEST(Frames, OfTheUnionKindAreExplained) {
    EXPECT_EQ(lines(Kind::frame, "02 30303032 33313133 3232 03"),
              "Union frame  command  2 bytes\n"
              "  beep  3113\n"
              "  check  22  right\n");
    EXPECT_EQ(lines(Kind::frame, "02 30303032 31303032 3132 03"),
              "Union frame  reply  2 bytes\n"
              "  status  1002  no card\n"
              "  check  12  right\n");
}

TEST(Frames, StandInReports) {
    EXPECT_EQ(lines(Kind::frame, "00 01 02 1B5D" + std::string(120, '0')),
              "HID report  output\n"
              "  mode id  01\n"
              "  payload  2 bytes\n"
              "  escape command  1B5D  read track 2\n");
    EXPECT_EQ(lines(Kind::frame, "02 0B 3630303231313232353103" + std::string(102, '0')),
              "HID report  input\n"
              "  mode id  02\n"
              "  payload  11 bytes\n"
              "  IC frame  reply  2 bytes\n"
              "    status  11  status 11\n"
              "    data  22\n"
              "    check  51  right\n");
}

TEST(Frames, SayWhatIsWrong) {
    EXPECT_EQ(lines(Kind::frame, "6003E10182"),
              "IC frame  command  2 bytes\n"
              "  power on, contact  E101\n"
              "  length 3, but 2 bytes there\n"
              "  check  82  wrong: 83 is right\n");
    EXPECT_EQ(lines(Kind::frame, "AAAAAA9669 0003 30"),
              "ID frame  reply  1 byte\n"
              "  status  30  no status\n"
              "  cut short\n");
    EXPECT_EQ(lines(Kind::frame, "4142"), "frame  4142  no frame of the reader begins here\n");
}

}  // namespace
