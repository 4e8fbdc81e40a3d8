// What leaves the desk in a recording or a decoded log, and what does not.
#include "explain/mask.h"

#include "bytes.h"

namespace {

using namespace explain_tests;
using explain::hex;
using explain::Mask;
using enum explain::Direction;

std::string objects(std::string_view text) {
    return hex(Mask().objects(bytes(text)));
}

TEST(Mask, KeepsTheEndsOfCardNumbers) {
    EXPECT_EQ(objects("5A08 6222021234567890"), "5A086222020000007890");
    EXPECT_EQ(objects("5A0A 6222021234567890128F"), "5A0A6222020000000000128F");
}

TEST(Mask, KeepsDateAndServiceCodeOfTrack2) {
    EXPECT_EQ(objects("5713 6222021234567890 D2512 201 1234567890123F"),
              "57136222020000007890D25122010000000000000F");
    EXPECT_EQ(objects("9F6B13 6222021234567890 D2512 201 1234567890123F"),
              "9F6B136222020000007890D25122010000000000000F");
}

TEST(Mask, TakesNamesAndIdentityNumbers) {
    EXPECT_EQ(objects("5F200A 5A48414E472F53414E20"), "5F200A58585858582F58585820");
    EXPECT_EQ(objects("9F6106 313130313058"), "9F6106303030303058");
}

TEST(Mask, TakesPinsAndKeys) {
    Mask mask;
    EXPECT_EQ(hex(mask.command(bytes("00200080 08 241234FFFFFFFFFF"))),
              "00200080080000000000000000");
    EXPECT_EQ(hex(mask.command(bytes("84240000 10 00112233445566778899AABBCCDDEEFF"))),
              "842400001000000000000000000000000000000000");
    EXPECT_EQ(hex(mask.command(bytes("80D80000 04 01020304"))), "80D800000400000000");
    EXPECT_EQ(hex(mask.command(bytes("A2 2C 41424344"))), "A22C00000000");
    EXPECT_EQ(hex(mask.command(bytes("A2 10 41424344"))), "A21041424344");
    EXPECT_EQ(objects("7206 8604 84240000"), "7206860484240000");
    EXPECT_EQ(objects("720A 8608 8424000003 112233"), "720A86088424000003000000");
    EXPECT_EQ(objects("9908 1122334455667788"), "99080000000000000000");
}

TEST(Mask, LooksIntoTemplates) {
    EXPECT_EQ(objects("700C 5F24 03 251231 5A04 12345678"), "700C5F24032512315A0400000000");
}

TEST(Mask, LeavesEverythingElse) {
    constexpr auto plain =
        "6F2A8408A000000333010101A51E500850424F432044454249548701019F38099F7A019F02065F2A025F2D027A"
        "68";
    EXPECT_EQ(objects(plain), plain);
    Mask mask;
    EXPECT_EQ(hex(mask.command(bytes("00A4040008A000000333010101"))), "00A4040008A000000333010101");
    EXPECT_EQ(hex(mask.response(bytes("9000"))), "9000");
}

// What is left of a number without an end is no longer than what may stay, or is masked alike.
TEST(Mask, TakesObjectsThatAreCutShort) {
    EXPECT_EQ(objects("7040 5A08 6222021234567890"), "70405A086222020000007890");
    EXPECT_EQ(objects("7040 5A08 622202123456"), "70405A08000000003456");
}

TEST(Mask, KnowsANumberAgain) {
    Mask mask;
    mask.objects(bytes("5A086222021234567890"));
    EXPECT_EQ(hex(mask.command(bytes("80AE8000 0A AA 6222021234567890 BB"))),
              "80AE80000AAA6222020000007890BB");
    EXPECT_EQ(text(mask.command(characters("00000 6222021234567890"))), "00000 6222020000007890");
}

TEST(Mask, StandsANumberThatItLeavesAsItIs) {
    EXPECT_EQ(objects("5A089999990000000013 57089999990000000013"),
              "5A08999999000000001357089999990000000013");
}

TEST(Mask, KeepsIcFramesWhole) {
    Mask mask;
    EXPECT_EQ(text(mask.wire(to_reader, characters("600FE3010020008008241234FFFFFFFFFFD8\x03"))),
              "600FE3010020008008000000000000000025\x03");
    EXPECT_EQ(text(mask.wire(from_reader, characters("600F00700A5A08622202123456789090000D\x03"))),
              "600F00700A5A08622202000000789090007D\x03");
}

TEST(Mask, KeepsAWrongCheckByteAsWrong) {
    EXPECT_EQ(text(Mask().wire(to_reader, characters("600FE3010020008008241234FFFFFFFFFFC9\x03"))),
              "600FE3010020008008000000000000000034\x03");
}

TEST(Mask, KeepsUnionFramesWhole) {
    Mask mask;
    EXPECT_EQ(text(mask.wire(to_reader, characters("\x02"
                                                   "000:32420100:0:1:2:3:4:570\x03"))),
              "\x02"
              "000:3242010000000000000071\x03");
    mask.wire(to_reader, characters("\x02"
                                    "000332430776\x03"));
    EXPECT_EQ(
        text(mask.wire(from_reader, characters("\x02"
                                               "00120000:0:1:2:3:4:5??078069;0;1;2;3;4;511\x03"))),
        "\x02"
        "00120000000000000000??07806900000000000011\x03");
}

TEST(Mask, FindsFramesInNoiseAndCutShort) {
    Mask mask;
    EXPECT_EQ(text(mask.wire(to_reader, characters("!600FE3010020008008241234FFFFFFF"))),
              "!600FE3010020008008000000000000F");
    EXPECT_EQ(text(mask.wire(to_reader, characters("6222021234567890"))), "6222020000007890");
}

TEST(Mask, TakesCardsOfTheStripeReader) {
    Mask mask;
    EXPECT_EQ(text(mask.wire(to_reader, characters("\033]"))), "\033]");
    EXPECT_EQ(text(mask.wire(from_reader,
                             characters("\033s6222021234567890=25122011234567A"
                                        "996222021234567890=156=0123456789%B6222021234567890^"
                                        "ZHANG/SAN^25122011234567?\x1C"))),
              "\033s6222020000007890=25122010000000A"
              "996222000000007890=156=0123456000%B6222020000007890^"
              "XXXXX/XXX^25122010000000?\x1C");
    EXPECT_EQ(text(mask.wire(to_reader, characters("\033t6222021234567890=2512\x1D\033\\\033j"))),
              "\033t6222020000007890=2512\x1D\033\\\033j");
    EXPECT_EQ(text(mask.wire(from_reader, characters("\033s\x7F?\x1C"))), "\033s\x7F?\x1C");
}

// A record of 256 bytes of text and 1024 of photo.
TEST(Mask, TakesIdentityCards) {
    Bytes record = bytes("000090 0100 0400");
    Bytes name = bytes("205F 094E");  // two characters, the low byte first
    record.insert(record.end(), name.begin(), name.end());
    while (record.size() < 7 + 122)
        record.insert(record.end(), {0x20, 0x00});
    record.insert(record.end(), {'1', 0, 'X', 0});
    while (record.size() < 7 + 248)
        record.insert(record.end(), {0x20, 0x00});
    record.insert(record.end(), {'J', 0});
    while (record.size() < 7 + 256)
        record.insert(record.end(), {0x20, 0x00});
    record.insert(record.end(), 1024, 0x77);
    Bytes frame = bytes("AAAAAA9669 0508");
    frame.insert(frame.end(), record.begin(), record.end());
    std::uint8_t sum = 0;
    for (std::size_t i = 5; i < frame.size(); ++i)
        sum ^= frame[i];
    frame.push_back(sum);

    Mask mask;
    mask.wire(to_reader, bytes("AAAAAA9669 0003 3001 32"));
    const Bytes masked = mask.wire(from_reader, frame);
    ASSERT_EQ(masked.size(), frame.size());
    EXPECT_EQ(hex(Bytes(masked.begin(), masked.begin() + 14 + 6)),
              "AAAAAA9669050800009001000400"
              "2A002A002000");
    EXPECT_EQ(hex(Bytes(masked.begin() + 14 + 122, masked.begin() + 14 + 128)), "30002A002000");
    EXPECT_EQ(hex(Bytes(masked.begin() + 14 + 248, masked.begin() + 14 + 250)), "4A00");
    EXPECT_EQ(Bytes(masked.begin() + 14 + 256, masked.end() - 1), Bytes(1024));
    sum = 0;
    for (std::size_t i = 5; i < masked.size(); ++i)
        sum ^= masked[i];
    EXPECT_EQ(sum, 0);
    EXPECT_EQ(Mask().wire(from_reader, frame), masked);
}

TEST(Mask, TakesSocialSecurityRecords) {
    Mask mask;
    mask.command(bytes("00B2020400"));
    EXPECT_EQ(hex(mask.response(bytes("0906 D5C5C8FDCBC4 9000"))), "09060000000000009000");
    mask.command(bytes("00B2020400"));
    EXPECT_EQ(hex(mask.response(bytes("0304 312E3030 9000"))), "0304312E30309000");
}

TEST(Mask, MasksAFrameInPieces) {
    Mask mask;
    const auto masked = mask.pieces(
        to_reader,
        {characters("600FE301002000800824"), characters("1234FFFFFFFFFF"), characters("D8\x03")});
    ASSERT_EQ(masked.size(), 3u);
    EXPECT_EQ(text(masked[0]), "600FE301002000800800");
    EXPECT_EQ(text(masked[1]), "00000000000000");
    EXPECT_EQ(text(masked[2]), "25\x03");
}

TEST(Mask, MasksReports) {
    Bytes report = bytes("00 02 25");
    const Bytes frame = characters("600FE3010020008008241234FFFFFFFFFFD8\x03");
    report.insert(report.end(), frame.begin(), frame.end());
    report.resize(65);
    const auto masked = Mask().reports(to_reader, {report});
    ASSERT_EQ(masked.size(), 1u);
    ASSERT_EQ(masked[0].size(), 65u);
    EXPECT_EQ(hex(Bytes(masked[0].begin(), masked[0].begin() + 3)), "000225");
    EXPECT_EQ(text(Bytes(masked[0].begin() + 3, masked[0].begin() + 40)),
              "600FE3010020008008000000000000000025\x03");
    EXPECT_EQ(Bytes(masked[0].begin() + 40, masked[0].end()), Bytes(25));
}

TEST(Mask, MasksLinesOfALog) {
    Mask mask;
    EXPECT_EQ(mask.text("Exit IC_GetInfo, ret = 0, pnUsrInfoLen = 20, pszUserInfo = A0196222..."),
              "Exit IC_GetInfo, ret = 0, pnUsrInfoLen = 20, pszUserInfo = ***********");
    EXPECT_EQ(mask.text("szTrack2data = 1234=5, szTrack3data = 99"),
              "szTrack2data = ******, szTrack3data = **");
    EXPECT_EQ(mask.text("szRecord = 5A086222021234567890, n = 5"),
              "szRecord = 5A086222020000007890, n = 5");
    EXPECT_EQ(mask.text("PBOC_IcAPDU szInData = 0020008008241234FFFFFFFFFF\r\n"),
              "PBOC_IcAPDU szInData = 00200080080000000000000000\r\n");
    EXPECT_EQ(mask.text("Cmd: 2B\001secret, CmdSize = 9"), "Cmd: *********, CmdSize = 9");
    EXPECT_EQ(mask.text("Send Cmd: \033]"), "Send Cmd: \033]");
    EXPECT_EQ(mask.text("Send Cmd: \033t123=4\x1D\033\\\033j"), "Send Cmd: \033t**********");
    EXPECT_EQ(mask.text("number 6222021234567890."), "number 6222020000007890.");
    EXPECT_EQ(mask.text("Enter MS_ReadCard"), "Enter MS_ReadCard");
}

}  // namespace
