// Ultralight C cards with the virtual reader, by the primitives of the tool: real mutual
// authentication over both links and in both IC frames.
#include <deskreader.h>

#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::VirtualDesk;

constexpr std::string_view deck = R"({ "cards": [
  { "type": "ultralight-c", "name": "ticket", "uid": "04515253545556", "inserted": true,
    "key": "000102030405060708090A0B0C0D0E0F", "data": "TEN RIDES, TO NOWHERE",
    "protected_from": 8 } ] })";

constexpr const char* card_key = "000102030405060708090A0B0C0D0E0F";
constexpr const char* other_key = "FFEEDDCCBBAA99887766554433221100";

class UltralightSession : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0); }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }

    static std::string power_on(int attempts = 1) {
        char uid[512] = "";
        int length = -7;
        const int result = RD_M0PowerOn(sizeof uid, uid, &length, attempts);
        return result == 0 ? uid : std::to_string(result);
    }
    static std::string read(int page, int count) {
        char data[33] = "";
        const int result = RD_M0Read(page, count, 32, data);
        return result == 0 ? data : std::to_string(result);
    }
    bool is_powered() {
        return desk_.with_reader([](auto& reader) {
            return reader.ic().is_powered(virtual_reader::Place{true, 0});
        });
    }

    kit::ConfigFile config_{GetParam().config()};
    VirtualDesk desk_{GetParam().link, deck};
};

INSTANTIATE_TEST_SUITE_P(Ways, UltralightSession, kit::every_way, kit::way_name);

TEST_P(UltralightSession, ReadsAndWritesOpenPages) {
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(read(4, 4), "54454E2052494445532C20544F204E4F");
    EXPECT_EQ(read(0, 2), "0451528F53545556");
    EXPECT_EQ(RD_M0Write(5, "20260101"), 0);
    EXPECT_EQ(read(4, 2), "54454E2020260101");
    EXPECT_EQ(RD_M0PowerOff(), 0);
    EXPECT_FALSE(is_powered());
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(read(5, 1), "20260101");
}

TEST_P(UltralightSession, OpensProtectedPagesWithTheKey) {
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, card_key), 0);
    EXPECT_EQ(read(8, 2), "5748455245000000");
    EXPECT_EQ(RD_M0Write(40 - 1, "12345678"), 0);
    EXPECT_EQ(read(39, 1), "12345678");
    EXPECT_EQ(RD_M0VerifyKey(33, card_key), 0) << "once more, with new random numbers";
}

TEST_P(UltralightSession, KeepsProtectedPagesWithoutTheKey) {
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(read(8, 1), "-99");
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0Write(8, "00000000"), -99);
}

TEST_P(UltralightSession, RefusesAWrongKey) {
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, other_key), -99);
    EXPECT_FALSE(is_powered()) << "the card is halted";
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(read(8, 1), "-99");
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, card_key), 0);
}

TEST_P(UltralightSession, StoresAnotherKey) {
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0DownKey(32, other_key), -5105) << "its pages are protected";
    EXPECT_FALSE(is_powered());
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, card_key), 0);
    EXPECT_EQ(RD_M0DownKey(32, other_key), 0);
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, card_key), -99);
    EXPECT_EQ(power_on(), "04515253545556");
    EXPECT_EQ(RD_M0VerifyKey(32, other_key), 0);
    EXPECT_EQ(read(8, 1), "57484552");
}

TEST_P(UltralightSession, MissesACardThatIsNotThere) {
    desk_.with_reader([](auto& reader) { reader.remove("ticket"); });
    EXPECT_EQ(power_on(1), "-4001");
    EXPECT_NE(RD_M0VerifyKey(32, card_key), 0);
}

}  // namespace
