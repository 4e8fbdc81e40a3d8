// Social security cards with the virtual reader, over both links and in both IC frames.
#include <deskreader.h>

#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::VirtualDesk;

// Elements that differ from card to card stand in the first; the others show what may be missing.
constexpr std::string_view deck = R"({ "cards": [
  { "type": "social-security", "name": "citizen", "answer": "3B04434954495A", "inserted": true,
    "identification": {"hex": "990000D156000005000000000000ABCD"}, "card_type": {"hex": "33"},
    "version": "3.00", "organisation": {"hex": "999999000000000000000001"},
    "issued": {"hex": "20260101"}, "expires": {"hex": "20360101"}, "card_number": "X00000013",
    "number": "999999190001010013", "person": "ADA EXAMPLE", "sex": "2",
    "nationality": {"hex": "01"}, "birth_place": {"hex": "999999"},
    "birth_date": {"hex": "19000101"} },
  { "type": "social-security", "name": "waving", "contactless": true, "answer": "0400",
    "person": "BOB EXAMPLE", "without": [2, 13], "procedure_bytes": true },
  { "type": "social-security", "name": "short", "answer": "3B00", "ends_after": 12 },
  { "type": "iso", "name": "member", "answer": "3B00" } ] })";

const std::string citizen =
    "990000D156000005000000000000ABCD|33|332E3030|999999000000000000000001|20260101|20360101|"
    "X00000013|999999190001010013|ADA EXAMPLE|2|01|999999|19000101";

class SocialSecuritySession : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0); }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }

    void put(const char* name) {
        desk_.with_reader([name](auto& reader) { reader.insert(name); });
    }
    static std::string read(int slot, const std::string& before = "") {
        std::string text = before;
        text.resize(before.size() + 1301);
        const int result = RD_SSCReadInfo(slot, text.data(), 2);
        return result == 0 ? text.c_str() : std::to_string(result) + text.c_str();
    }
    bool is_powered(virtual_reader::Place place) {
        return desk_.with_reader([place](auto& reader) { return reader.ic().is_powered(place); });
    }

    static constexpr virtual_reader::Place contact_{false, 0};

    kit::ConfigFile config_{GetParam().config()};
    VirtualDesk desk_{GetParam().link, deck};
};

INSTANTIATE_TEST_SUITE_P(Ways, SocialSecuritySession, kit::every_way, kit::way_name);

TEST_P(SocialSecuritySession, ReadsThirteenElements) {
    EXPECT_EQ(read(0), citizen);
    EXPECT_TRUE(is_powered(contact_)) << "the card stays powered";
    EXPECT_EQ(read(2, "x"), "x" + citizen) << "appended";
}

TEST_P(SocialSecuritySession, ReadsAContactlessCardThatLacksElements) {
    put("waving");
    EXPECT_EQ(read(1),
              "990000D156000005000000000000ABCD||332E3030|999999000000000000000001|20260101|"
              "20360101|X00000013|999999190001010013|BOB EXAMPLE|2|01|999999|");
}

TEST_P(SocialSecuritySession, FailsAtARecordThatIsMissing) {
    put("short");
    EXPECT_EQ(read(0), "-99");
    EXPECT_FALSE(is_powered(contact_));
}

TEST_P(SocialSecuritySession, RefusesAnotherCard) {
    put("member");
    EXPECT_EQ(read(0), "-4100");
    EXPECT_FALSE(is_powered(contact_));
    desk_.with_reader([](auto& reader) { reader.remove("member"); });
    EXPECT_EQ(read(0), "-4005");
}

}  // namespace
