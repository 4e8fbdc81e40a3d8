#include <deskreader.h>

#include "payment_desk.h"

namespace {

constexpr char select_directory[] = "00 A4 04 00 0F 73 78 31 2E 73 68 2E E7 A4 BE E4 BC 9A E4 BF";
constexpr char select_ef05[] = "00 A4 00 00 02 EF 05";
constexpr char select_ef06[] = "00 A4 00 00 02 EF 06";

// The records of both files, each a tag, a length and a value.
constexpr const char* ef05[] = {"01 02 A1 B2 90 00",       "02 01 03 90 00",
                                "03 04 31 2E 30 30 90 00", "04 02 11 22 90 00",
                                "05 04 20 20 01 01 90 00", "06 04 20 30 01 01 90 00",
                                "07 03 43 2D 31 90 00"};
constexpr const char* ef06[] = {"08 03 53 2D 31 90 00", "09 03 41 44 41 90 00",
                                "0A 01 32 90 00",       "0B 01 01 90 00",
                                "0C 02 11 01 90 00",    "0D 04 19 90 01 01 90 00"};
constexpr char all[] = "A1B2|03|312E3030|1122|20200101|20300101|C-1|S-1|ADA|2|01|1101|19900101";

class SocialSecurity : public testing::TestWithParam<kit::Way> {
  protected:
    void expect_directory() {
        desk_.expect_power_on();
        desk_.expect(select_directory, "88 01 05 90 00");
    }

    template <std::size_t N>
    void expect_records(const char* const (&records)[N], std::size_t count = N) {
        char command[] = "00 B2 00 04 00";
        for (std::size_t i = 0; i < count; ++i) {
            std::snprintf(command, sizeof command, "00 B2 %02X 04 00",
                          static_cast<unsigned>(i + 1));
            desk_.expect(command, records[i]);
        }
    }

    void expect_card() {
        expect_directory();
        desk_.expect(select_ef05, "90 00");
        expect_records(ef05);
        desk_.expect(select_ef06, "90 00");
        expect_records(ef06);
    }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

INSTANTIATE_TEST_SUITE_P(Ways, SocialSecurity, kit::every_way, kit::way_name);

TEST_P(SocialSecurity, GivesThirteenElementsAndKeepsThePower) {
    expect_card();
    char out[1300] = "";
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), 0);
    EXPECT_STREQ(out, all);
}

TEST_P(SocialSecurity, AppendsToWhatIsThere) {
    char out[2600] = "";
    expect_card();
    RD_SSCReadInfo(0, out, 2);
    expect_card();
    RD_SSCReadInfo(0, out, 2);
    EXPECT_EQ(std::string(out), std::string(all) + all);
}

TEST_P(SocialSecurity, MissingTagIsAnEmptyElement) {
    expect_directory();
    desk_.expect(select_ef05, "90 00");
    const char* const records[] = {ef05[0],
                                   "0E 01 03 90 00",
                                   ef05[2],
                                   ef05[3],
                                   ef05[4],
                                   ef05[5],
                                   "07 05 43 2D 00 31 32 90 00"};
    expect_records(records);
    desk_.expect(select_ef06, "90 00");
    expect_records(ef06);
    char out[1300] = "";
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), 0);
    EXPECT_STREQ(out, "A1B2||312E3030|1122|20200101|20300101|C-|S-1|ADA|2|01|1101|19900101")
        << "text ends at its first zero";
}

TEST_P(SocialSecurity, LongElementsAreCut) {
    expect_directory();
    desk_.expect(select_ef05, "90 00");
    const std::string longest = kit::to_hex(kit::Bytes(240, 0x41)) + "9000";
    std::vector<std::string> texts;
    for (int tag = 1; tag <= 13; ++tag) {
        char head[8];
        std::snprintf(head, sizeof head, "%02X81F0", static_cast<unsigned>(tag));
        texts.push_back(head + longest);
    }
    const char* first[7];
    const char* second[6];
    for (std::size_t i = 0; i < 7; ++i)
        first[i] = texts[i].c_str();
    for (std::size_t i = 0; i < 6; ++i)
        second[i] = texts[7 + i].c_str();
    expect_records(first);
    desk_.expect(select_ef06, "90 00");
    expect_records(second);
    char out[1300] = "";
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), 0);
    EXPECT_EQ(std::string(out).size(), 2u * 64 + 7 * 16 + 4 * 240 + 12);
}

TEST_P(SocialSecurity, AMissingRecordEndsItWithNothing) {
    expect_directory();
    desk_.expect(select_ef05, "90 00");
    expect_records(ef05);
    desk_.expect(select_ef06, "90 00");
    expect_records(ef06, 5);
    desk_.expect("00 B2 06 04 00", "6A 83");
    desk_.expect_power_off();
    char out[1300] = "";
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), -99);
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(SocialSecurity, FailedSelectionsPowerOff) {
    char out[1300] = "";
    desk_.expect_power_on();
    desk_.expect(select_directory, "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), -4100);
    expect_directory();
    desk_.expect(select_ef05, "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(RD_SSCReadInfo(0, out, 2), -4100);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:PBOC_SelectPSE Error!\r\n",
                                                         "Error:PBOC_SelectFile Error!\r\n"}));
    EXPECT_EQ(RD_SSCReadInfo(0, out, -1), -1007);
}

}  // namespace
