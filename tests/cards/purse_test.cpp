#include <deskreader.h>

#include "kit/card_desk.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Output;

class Purse : public testing::TestWithParam<kit::Way> {
  protected:
    kit::CardDesk card_{GetParam()};
};

// Commands that bring data: the APDU, and what is called.
struct Row {
    const char* name;
    Output (*call)();
    const char* apdu;
};

constexpr char load_data[] = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B";
constexpr char cut_data[] = "\x01\x02\x03\x00\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F";
constexpr char purchase_data[] = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F";

#define CALL(function, ...)                                         \
    [] {                                                            \
        return kit::output_of([](auto* out, int* length) {          \
            return function(&context, 0, __VA_ARGS__, out, length); \
        });                                                         \
    }

const Row rows[] = {
    {"read binary", CALL(EPED_ReadBinary, 0x15, 0), "00 B0 95 00 00"},
    {"read binary, masked", CALL(EPED_ReadBinary, 0x75, 0x110), "00 B0 95 10 00"},
    {"balance", CALL(EPED_GetBalance, 2), "80 5C 00 02 04"},
    {"initialise for load", CALL(EPED_InitForLoad, 1, load_data),
     "80 50 00 01 0B 01 02 03 04 05 06 07 08 09 0A 0B"},
    {"initialise for load, cut", CALL(EPED_InitForLoad, 1, cut_data),
     "80 50 00 01 0B 01 02 03 00 00 00 00 00 00 00 00"},
    {"load", CALL(EPED_Load, load_data), "80 50 00 00 0B"},
    {"initialise for purchase", CALL(EPED_InitForPurchase, 3, load_data, 0), "80 50 01 03 0B"},
    {"purchase", CALL(EPED_Purchase, 9, purchase_data, 9),
     "80 54 01 00 0F 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"},
    {"purchase, cut", CALL(EPED_Purchase, 9, cut_data, 9),
     "80 54 01 00 0F 01 02 03 00 00 00 00 00 00 00 00 00 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Ways, Purse, kit::every_way, kit::way_name);

TEST_P(Purse, CommandsWithAResponse) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        card_.expect(row.apdu, "11 22 33 44 90 00");
        const Output given = row.call();
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.text(), "11223344");
        card_.expect(row.apdu, "69 85");
        const Output refused = row.call();
        EXPECT_EQ(refused.result, -99);
        EXPECT_EQ(refused.length, -7);
        card_.expect_failed(row.apdu);
        EXPECT_EQ(row.call().result, -4006);
        card_.expect(row.apdu, "62 83");
        EXPECT_EQ(row.call().result, 100);
        card_.verify();
    }
}

TEST_P(Purse, ChallengeHasTheLengthAskedFor) {
    unsigned char out[512];
    int length = 4;
    card_.expect("00 84 00 00 04", "11 22 33 44 90 00");
    EXPECT_EQ(EPED_GetRandom(&context, 0, out, &length), 0);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(Bytes(out, out + 4), hex("11 22 33 44"));
    length = 0x108;
    card_.expect("00 84 00 00 08", "67 00");
    EXPECT_EQ(EPED_GetRandom(&context, 0, out, &length), -99);
    EXPECT_EQ(length, 0x108);
}

TEST_P(Purse, PinIsSentAsItIs) {
    const Bytes pin = hex("12 34 56");
    card_.expect("00 20 00 00 03 12 34 56", "90 00");
    EXPECT_EQ(EPED_Verify(&context, 0, pin.data(), 3), 0);
    card_.expect("00 20 00 00 03 12 34 56", "63 C2");
    EXPECT_EQ(EPED_Verify(&context, 0, pin.data(), 3), -99);
    EXPECT_EQ(EPED_Verify(&context, 0, pin.data(), 256), -22);
}

TEST_P(Purse, UpdatesWithTheFileUnmasked) {
    const Bytes data = hex("AA BB CC DD");
    card_.expect("04 D6 95 03 04 AA BB CC DD", "90 00");
    EXPECT_EQ(EPED_UpdateBinary(&context, 0, 0x15, 3, data.data(), 4), 0);
    card_.expect("04 D6 F5 00 04 AA BB CC DD", "90 00");
    EXPECT_EQ(EPED_UpdateBinary(&context, 0, 0x75, 0, data.data(), 4), 0);
}

}  // namespace
