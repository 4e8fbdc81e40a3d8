#include "reader.h"

#include <stdexcept>

#include "cards/iso_card.h"
#include "kit/frames.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::union_frame;
using namespace virtual_reader;

std::unique_ptr<Card> card(const char* name, bool contactless) {
    IsoCardSettings settings;
    settings.name = name;
    settings.contactless = contactless;
    settings.answer = contactless ? hex("04 00") : hex("3B 00");
    settings.files.master.files.push_back({0xEF01, 1, {}, {Bytes(255, 0x41)}});
    return std::make_unique<IsoCard>(std::move(settings));
}

class ReaderTest : public testing::Test {
  protected:
    void SetUp() override {
        reader_.ic().add(card("contact", false));
        reader_.ic().add(card("field", true));
    }

    std::string ic(const char* body) {
        return kit::to_hex(reader_.receive_serial(ic_frame(hex(body))));
    }
    std::string union_(const char* body) {
        return kit::to_hex(reader_.receive_serial(union_frame(hex(body))));
    }
    static std::string ic_answer(const char* body) { return kit::to_hex(ic_frame(hex(body))); }
    static std::string union_answer(const char* body) {
        return kit::to_hex(union_frame(hex(body)));
    }

    Reader reader_{ReaderSettings{"INFO", "SN-7", 9600, false}};
};

TEST_F(ReaderTest, WithoutCardsInTheIcFrame) {
    EXPECT_EQ(ic("E1 01"), ic_answer("FB"));
    EXPECT_EQ(ic("E2 01"), ic_answer("FB"));
    EXPECT_EQ(ic("E3 01 00 84 00 00 04"), ic_answer("FB"));
    EXPECT_EQ(ic("D1"), ic_answer("FB"));
    EXPECT_EQ(ic("D2"), ic_answer("FB"));
    EXPECT_EQ(ic("D3 00 84 00 00 04"), ic_answer("FB"));
}

TEST_F(ReaderTest, WithoutCardsInTheUnionFrame) {
    EXPECT_EQ(union_("32 22 00 00 00"), union_answer("10 02"));
    EXPECT_EQ(union_("32 23 00"), union_answer("10 01"));
    EXPECT_EQ(union_("32 26 00 00 84 00 00 04"), union_answer("10 02"));
    EXPECT_EQ(union_("32 24 00 00"), union_answer("30 05"));
    EXPECT_EQ(union_("32 25 00 00"), union_answer("30 06"));
    EXPECT_EQ(union_("32 26 FF 00 84 00 00 04"), union_answer("30 06"));
}

TEST_F(ReaderTest, CardsInTheIcFrame) {
    reader_.ic().insert("contact");
    reader_.ic().insert("field");
    EXPECT_EQ(ic("E3 01 00 A4 00 00"), ic_answer("A2")) << "not powered";
    EXPECT_EQ(ic("E1 01"), ic_answer("00 3B 00"));
    EXPECT_EQ(ic("E3 01 00 A4 00 00"), ic_answer("00 6F 02 84 00 90 00"));
    EXPECT_EQ(ic("E2 01"), ic_answer("00"));
    EXPECT_EQ(ic("E3 01 00 A4 00 00"), ic_answer("A2"));
    EXPECT_EQ(ic("D1"), ic_answer("00 04 00"));
    EXPECT_EQ(ic("D3 00 A4 00 00"), ic_answer("00 6F 02 84 00 90 00"));
    EXPECT_EQ(ic("D2"), ic_answer("00"));
}

TEST_F(ReaderTest, CardsInTheUnionFrame) {
    reader_.ic().insert("contact", 3);
    reader_.ic().insert("field");
    EXPECT_EQ(union_("32 26 03 00 A4 00 00"), union_answer("10 04"));
    EXPECT_EQ(union_("32 22 00 00 03"), union_answer("00 00 3B 00"));
    EXPECT_EQ(union_("32 22 00 00 00"), union_answer("10 02")) << "another slot";
    EXPECT_EQ(union_("32 26 03 00 A4 00 00"), union_answer("00 00 6F 02 84 00 90 00"));
    EXPECT_EQ(union_("32 23 03"), union_answer("00 00"));
    EXPECT_EQ(union_("32 26 FF 00 A4 00 00"), union_answer("30 04"));
    EXPECT_EQ(union_("32 24 00 00"), union_answer("00 00 04 00"));
    EXPECT_EQ(union_("32 26 FF 00 A4 00 00"), union_answer("00 00 6F 02 84 00 90 00"));
    EXPECT_EQ(union_("32 25 00 00"), union_answer("00 00"));
}

TEST_F(ReaderTest, SlotsOfTheIcFrameCountFromOne) {
    reader_.ic().insert("contact", 0);
    EXPECT_EQ(ic("E1 01"), ic_answer("00 3B 00"));
    reader_.ic().insert("contact", 16);
    EXPECT_EQ(ic("E1 00"), ic_answer("00 3B 00"));
    reader_.ic().insert("contact", 9);
    EXPECT_EQ(ic("E1 0A"), ic_answer("00 3B 00"));
}

TEST_F(ReaderTest, LongResponseHasTheLongLength) {
    reader_.ic().insert("contact");
    ic("E1 01");
    const Bytes reply = reader_.receive_serial(ic_frame(hex("E3 01 00 B2 01 0C 00")));
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 8), ascii("60FFB300"))
        << "status, 255 bytes and 90 00 are 258";
    EXPECT_EQ(reply.size(), 2u * (3 + 258 + 1) + 1);
}

TEST_F(ReaderTest, RemovalTakesThePowerAway) {
    reader_.ic().insert("contact");
    ic("E1 01");
    EXPECT_TRUE(reader_.ic().is_powered({false, 0}));
    reader_.ic().remove("contact");
    EXPECT_EQ(ic("E3 01 00 A4 00 00"), ic_answer("FB"));
    reader_.ic().insert("contact");
    EXPECT_EQ(ic("E3 01 00 A4 00 00"), ic_answer("A2"));
    reader_.ic().remove_all();
    EXPECT_EQ(reader_.ic().card_at({false, 0}), nullptr);
    EXPECT_THROW(reader_.ic().remove("contact"), std::invalid_argument);
    EXPECT_THROW(reader_.ic().insert("nobody"), std::invalid_argument);
}

TEST_F(ReaderTest, CardDetection) {
    EXPECT_EQ(union_("32 21 FF"), union_answer("00 00 00 00"));
    reader_.ic().insert("field");
    EXPECT_EQ(union_("32 21 FF"), union_answer("00 00 00 12"));
    reader_.ic().insert("contact");
    EXPECT_EQ(union_("32 21 FF"), union_answer("00 00 11 12"));
    ic("E1 01");
    EXPECT_EQ(union_("32 21 FF"), union_answer("00 00 12 12"));
}

TEST_F(ReaderTest, InformationAndSerialNumber) {
    EXPECT_EQ(ic("81 00"), ic_answer("00 49 4E 46 4F"));
    EXPECT_EQ(union_("31 11 00"), union_answer("00 00 49 4E 46 4F"));
    Bytes block = kit::join({{0x00}, ascii("INFO")});
    block.resize(33);
    block = kit::join({block, ascii("SN-7")});
    block.resize(65);
    EXPECT_EQ(ic("F1"), kit::to_hex(ic_frame(block)));
    Bytes write = kit::join({{0xF2}, ascii("NEW-8")});
    write.resize(33);
    EXPECT_EQ(reader_.receive_serial(ic_frame(write)), ic_frame(hex("00")));
    EXPECT_EQ(reader_.serial_number(), "NEW-8");
    for (const std::size_t size : {1u, 31u, 33u}) {
        EXPECT_EQ(reader_.receive_serial(ic_frame(kit::join({{0xF2}, Bytes(size, 'X')}))),
                  ic_frame(hex("A1")))
            << size;
    }
    EXPECT_EQ(reader_.serial_number(), "NEW-8") << "a number has 32 bytes";
}

TEST_F(ReaderTest, BeepAndResets) {
    EXPECT_EQ(union_("31 13 05 01 01"), union_answer("00 00"));
    EXPECT_EQ(reader_.counts().beeps, 1);
    EXPECT_EQ(union_("F8 00 AA BB 55 44"), union_answer("00 00"));
    EXPECT_EQ(reader_.counts().device_resets, 1);
    EXPECT_EQ(reader_.receive_serial(hex("1B 53")), Bytes{});
    EXPECT_EQ(reader_.counts().resets, 1);
    EXPECT_EQ(reader_.counts().requests, 3);
}

TEST_F(ReaderTest, RatesByTheirCodes) {
    const std::pair<const char*, int> rows[] = {{"BB 01", 19200}, {"BB 02", 38400},
                                                {"BB 03", 57600}, {"BB 04", 115200},
                                                {"BB 00", 9600},  {"BB 09", 9600}};
    for (const auto& [command, rate] : rows) {
        EXPECT_EQ(ic(command), ic_answer("00"));
        EXPECT_EQ(reader_.baud(), rate);
    }
    EXPECT_EQ(union_("30 01 00 04"), union_answer("00 00"));
    EXPECT_EQ(reader_.baud(), 115200);
}

TEST_F(ReaderTest, PassThroughPort) {
    EXPECT_EQ(reader_.pass_through_port(), 'A');
    reader_.receive_serial(hex("1B 25 35"));
    EXPECT_EQ(reader_.pass_through_port(), '5');
    reader_.receive_serial(hex("1B 25 41"));
    EXPECT_EQ(reader_.pass_through_port(), 'A');
}

TEST_F(ReaderTest, ModeCommandsAreAnsweredOverUsb) {
    EXPECT_EQ(reader_.receive_usb(1, hex("1B 24 53 34")), hex("53 00"));
    EXPECT_EQ(reader_.mode(), 'S');
    EXPECT_EQ(reader_.receive_serial(hex("1B 24 42 30")), Bytes{});
    EXPECT_EQ(reader_.mode(), 'B');
    Reader answering(ReaderSettings{"", "", 9600, true});
    EXPECT_EQ(answering.receive_serial(hex("1B 24 49 30")), hex("49 00"));
}

TEST_F(ReaderTest, BothResetsLeadBackToTheBase) {
    reader_.receive_serial(hex("1B 24 53 34"));
    EXPECT_EQ(reader_.mode(), 'S');
    EXPECT_EQ(reader_.baud(), 115200);
    EXPECT_EQ(reader_.receive_serial(hex("1B 53")), Bytes{});
    EXPECT_EQ(reader_.mode(), 'B');
    EXPECT_EQ(reader_.baud(), 9600) << "the rate of the base";
    EXPECT_EQ(ic("D1"), ic_answer("FB")) << "IC frames are understood again";
    reader_.receive_serial(hex("1B 24 49 30"));
    EXPECT_EQ(reader_.mode(), 'I');
    EXPECT_EQ(union_("F8 00 AA BB 55 44"), union_answer("00 00"));
    EXPECT_EQ(reader_.mode(), 'B');
    EXPECT_EQ(ic("BB 04"), ic_answer("00"));
    reader_.receive_serial(hex("1B 53"));
    EXPECT_EQ(reader_.baud(), 115200) << "a rate that was set stays";
}

TEST_F(ReaderTest, ModeIdsAddressModules) {
    EXPECT_EQ(reader_.receive_usb(1, ic_frame(hex("81 00"))), Bytes{});
    EXPECT_EQ(reader_.receive_usb(2, hex("1B 53")), Bytes{});
    EXPECT_EQ(reader_.counts().misaddressed, 2);
    EXPECT_EQ(reader_.receive_usb(2, ic_frame(hex("D1"))), ic_frame(hex("FB")));
    EXPECT_EQ(reader_.receive_usb(0, ic_frame(hex("D1"))), ic_frame(hex("FB")));
    reader_.receive_usb(0, hex("1B 53"));
    EXPECT_EQ(reader_.counts().resets, 1);
}

TEST_F(ReaderTest, UnknownCommandsAreRefused) {
    for (const char* command : {"EE", "E1", "77 01"})
        EXPECT_EQ(ic(command), ic_answer("A1")) << command;
    for (const char* command : {"32 99", "31", "32 22 00"})
        EXPECT_EQ(union_(command), union_answer("00 01")) << command;
    EXPECT_EQ(reader_.counts().unknown, 6);
}

}  // namespace
