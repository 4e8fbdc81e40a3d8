// MIFARE Classic cards with the virtual reader, over both links and in both IC frames.
#include <deskreader.h>

#include <cstring>

#include "kit/fake_clock.h"
#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::VirtualDesk;

constexpr std::string_view deck = R"({ "cards": [
  { "type": "mifare-classic", "name": "locker", "size": "1K", "uid": "5A5B5C5D", "inserted": true,
    "sectors": [ { "number": 2, "key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5" },
                 { "number": 3, "key_a": "C0C100C3C4C5" } ],
    "blocks": [ { "number": 4, "data": "LOCKER 17" }, { "number": 5, "value": 250 } ] },
  { "type": "mifare-classic", "name": "archive", "size": "4K", "uid": "01020304",
    "sectors": [ { "number": 40, "key_b": "A1A2A3A4A5A6" } ],
    "blocks": [ { "number": 240, "data": "SHELF 9" } ] },
  { "type": "iso", "name": "visitor", "contactless": true, "answer": "0400" } ] })";

constexpr const char* key_a = "A0A1A2A3A4A5";
constexpr const char* key_b = "B0B1B2B3B4B5";
constexpr const char* delivered = "FFFFFFFFFFFF";

class MifareSession : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0); }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }

    void put(const char* name) {
        desk_.with_reader([name](auto& reader) { reader.insert(name); });
    }

    // The Union frame's answer has the status bytes before it.
    std::string answered(const char* uid) const {
        return GetParam().iccmd == 0 ? uid : std::string("0000") + uid;
    }

    // By a clock of its own, half way between two seconds: whole seconds are what counts.
    static std::string power_up_in_vain(int timeout_s) {
        kit::FakeClock clock;
        clock.advance(std::chrono::milliseconds(500));
        return power_up(timeout_s);
    }
    static std::string power_up(int timeout_s = 2) {
        char uid[512] = "";
        int length = -7;
        const int result = RD_M1Powerup(sizeof uid, uid, &length, timeout_s);
        EXPECT_EQ(length, static_cast<int>(std::strlen(uid)));
        return result == 0 ? uid : std::to_string(result);
    }
    static std::string read_block(int block) {
        char data[33] = "";
        const int result = RD_M1ReadBlock(block, 32, data);
        return result == 0 ? data : std::to_string(result);
    }
    static std::string read_value(int block) {
        char value[33] = "";
        const int result = RD_M1Read(block, 8, value);
        return result == 0 ? value : std::to_string(result);
    }

    kit::ConfigFile config_{GetParam().config()};
    VirtualDesk desk_{GetParam().link, deck};
};

INSTANTIATE_TEST_SUITE_P(Ways, MifareSession, kit::every_way, kit::way_name);

TEST_P(MifareSession, ReadsAnAuthenticatedSector) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(read_block(4), "-5004") << "not yet";
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(read_block(4), "4C4F434B455220313700000000000000");
    EXPECT_EQ(read_block(5), "FA00000005FFFFFFFA00000005FA05FA");
    EXPECT_EQ(read_block(7), "0000000000007F078869000000000000") << "the trailer shows no keys";
    EXPECT_EQ(RD_M1Verify(2, 1, key_b), 0);
    EXPECT_EQ(read_block(4), "4C4F434B455220313700000000000000");
    EXPECT_EQ(RD_M1Powerdown(), 0);
    EXPECT_EQ(read_block(4), "-5004");
}

TEST_P(MifareSession, RefusesAWrongKey) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 0, key_b), -5003);
    EXPECT_EQ(RD_M1Verify(2, 1, key_a), -5003);
    EXPECT_EQ(read_block(4), "-5004");
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(RD_M1Verify(2, 0, delivered), -5003);
    EXPECT_EQ(read_block(4), "-5004") << "a failed one ends what stood";
    EXPECT_EQ(RD_M1Verify(3, 0, "C0C100C3C4C5"), -5003) << "goes out cut at its zero byte";
}

TEST_P(MifareSession, RefusesAnotherSector) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(read_block(8), "-5004");
    EXPECT_EQ(read_block(3), "-5004");
    EXPECT_EQ(RD_M1WriteBlock(12, "00112233445566778899AABBCCDDEEFF"), -5005);
    EXPECT_EQ(RD_M1Write(12, "01000000"), -5007);
    EXPECT_EQ(RD_M1Verify(4, 0, delivered), 0);
    EXPECT_EQ(read_block(4), "-5004");
    EXPECT_EQ(read_block(12), std::string(32, '0'));
    EXPECT_EQ(RD_M1Verify(17, 0, delivered), -5003) << "a small card has 16";
}

TEST_P(MifareSession, WritesBlocksThatLast) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 1, key_b), 0);
    EXPECT_EQ(RD_M1WriteBlock(6, "00112233445566778899AABBCCDDEEFF"), 0);
    EXPECT_EQ(RD_M1Powerdown(), 0);
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(read_block(6), "00112233445566778899AABBCCDDEEFF");
}

TEST_P(MifareSession, ChangesItsKeys) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 1, key_b), 0);
    EXPECT_EQ(RD_M1WriteBlock(7, "D0D1D2D3D4D57F078869E0E1E2E3E4E5"), 0);
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), -5003);
    EXPECT_EQ(RD_M1Verify(2, 0, "D0D1D2D3D4D5"), 0);
    EXPECT_EQ(RD_M1Verify(2, 1, "E0E1E2E3E4E5"), 0);
}

TEST_P(MifareSession, CountsInValueBlocks) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(read_value(5), "FA000000");
    EXPECT_EQ(RD_M1IncreaseValue(5, 258), 0);
    EXPECT_EQ(read_value(5), "FC010000");
    EXPECT_EQ(RD_M1DecreaseValue(5, 8), 0);
    EXPECT_EQ(read_value(5), "F4010000");
    EXPECT_EQ(RD_M1Increment(5, "01000000"), 0);
    EXPECT_EQ(read_value(5), "F5010000");
    EXPECT_EQ(RD_M1Decrement(5, "F6010000"), 0);
    EXPECT_EQ(read_value(5), "FFFFFFFF") << "one below zero";
    EXPECT_EQ(RD_M1Write(6, "78563412"), 0);
    EXPECT_EQ(read_block(6), "7856341287A9CBED7856341206F906F9");
}

TEST_P(MifareSession, RefusesWhatIsNoValue) {
    EXPECT_EQ(power_up(), answered("5A5B5C5D"));
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), 0);
    EXPECT_EQ(read_value(4), "-5006");
    EXPECT_EQ(RD_M1Increment(4, "01000000"), -5008);
    EXPECT_EQ(RD_M1DecreaseValue(4, 1), -5009);
    EXPECT_EQ(RD_M1IncreaseValue(5, 2147483647), -5008) << "beyond 31 bits";
    EXPECT_EQ(read_value(5), "FA000000");
}

TEST_P(MifareSession, ReachesTheLastSectorOfALargeCard) {
    put("archive");
    EXPECT_EQ(power_up(), answered("01020304"));
    EXPECT_EQ(RD_M1Verify(40, 1, "A1A2A3A4A5A6"), 0);
    EXPECT_EQ(read_block(240), "5348454C462039000000000000000000");
    EXPECT_EQ(read_block(239), "-5004");
    EXPECT_EQ(RD_M1WriteBlock(254, "0102030405060708090A0B0C0D0E0F10"), 0);
    EXPECT_EQ(read_block(254), "0102030405060708090A0B0C0D0E0F10");
}

TEST_P(MifareSession, NoticesOtherCardsAndNone) {
    put("visitor");
    EXPECT_EQ(power_up_in_vain(1), "-4001");
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), -5003);
    desk_.with_reader([](auto& reader) { reader.remove("visitor"); });
    EXPECT_EQ(power_up_in_vain(1), "-4001");
    EXPECT_EQ(RD_M1Verify(2, 0, key_a), -5003);
    EXPECT_EQ(RD_M1Powerdown(), -5002);
}

}  // namespace
