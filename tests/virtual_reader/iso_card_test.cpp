#include "cards/iso_card.h"

#include "kit/bytes.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using namespace virtual_reader;

IsoCardSettings settings() {
    IsoCardSettings card;
    card.name = "test";
    card.answer = hex("3B 00");
    card.files.master.files.push_back({0x2F00, 30, ascii("MASTER"), {}});
    Directory directory{0xDF01, hex("F0 44 45 53 4B 01"), {}};
    directory.files.push_back({0xEF01, 1, {}, {ascii("ONE"), ascii("TWO!")}});
    directory.files.push_back({0xEF02, 2, ascii("0123456789"), {}});
    directory.files.push_back({0xEF03, 3, Bytes(300, 0x55), {}});
    card.files.directories.push_back(directory);
    return card;
}

class Iso : public testing::Test {
  protected:
    void SetUp() override { card_.power_on(); }

    std::string send(const char* command) { return kit::to_hex(card_.transmit(hex(command))); }
    void select_application() {
        EXPECT_EQ(send("00 A4 04 00 06 F0 44 45 53 4B 01"), "6F088406F04445534B019000");
    }

    IsoCard card_{settings()};
};

TEST_F(Iso, AnswersToPowerOn) {
    EXPECT_EQ(card_.power_on(), hex("3B 00"));
}

TEST_F(Iso, SelectsByNameAndItsBeginning) {
    select_application();
    EXPECT_EQ(send("00 A4 04 00 02 F0 44 00"), "6F088406F04445534B019000");
    EXPECT_EQ(send("00 A4 04 00 02 F0 45"), "6A82");
    EXPECT_EQ(send("00 A4 04 00 07 F0 44 45 53 4B 01 02"), "6A82");
}

TEST_F(Iso, SelectsByIdentifier) {
    EXPECT_EQ(send("00 A4 00 00 02 2F 00"), "6F0483022F009000");
    EXPECT_EQ(send("00 A4 00 00 02 DF 01"), "6F088406F04445534B019000");
    EXPECT_EQ(send("00 A4 02 00 02 EF 02"), "6F048302EF029000");
    EXPECT_EQ(send("00 A4 02 00 02 3F 00"), "6A82") << "files only";
    EXPECT_EQ(send("00 A4 00 00 02 3F 00"), "6F0284009000");
    EXPECT_EQ(send("00 A4 00 00"), "6F0284009000");
    EXPECT_EQ(send("00 A4 00 00 02 EF 01"), "6A82") << "not in the master file";
    EXPECT_EQ(send("00 A4 00 00 03 EF 01 00"), "6700");
    EXPECT_EQ(send("00 A4 08 00 02 3F 00"), "6A86");
}

TEST_F(Iso, ReadsRecords) {
    select_application();
    EXPECT_EQ(send("00 B2 01 0C 00"), "4F4E459000");
    EXPECT_EQ(send("00 B2 02 0C 00"), "54574F219000");
    EXPECT_EQ(send("00 B2 02 04 02"), "54579000") << "the current file, and less than there is";
    EXPECT_EQ(send("00 B2 03 0C 00"), "6A83");
    EXPECT_EQ(send("00 B2 00 0C 00"), "6A83");
    EXPECT_EQ(send("00 B2 01 4C 00"), "6A82");
    EXPECT_EQ(send("00 B2 01 14 00"), "6981") << "no record file";
    EXPECT_EQ(send("00 B2 01 0D 00"), "6A86");
    EXPECT_EQ(send("00 B2 01 0C"), "6700");
}

TEST_F(Iso, NeedsACurrentFile) {
    EXPECT_EQ(send("00 B2 01 04 00"), "6986");
    EXPECT_EQ(send("00 B0 00 00 00"), "6986");
}

TEST_F(Iso, ReadsTransparentFiles) {
    select_application();
    EXPECT_EQ(send("00 B0 82 00 00"), kit::to_hex(ascii("0123456789")) + "9000");
    EXPECT_EQ(send("00 B0 82 08 00"), kit::to_hex(ascii("89")) + "9000");
    EXPECT_EQ(send("00 B0 00 04 02"), kit::to_hex(ascii("45")) + "9000") << "the current file";
    EXPECT_EQ(send("00 B0 82 0A 00"), "6B00");
    EXPECT_EQ(send("00 B0 81 00 00"), "6981");
    EXPECT_EQ(send("00 B0 9E 00 00"), "6A82");
    EXPECT_EQ(send("00 B0 82 00"), "6700");
    EXPECT_EQ(card_.transmit(hex("00 B0 83 00 00")).size(), 258u);
    EXPECT_EQ(card_.transmit(hex("00 B0 01 00 00")).size(), 46u) << "offset 256";
}

TEST_F(Iso, ChallengesComeFromTheSeed) {
    const std::string first = send("00 84 00 00 08");
    EXPECT_EQ(first.size(), 20u);
    EXPECT_NE(send("00 84 00 00 08"), first);
    IsoCard twin(settings());
    twin.power_on();
    EXPECT_EQ(kit::to_hex(twin.transmit(hex("00 84 00 00 08"))), first);
    EXPECT_EQ(send("00 84 00 00 00").size(), 20u);
    EXPECT_EQ(send("00 84 00 00"), "6700");
}

TEST_F(Iso, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(send("80 B2 01 0C 00"), "6E00");
    EXPECT_EQ(send("00 B3 01 0C 00"), "6D00");
    EXPECT_EQ(send("00 B2"), "6700");
    EXPECT_EQ(send(""), "6700");
    EXPECT_EQ(send("00 A4 04 00 05 F0"), "6700");
    EXPECT_EQ(send("00 A4 04 00 00 F0"), "6700");
    EXPECT_EQ(send("00 C0 00 00 10"), "6A86") << "nothing waits";
}

TEST_F(Iso, ForgetsItsSelectionWithoutPower) {
    select_application();
    send("00 B2 01 0C 00");
    card_.power_off();
    card_.power_on();
    EXPECT_EQ(send("00 B2 01 04 00"), "6986");
    EXPECT_EQ(send("00 B0 9E 00 00"), kit::to_hex(ascii("MASTER")) + "9000")
        << "back in the master file";
}

TEST(IsoByProcedureBytes, AnEmptyRecordHasNoRightLength) {
    IsoCardSettings with = settings();
    with.by_procedure_bytes = true;
    with.files.master.files.push_back({0x2F01, 4, {}, {Bytes{}}});
    IsoCard card(with);
    card.power_on();
    for (const char* command : {"00 B2 01 24 00", "00 B2 01 24 0A"})
        EXPECT_EQ(kit::to_hex(card.transmit(hex(command))), "9000") << command;
}

TEST(IsoByProcedureBytes, LetsResponsesWait) {
    IsoCardSettings with = settings();
    with.by_procedure_bytes = true;
    IsoCard card(with);
    card.power_on();
    const auto send = [&](const char* command) { return kit::to_hex(card.transmit(hex(command))); };
    EXPECT_EQ(send("00 A4 04 00 06 F0 44 45 53 4B 01"), "610A");
    EXPECT_EQ(send("00 C0 00 00 04"), "6F0884066106");
    EXPECT_EQ(send("00 C0 00 00 06"), "F04445534B019000");
    EXPECT_EQ(send("00 C0 00 00 06"), "6A86");
    EXPECT_EQ(send("00 A4 04 00 06 F0 44 45 53 4B 01"), "610A");
    EXPECT_EQ(send("00 B2 01 0C 00"), "6C03");
    EXPECT_EQ(send("00 C0 00 00 0A"), "6A86") << "another command came between";
    EXPECT_EQ(send("00 B2 01 0C 03"), "4F4E459000");
    EXPECT_EQ(send("00 B2 01 0C 04"), "6C03");
}

}  // namespace
