// Every command as it stands on the wire, and the reader's answer: texts without their 02 and 03.
#include "cards/iso_card.h"
#include "desk_control.h"
#include "kit/bytes.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using namespace virtual_reader;

std::unique_ptr<Card> card(const char* name, bool contactless, const char* answer) {
    IsoCardSettings settings;
    settings.name = name;
    settings.contactless = contactless;
    settings.answer = hex(answer);
    return std::make_unique<IsoCard>(std::move(settings));
}

struct Row {
    const char* desk;  // what a person does before, if anything
    const char* request;
    const char* answer;
};

class Commands : public testing::Test {
  protected:
    void SetUp() override {
        reader_.ic().add(card("contact", false, "3B 00"));
        reader_.ic().add(card("field", true, "04 00"));
    }

    void converse(std::span<const Row> rows, const Bytes& begin) {
        for (const Row& row : rows) {
            if (*row.desk != '\0') {
                ASSERT_EQ(control(reader_, row.desk).text, "ok\n") << row.desk;
            }
            const Bytes request = kit::join({begin, ascii(row.request), {0x03}});
            const Bytes answer = kit::join({begin, ascii(row.answer), {0x03}});
            EXPECT_EQ(kit::to_hex(reader_.receive_serial(request)), kit::to_hex(answer))
                << row.desk << " > " << row.request << " < " << row.answer;
        }
    }
    void converse_ic(std::span<const Row> rows) { converse(rows, {}); }
    void converse_union(std::span<const Row> rows) { converse(rows, {0x02}); }

    Reader reader_{ReaderSettings{"INFO", "SN-7", 9600, false}};
};

TEST_F(Commands, IcFrameWithoutCards) {
    const Row rows[] = {
        {"", "6002E10182", "6001FB9A"},         {"", "6002E20181", "6001FB9A"},
        {"", "6006E30100A4000020", "6001FB9A"}, {"", "6001D1B0", "6001FB9A"},
        {"", "6001D2B3", "6001FB9A"},           {"", "6005D300A4000012", "6001FB9A"},
    };
    converse_ic(rows);
}

TEST_F(Commands, IcFrameContactCard) {
    const Row rows[] = {
        {"insert contact", "6006E30100A4000020", "6001A2C3"},
        {"", "6002E20181", "60010061"},
        {"", "6002E10182", "6003003B0058"},
        {"", "6006E30100A4000020", "6007006F02840090001E"},
        {"", "6004E301008402", "600300670004"},
        {"", "6002E10281", "6001FB9A"},
        {"", "6002E20181", "60010061"},
        {"", "6006E30100A4000020", "6001A2C3"},
        {"insert contact slot 16", "6002E10083", "6003003B0058"},
        {"insert contact slot 15", "6002E11093", "6003003B0058"},
        {"", "6002E10083", "6001FB9A"},
        {"remove contact", "6002E11093", "6001FB9A"},
    };
    converse_ic(rows);
}

TEST_F(Commands, IcFrameContactlessCard) {
    const Row rows[] = {
        {"insert field", "6005D300A4000012", "6001A2C3"},
        {"", "6001D2B3", "60010061"},
        {"", "6001D1B0", "600300040067"},
        {"", "6005D300A4000012", "6007006F02840090001E"},
        {"", "6001D2B3", "60010061"},
        {"", "6005D300A4000012", "6001A2C3"},
        {"remove field", "6001D1B0", "6001FB9A"},
    };
    converse_ic(rows);
}

TEST_F(Commands, IcFrameDevice) {
    const Row rows[] = {
        {"", "60028100E3", "600500494E464F6B"},
        {"", "6001F190",
         "604100494E464F00000000000000000000000000000000000000000000000000000000534E2D3700000000000"
         "00000000000000000000000000000000000000000000028"},
        {"", "6021F24E45572D38000000000000000000000000000000000000000000000000000000FA",
         "60010061"},
        {"", "6001F190",
         "604100494E464F000000000000000000000000000000000000000000000000000000004E45572D38000000000"
         "00000000000000000000000000000000000000000000066"},
        {"", "6002BB04DD", "60010061"},
        {"", "6002BB00D9", "60010061"},
    };
    converse_ic(rows);
    EXPECT_EQ(reader_.serial_number(), "NEW-8");
    EXPECT_EQ(reader_.counts().requests, 6);
    EXPECT_EQ(reader_.counts().unknown, 0);
}

TEST_F(Commands, IcFrameUnknownAndIncomplete) {
    const Row rows[] = {
        {"", "6001EE8F", "6001A1C0"},
        {"", "6001E180", "6001A1C0"},
        {"", "6001E283", "6001A1C0"},
        {"", "6001E382", "6001A1C0"},
        {"", "600181E0", "6001A1C0"},
        {"", "6001BBDA", "6001A1C0"},
        {"", "6001F293", "6001A1C0"},
        {"", "6020F24E45572D380000000000000000000000000000000000000000000000000000FB", "6001A1C0"},
        {"", "6022F24E45572D3800000000000000000000000000000000000000000000000000000041B8",
         "6001A1C0"},
    };
    converse_ic(rows);
    EXPECT_EQ(reader_.counts().unknown, 9);
    EXPECT_EQ(reader_.serial_number(), "SN-7");
}

TEST_F(Commands, UnionFrameWithoutCards) {
    const Row rows[] = {
        {"", "0005322200000010", "0002100212"},     {"", "000332230011", "0002100111"},
        {"", "000732260000:40000;0", "0002100212"}, {"", "00043224000016", "0002300535"},
        {"", "00043225000017", "0002300636"},       {"", "00073226?\?00:400004?", "0002300636"},
        {"", "00033221?\?><", "00040000000000"},
    };
    converse_union(rows);
}

TEST_F(Commands, UnionFrameCardsAndTheirDetection) {
    const Row rows[] = {
        {"insert contact", "00033221?\?><", "00040000110011"},
        {"", "000732260000:40000;0", "0002100414"},
        {"", "000332230011", "0002000000"},
        {"", "0005322200000010", "000400003;003;"},
        {"", "00033221?\?><", "00040000120012"},
        {"", "000732260000:40000;0", "000800006?028400900079"},
        {"", "0005322200000111", "0002100212"},
        {"", "000332230011", "0002000000"},
        {"", "000732260000:40000;0", "0002100414"},
        {"insert contact slot 31", "0005322200001?0?", "000400003;003;"},
        {"", "000732261?00:40000:?", "000800006?028400900079"},
        {"", "000332231?0>", "0002000000"},
        {"", "000732260000:40000;0", "0002100212"},
        {"insert field", "00033221?\?><", "00040000111203"},
        {"", "00073226?\?00:400004?", "0002300434"},
        {"", "00043225000017", "0002000000"},
        {"", "00043224000016", "00040000040004"},
        {"", "00073226?\?00:400004?", "000800006?028400900079"},
        {"", "00043225000017", "0002000000"},
        {"", "00073226?\?00:400004?", "0002300434"},
        {"remove contact", "00033221?\?><", "00040000001212"},
    };
    converse_union(rows);
}

TEST_F(Commands, UnionFrameDevice) {
    const Row rows[] = {
        {"", "000331110020", "00060000494>464?0>"}, {"", "0005311305010127", "0002000000"},
        {"", "00043001000435", "0002000000"},       {"", "00043001000031", "0002000000"},
        {"", "0006?800::;;5544?8", "0002000000"},
    };
    converse_union(rows);
    EXPECT_EQ(reader_.counts().beeps, 1);
    EXPECT_EQ(reader_.counts().device_resets, 1);
    EXPECT_EQ(reader_.counts().unknown, 0);
}

TEST_F(Commands, UnionFrameUnknownAndIncomplete) {
    const Row rows[] = {
        {"", "00023299:;", "0002000101"},         {"", "00013131", "0002000101"},
        {"", "00043222000010", "0002000101"},     {"", "0002322311", "0002000101"},
        {"", "000332240016", "0002000101"},       {"", "000332250017", "0002000101"},
        {"", "0002322614", "0002000101"},         {"", "0002322113", "0002000101"},
        {"", "0002311120", "0002000101"},         {"", "00043113050126", "0002000101"},
        {"", "000330010031", "0002000101"},       {"", "0005?800::;;55;<", "0002000101"},
        {"", "0006?800::;;5545?9", "0002000101"},
    };
    converse_union(rows);
    EXPECT_EQ(reader_.counts().unknown, 13);
    EXPECT_EQ(reader_.counts().beeps, 0);
    EXPECT_EQ(reader_.counts().device_resets, 0);
    EXPECT_EQ(reader_.baud(), 9600);
}

}  // namespace
