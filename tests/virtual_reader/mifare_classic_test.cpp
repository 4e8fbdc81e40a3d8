// MIFARE Classic cards, and the reader's commands to them in both frames.
#include "cards/mifare_classic.h"

#include "cards/iso_card.h"
#include "kit/frames.h"
#include "reader.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::union_frame;
using namespace virtual_reader;
using KeyKind = MifareClassic::KeyKind;

ClassicBlock block(const char* text) {
    const Bytes bytes = hex(text);
    EXPECT_EQ(bytes.size(), 16u);
    ClassicBlock whole{};
    std::copy(bytes.begin(), bytes.end(), whole.begin());
    return whole;
}

std::string shown(const std::optional<ClassicBlock>& one) {
    return one ? kit::to_hex(*one) : "refused";
}

constexpr ClassicKey key_a = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
constexpr ClassicKey key_b = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5};
const Bytes as_delivered = hex("FF FF FF FF FF FF");

MifareClassicSettings settings(ClassicSize size = ClassicSize::small) {
    MifareClassicSettings settings;
    settings.name = "classic";
    settings.size = size;
    settings.uid = {0x01, 0x02, 0x03, 0x04};
    settings.blocks = delivered_blocks(size);
    return settings;
}

// Sector 1 with these access bits and the two keys above.
MifareClassic with_access(std::array<std::uint8_t, 4> access) {
    MifareClassicSettings one = settings();
    one.blocks[5] = value_block(100, 5);
    one.blocks[7] = trailer_block(key_a, access, key_b);
    return MifareClassic(std::move(one));
}

TEST(ClassicLayout, SectorsOfFourAndOfSixteenBlocks) {
    EXPECT_EQ(sector_count(ClassicSize::small), 16);
    EXPECT_EQ(sector_count(ClassicSize::large), 40);
    EXPECT_EQ(block_count(ClassicSize::small), 64);
    EXPECT_EQ(block_count(ClassicSize::large), 256);
    const std::tuple<int, int, int> rows[] = {{0, 0, 3},      {1, 4, 7},      {15, 60, 63},
                                              {31, 124, 127}, {32, 128, 143}, {33, 144, 159},
                                              {39, 240, 255}};
    for (const auto& [sector, first, trailer] : rows) {
        EXPECT_EQ(first_block_of(sector), first);
        EXPECT_EQ(trailer_of(sector), trailer);
        EXPECT_EQ(sector_of(first), sector);
        EXPECT_EQ(sector_of(trailer), sector);
    }
}

TEST(ClassicValue, IsRepeatedInItsBlock) {
    EXPECT_EQ(value_block(0x04030201, 0x09),
              block("01 02 03 04 FE FD FC FB 01 02 03 04 09 F6 09 F6"));
    EXPECT_EQ(value_of(block("01 02 03 04 FE FD FC FB 01 02 03 04 09 F6 09 F6")), 0x04030201u);
    EXPECT_EQ(value_of(block("FF FF FF FF 00 00 00 00 FF FF FF FF 00 FF 00 FF")), 0xFFFFFFFFu);
    for (std::size_t at = 0; at < 16; ++at) {
        ClassicBlock broken = value_block(0x04030201, 0x09);
        broken[at] ^= 0x40;
        EXPECT_FALSE(value_of(broken)) << at;
    }
    EXPECT_FALSE(value_of(ClassicBlock{}));
}

TEST(MifareClassic, IsDeliveredOpen) {
    MifareClassic card(settings());
    EXPECT_EQ(card.power_on(), hex("01 02 03 04"));
    EXPECT_TRUE(card.contactless());
    EXPECT_EQ(card.transmit(hex("00 A4 04 00")), Bytes{});
    ASSERT_TRUE(card.authenticate(0, KeyKind::a, as_delivered));
    EXPECT_EQ(shown(card.read(0)), "01020304040804000000000000000000");
    EXPECT_EQ(shown(card.read(1)), "00000000000000000000000000000000");
    EXPECT_EQ(shown(card.read(3)),
              "000000000000"
              "7F078869"
              "000000000000");
    EXPECT_FALSE(card.write(0, ClassicBlock{})) << "the manufacturer's";
    EXPECT_FALSE(card.transfer(0));
    MifareClassic large(settings(ClassicSize::large));
    ASSERT_TRUE(large.authenticate(0, KeyKind::b, as_delivered));
    EXPECT_EQ(shown(large.read(0)), "01020304041802000000000000000000");
    ASSERT_TRUE(large.authenticate(39, KeyKind::a, as_delivered));
    EXPECT_TRUE(large.write(254, value_block(1, 0)));
    EXPECT_FALSE(large.authenticate(40, KeyKind::a, as_delivered));
    EXPECT_FALSE(card.authenticate(16, KeyKind::a, as_delivered));
    EXPECT_FALSE(card.authenticate(-1, KeyKind::a, as_delivered));
}

TEST(MifareClassic, OpensOneSectorAtATime) {
    MifareClassic card = with_access(open_access);
    EXPECT_FALSE(card.read(4));
    EXPECT_FALSE(card.write(4, ClassicBlock{}));
    EXPECT_FALSE(card.increment(5, 1));
    ASSERT_TRUE(card.authenticate(1, KeyKind::a, key_a));
    EXPECT_TRUE(card.read(4));
    EXPECT_FALSE(card.read(8));
    EXPECT_FALSE(card.read(3));
    EXPECT_FALSE(card.read(-1));
    EXPECT_FALSE(card.read(256));
    EXPECT_FALSE(card.write(8, ClassicBlock{}));
    ASSERT_TRUE(card.authenticate(2, KeyKind::b, as_delivered));
    EXPECT_FALSE(card.read(4));
    EXPECT_TRUE(card.read(8));
    EXPECT_FALSE(card.authenticate(1, KeyKind::a, key_b));
    EXPECT_FALSE(card.read(8)) << "a failure ends what was open";
    EXPECT_FALSE(card.authenticate(1, KeyKind::b, key_a));
    EXPECT_FALSE(card.authenticate(1, KeyKind::a, hex("A0 A1")));
    EXPECT_FALSE(card.authenticate(1, KeyKind::a, hex("A0 A1 A2 A3 A4 A5 A6")));
    EXPECT_FALSE(card.authenticate(1, KeyKind::a, {}));
    ASSERT_TRUE(card.authenticate(1, KeyKind::b, key_b));
    card.power_off();
    EXPECT_FALSE(card.read(4));
}

TEST(MifareClassic, CountsInItsRegister) {
    MifareClassic card = with_access(open_access);
    ASSERT_TRUE(card.authenticate(1, KeyKind::a, key_a));
    EXPECT_FALSE(card.transfer(4)) << "nothing in the register";
    EXPECT_TRUE(card.increment(5, 28));
    EXPECT_EQ(value_of(*card.read(5)), 100u) << "not before the transfer";
    EXPECT_TRUE(card.transfer(5));
    EXPECT_EQ(shown(card.read(5)),
              "80000000"
              "7FFFFFFF"
              "80000000"
              "05FA05FA");
    EXPECT_FALSE(card.transfer(5)) << "used up";
    EXPECT_TRUE(card.decrement(5, 129));
    EXPECT_TRUE(card.transfer(6));
    EXPECT_EQ(shown(card.read(6)),
              "FFFFFFFF"
              "00000000"
              "FFFFFFFF"
              "05FA05FA")
        << "below zero, and with the address that came along";
    EXPECT_TRUE(card.restore(5));
    EXPECT_TRUE(card.transfer(4));
    EXPECT_EQ(card.read(4), card.read(5));
    EXPECT_TRUE(card.write(6, ClassicBlock{}));
    EXPECT_FALSE(card.increment(6, 1)) << "no value";
    EXPECT_FALSE(card.restore(6));
    EXPECT_FALSE(card.increment(7, 1)) << "a trailer";
    EXPECT_TRUE(card.restore(5));
    EXPECT_FALSE(card.transfer(7));
    EXPECT_FALSE(card.transfer(8)) << "another sector";
}

TEST(MifareClassic, ValuesStayWithin32Bits) {
    MifareClassic card = with_access(open_access);
    ASSERT_TRUE(card.authenticate(1, KeyKind::a, key_a));
    ASSERT_TRUE(card.write(5, value_block(0x7FFFFFFE, 5)));
    EXPECT_TRUE(card.increment(5, 1));
    EXPECT_FALSE(card.increment(5, 2));
    ASSERT_TRUE(card.write(5, value_block(0x80000001, 5)));
    EXPECT_TRUE(card.decrement(5, 1));
    EXPECT_FALSE(card.decrement(5, 2));
    EXPECT_FALSE(card.decrement(5, 0xFFFFFFFF));
}

// What keys A and B may do: r read, w write, i increment, d decrement, transfer and restore.
struct DataRow {
    std::array<std::uint8_t, 4> access;  // the condition in all data groups, 011 for the trailer
    const char* with_a;
    const char* with_b;
};

std::string rights(std::array<std::uint8_t, 4> access, KeyKind kind) {
    MifareClassic card = with_access(access);
    EXPECT_TRUE(card.authenticate(1, kind, kind == KeyKind::a ? key_a : key_b));
    std::string text;
    if (card.read(5)) text += 'r';
    if (card.increment(5, 1)) text += 'i';
    if (card.decrement(5, 1)) text += 'd';
    if (card.write(5, ClassicBlock{})) text += 'w';
    return text;
}

TEST(MifareClassic, DataAccessConditions) {
    const DataRow rows[] = {
        {{0x7F, 0x07, 0x88, 0x00}, "ridw", "ridw"},  // 000
        {{0x7F, 0x00, 0xF8, 0x00}, "rd", "rd"},      // 001
        {{0x0F, 0x07, 0x8F, 0x00}, "r", "r"},        // 010
        {{0x0F, 0x00, 0xFF, 0x00}, "", "rw"},        // 011
        {{0x78, 0x77, 0x88, 0x00}, "r", "rw"},       // 100
        {{0x78, 0x70, 0xF8, 0x00}, "", "r"},         // 101
        {{0x08, 0x77, 0x8F, 0x00}, "rd", "ridw"},    // 110
        {{0x08, 0x70, 0xFF, 0x00}, "", ""},          // 111
    };
    for (const DataRow& row : rows) {
        EXPECT_EQ(rights(row.access, KeyKind::a), row.with_a) << kit::to_hex(row.access);
        EXPECT_EQ(rights(row.access, KeyKind::b), row.with_b) << kit::to_hex(row.access);
    }
}

struct TrailerRow {
    std::array<std::uint8_t, 4> access;  // the condition of the trailer, 000 for data
    const char* read_with_a;
    const char* read_with_b;  // refused: key B opens nothing
    // After writing 11s for key A, other valid bits with user byte 22, 33s for key B.
    const char* written_with_a;
    const char* written_with_b;
};

// The raw trailer after a write, seen with a key that was not changed or with the new one.
std::string keys_after(std::array<std::uint8_t, 4> access, KeyKind kind) {
    MifareClassic card = with_access(access);
    if (!card.authenticate(1, kind, kind == KeyKind::a ? key_a : key_b)) return "refused";
    const ClassicBlock wanted = block("11 11 11 11 11 11 7F 07 88 22 33 33 33 33 33 33");
    if (!card.write(7, wanted)) return "no write";
    std::string text;
    if (card.authenticate(1, KeyKind::a, hex("11 11 11 11 11 11")))
        text += "A ";
    else
        EXPECT_TRUE(card.authenticate(1, KeyKind::a, key_a));
    const auto trailer = card.read(7);
    if ((*trailer)[9] == 0x22) text += "access ";
    if (card.authenticate(1, KeyKind::b, hex("33 33 33 33 33 33")) || (*trailer)[10] == 0x33)
        text += "B ";
    return text;
}

std::string trailer_read(std::array<std::uint8_t, 4> access, KeyKind kind) {
    MifareClassic card = with_access(access);
    if (!card.authenticate(1, kind, kind == KeyKind::a ? key_a : key_b)) return "refused";
    return shown(card.read(7)).substr(0, 12) + " " + shown(card.read(7)).substr(20);
}

TEST(MifareClassic, TrailerAccessConditions) {
    const char* hidden = "000000000000 000000000000";
    const char* with_key_b = "000000000000 B0B1B2B3B4B5";
    const TrailerRow rows[] = {
        {{0xFF, 0x07, 0x80, 0x00}, with_key_b, "refused", "A access B ", "refused"},  // 001
        {{0xFF, 0x0F, 0x00, 0x00}, with_key_b, "refused", "A B ", "refused"},         // 000
        {{0x7F, 0x0F, 0x08, 0x00}, with_key_b, "refused", "no write", "refused"},     // 010
        {{0x7F, 0x07, 0x88, 0x00}, hidden, hidden, "no write", "A access B "},        // 011
        {{0xF7, 0x8F, 0x00, 0x00}, hidden, hidden, "no write", "A B "},               // 100
        {{0xF7, 0x87, 0x80, 0x00}, hidden, hidden, "no write", "access "},            // 101
        {{0x77, 0x8F, 0x08, 0x00}, hidden, hidden, "no write", "no write"},           // 110
        {{0x77, 0x87, 0x88, 0x00}, hidden, hidden, "no write", "no write"},           // 111
    };
    for (const TrailerRow& row : rows) {
        const std::string access = kit::to_hex(row.access);
        EXPECT_EQ(trailer_read(row.access, KeyKind::a), row.read_with_a) << access;
        EXPECT_EQ(trailer_read(row.access, KeyKind::b), row.read_with_b) << access;
        EXPECT_EQ(keys_after(row.access, KeyKind::a), row.written_with_a) << access;
        EXPECT_EQ(keys_after(row.access, KeyKind::b), row.written_with_b) << access;
    }
}

TEST(MifareClassic, ContradictingAccessBitsCloseTheSector) {
    for (const std::array<std::uint8_t, 4> access :
         {std::array<std::uint8_t, 4>{0x7E, 0x07, 0x88, 0x00},
          {0x6F, 0x07, 0x88, 0x00},
          {0x7F, 0x06, 0x88, 0x00}}) {
        MifareClassic card = with_access(access);
        EXPECT_FALSE(card.authenticate(1, KeyKind::a, key_a)) << kit::to_hex(access);
    }
    MifareClassic card = with_access(open_access);
    ASSERT_TRUE(card.authenticate(1, KeyKind::b, key_b));
    ASSERT_TRUE(card.write(7, ClassicBlock{})) << "all zeros, which contradict";
    EXPECT_FALSE(card.read(4));
    EXPECT_FALSE(card.read(7));
    EXPECT_FALSE(card.write(7, ClassicBlock{}));
    EXPECT_FALSE(card.authenticate(1, KeyKind::a, Bytes(6)));
}

TEST(MifareClassic, LargeSectorsHaveGroupsOfFive) {
    MifareClassicSettings one = settings(ClassicSize::large);
    // Group 1 may only be read with key B, the others are open.
    one.blocks[143] = trailer_block(key_a, {0x5F, 0x05, 0xAA, 0x00}, key_b);
    MifareClassic card(std::move(one));
    ASSERT_TRUE(card.authenticate(32, KeyKind::a, key_a));
    for (int number = 128; number < 143; ++number)
        EXPECT_EQ(card.read(number).has_value(), number < 133 || number > 137) << number;
}

class ClassicCommands : public testing::Test {
  protected:
    void SetUp() override {
        MifareClassicSettings one = settings();
        one.blocks[4] = block("41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50");
        one.blocks[5] = value_block(256, 5);
        one.blocks[7] = trailer_block(key_a, open_access, key_b);
        reader_.ic().add(std::make_unique<MifareClassic>(std::move(one)));
        IsoCardSettings iso;
        iso.name = "iso";
        iso.contactless = true;
        reader_.ic().add(std::make_unique<IsoCard>(std::move(iso)));
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

    Reader reader_;
};

TEST_F(ClassicCommands, InTheIcFrame) {
    EXPECT_EQ(ic("41"), ic_answer("FB"));
    EXPECT_EQ(ic("4B"), ic_answer("FB"));
    EXPECT_EQ(ic("43 04"), ic_answer("FB"));
    reader_.insert("classic");
    EXPECT_EQ(ic("43 04"), ic_answer("A2")) << "not powered";
    EXPECT_EQ(ic("41"), ic_answer("00 01 02 03 04"));
    EXPECT_EQ(ic("43 04"), ic_answer("A2")) << "not authenticated";
    EXPECT_EQ(ic("42 02 60 A0 A1 A2 A3 A4 A5"), ic_answer("00"));
    EXPECT_EQ(ic("43 04"), ic_answer("00 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50"));
    EXPECT_EQ(ic("43 08"), ic_answer("A2"));
    EXPECT_EQ(ic("45 05"), ic_answer("00 00 01 00 00"));
    EXPECT_EQ(ic("45 04"), ic_answer("A2")) << "no value";
    EXPECT_EQ(ic("47 05 02 00 00 00"), ic_answer("00"));
    EXPECT_EQ(ic("45 05"), ic_answer("00 02 01 00 00"));
    EXPECT_EQ(ic("48 05 03 01 00 00"), ic_answer("00"));
    EXPECT_EQ(ic("45 05"), ic_answer("00 FF FF FF FF"));
    EXPECT_EQ(ic("46 06 0A 00 00 00"), ic_answer("00"));
    EXPECT_EQ(ic("43 06"), ic_answer("00 0A 00 00 00 F5 FF FF FF 0A 00 00 00 06 F9 06 F9"));
    EXPECT_EQ(ic("44 04 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"), ic_answer("00"));
    EXPECT_EQ(ic("43 04"), ic_answer("00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"));
    EXPECT_EQ(ic("47 04 01 00 00 00"), ic_answer("A2"));
    EXPECT_EQ(ic("42 02 61 B0 B1 B2 B3 B4 B5"), ic_answer("00"));
    EXPECT_EQ(ic("42 02 61 A0 A1 A2 A3 A4 A5"), ic_answer("A2"));
    EXPECT_EQ(ic("42 02 60 A0 A1"), ic_answer("A2")) << "a key cut short";
    EXPECT_EQ(ic("42 02 00 A0 A1 A2 A3 A4 A5"), ic_answer("A2")) << "no key type of this frame";
    EXPECT_EQ(ic("42 00 60 FF FF FF FF FF FF"), ic_answer("A2")) << "sectors count from 1";
    EXPECT_EQ(ic("42 01 60 FF FF FF FF FF FF"), ic_answer("00"));
    EXPECT_EQ(ic("43 00"), ic_answer("00 01 02 03 04 04 08 04 00 00 00 00 00 00 00 00 00"));
    EXPECT_EQ(ic("42 10 60 FF FF FF FF FF FF"), ic_answer("00"));
    EXPECT_EQ(ic("42 11 60 FF FF FF FF FF FF"), ic_answer("A2"));
    EXPECT_EQ(ic("4B"), ic_answer("00"));
    EXPECT_EQ(ic("43 3C"), ic_answer("A2"));
}

TEST_F(ClassicCommands, InTheUnionFrame) {
    EXPECT_EQ(union_("32 41 00 00"), union_answer("30 05"));
    EXPECT_EQ(union_("32 25"), union_answer("30 06"));
    EXPECT_EQ(union_("32 43 04"), union_answer("30 06"));
    reader_.insert("classic");
    EXPECT_EQ(union_("32 43 04"), union_answer("30 04"));
    EXPECT_EQ(union_("32 41 00 00"), union_answer("00 00 01 02 03 04"));
    EXPECT_EQ(union_("32 43 04"), union_answer("30 01"));
    EXPECT_EQ(union_("32 42 02 00 A0 A1 A2 A3 A4 A5"), union_answer("00 00"));
    EXPECT_EQ(union_("32 43 04"),
              union_answer("00 00 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50"));
    EXPECT_EQ(union_("32 45 05"), union_answer("00 00 00 01 00 00"));
    EXPECT_EQ(union_("32 47 05 02 00 00 00"), union_answer("00 00"));
    EXPECT_EQ(union_("32 48 05 01 00 00 00"), union_answer("00 00"));
    EXPECT_EQ(union_("32 45 05"), union_answer("00 00 01 01 00 00"));
    EXPECT_EQ(union_("32 46 06 0A 00 00 00"), union_answer("00 00"));
    EXPECT_EQ(union_("32 44 04 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"),
              union_answer("00 00"));
    EXPECT_EQ(union_("32 42 02 01 B0 B1 B2 B3 B4 B5"), union_answer("00 00"));
    EXPECT_EQ(union_("32 42 02 05 B0 B1 B2 B3 B4 B5"), union_answer("30 01"));
    EXPECT_EQ(union_("32 42 02 60 A0 A1 A2 A3 A4 A5"), union_answer("30 01"));
    EXPECT_EQ(union_("32 25"), union_answer("00 00"));
    EXPECT_EQ(union_("32 43 04"), union_answer("30 04"));
}

TEST_F(ClassicCommands, OtherCardsInTheField) {
    reader_.insert("iso");
    EXPECT_EQ(ic("41"), ic_answer("A2"));
    EXPECT_EQ(ic("43 04"), ic_answer("A2"));
    reader_.insert("classic");
    EXPECT_EQ(ic("D1"), ic_answer("00 01 02 03 04"));
    EXPECT_EQ(ic("D3 00 A4 00 00"), ic_answer("A2")) << "silent";
    EXPECT_EQ(ic("43 04"), ic_answer("A2"));
}

TEST_F(ClassicCommands, IncompleteOnesAreUnknown) {
    for (const char* body :
         {"42", "42 02", "43", "43 04 00", "44 04",
          "44 04 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E",
          "44 04 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10", "45", "46 05 01 02 03",
          "46 05 01 02 03 04 05", "47 05", "48 05", "49 05", "4A"}) {
        EXPECT_EQ(ic(body), ic_answer("A1")) << body;
    }
    for (const char* body : {"32 42 02", "32 43", "32 44 04", "32 4B", "32 25 00", "32 49 05"})
        EXPECT_EQ(union_(body), union_answer("00 01")) << body;
    EXPECT_EQ(reader_.counts().unknown, 20);
}

}  // namespace
