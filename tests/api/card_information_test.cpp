#include <deskreader.h>

#include "payment_desk.h"

namespace {

using kit::hex;

constexpr char without_pdol[] = "6F 04 84 02 A0 00 90 00";
constexpr char one_record[] = "80 06 7C 00 08 01 01 00 90 00";

class CardInformation : public testing::TestWithParam<kit::Way> {
  protected:
    struct Given {
        int result;
        std::string text;
    };

    static Given get(const char* letters, int timeout_s = 2) {
        std::string out(3627 + 1, '#');
        out[0] = '\0';
        Given given{RD_ICGetInfo(0, letters, 0, out.data(), timeout_s), {}};
        EXPECT_EQ(out.back(), '#') << "written past the documented room";
        given.text = out.c_str();
        return given;
    }

    // A card without PDOL whose one record is this.
    void expect_card(const char* record) {
        desk_.expect_selection(without_pdol);
        desk_.expect("80 A8 00 00 02 83 00", one_record);
        desk_.expect("00 B2 01 0C 00", record);
    }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

INSTANTIATE_TEST_SUITE_P(Ways, CardInformation, kit::every_way, kit::way_name);

TEST_P(CardInformation, GivesThePanWithoutPadding) {
    expect_card("70 0C 5A 0A 62 22 02 12 34 56 78 90 12 3F 90 00");
    desk_.expect_power_off();
    const Given given = get("A");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, "A0196222021234567890123");
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(CardInformation, GivesTrack2WithItsSeparator) {
    expect_card("70 12 57 10 62 22 02 12 34 56 78 90 12 3D 25 12 20 11 23 4F 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("E").text, "E0316222021234567890123=25122011234");
}

TEST_P(CardInformation, GivesEveryRecordFieldInOrder) {
    expect_card(
        "70 48 5A 02 12 34 5F 20 02 41 42 9F 62 01 00 9F 61 03 31 32 33 57 02 12 D3 9F 1F 02 AB CD "
        "5F 24 03 30 12 31 "
        "5F 34 01 01 5F 25 03 20 01 01 9F 63 02 58 59 90 00");
    desk_.expect("80 CA 9F 79", "9F 79 06 00 00 00 00 10 00 90 00");
    desk_.expect("80 CA 9F 77", "9F 77 06 00 00 00 10 00 00 90 00");
    desk_.expect("80 CA 9F 6D", "9F 6D 06 00 00 00 00 00 00 90 00");
    desk_.expect("80 CA 9F 78", "9F 78 06 00 00 00 05 00 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("NMLKJIHGFEDCBA").text,
              "A0041234B002ABC00200D003123E00412="
              "3F004ABCDG012000000001000H012000000100000I006301231J00201K012000000000000"
              "L012000000050000M006200101N002XY");
}

TEST_P(CardInformation, GivesNoughtForWhatTheCardLacks) {
    expect_card("70 00 90 00");
    desk_.expect("80 CA 9F 79", "6A 88");
    desk_.expect("80 CA 9F 77", "9F 78 01 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("DGHN").text, "D000G000H000N000");
}

TEST_P(CardInformation, IgnoresOtherCharactersAndRepetition) {
    expect_card("70 04 5A 02 12 34 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("1AZAa").text, "A0041234");
}

TEST_P(CardInformation, AnswersThePdol) {
    desk_.expect_selection("6F 0B A5 09 9F 38 06 9F 66 04 9F 02 06 90 00");
    desk_.expect("80 A8 00 00 0C 83 0A F4 00 00 00 00 00 00 00 00 12", one_record);
    desk_.expect("00 B2 01 0C 00", "70 04 5A 02 12 34 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").text, "A0041234");
}

TEST_P(CardInformation, TakesTheDataOfACardThatAnswersWithThem) {
    desk_.expect_selection(without_pdol);
    desk_.expect("80 A8 00 00 02 83 00", "77 08 82 02 7C 00 5A 02 56 78 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").text, "A0045678");
}

TEST_P(CardInformation, GoesOnWithABlockedDirectory) {
    desk_.expect_power_on();
    desk_.expect_directory("93 03");
    desk_.expect("00 A4 04 00 00", "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").result, -4102) << "there is no application in it";
}

TEST_P(CardInformation, RefusesARequestWithoutLetters) {
    for (const char* letters : {"", "az", "123"})
        EXPECT_EQ(get(letters).result, -1007) << letters;
    EXPECT_EQ(log_.messages(), std::vector<std::string>(3, "Error:TagList Error!\r\n"));
}

TEST_P(CardInformation, PowerOnFailureEndsIt) {
    desk_.expect_power_on_refused();
    EXPECT_EQ(get("A").result, GetParam().iccmd == 0 ? 1 : -99);
    EXPECT_EQ(get("A", -1).result, -1007);
}

TEST_P(CardInformation, EveryFailedStepIsLoggedAndPowersOff) {
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").result, -4100);

    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect_application_list();
    desk_.expect_application("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").result, -4102);

    desk_.expect_selection("6F 07 A5 05 9F 38 02 DF 01 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").result, -4103);

    desk_.expect_selection(without_pdol);
    desk_.expect("80 A8 00 00 02 83 00", "77 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get("A").result, -4104);

    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{
                  "Error:PBOC_SelectPSE Error!\r\n", "Error:PBOC_SelectAID Error!\r\n",
                  "Error:PBOC_BuildDOL Error!\r\n", "Error:PBOC_GetProcOptions Error!\r\n"}));
}

TEST_P(CardInformation, RefusedOptionsGiveEmptyFields) {
    desk_.expect_selection(without_pdol);
    desk_.expect("80 A8 00 00 02 83 00", "69 85");
    desk_.expect_power_off();
    const Given given = get("A");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, "A000");
}

TEST_P(CardInformation, FieldsEndAt255Characters) {
    desk_.expect_selection(without_pdol);
    desk_.expect("80 A8 00 00 02 83 00", "80 0A 7C 00 08 01 01 00 10 01 01 00 90 00");
    desk_.expect("00 B2 01 0C 00",
                 ("5F 20 82 01 2C " + kit::to_hex(kit::Bytes(200, 'x')) + "9000").c_str());
    desk_.expect("00 B2 01 14 00", (kit::to_hex(kit::Bytes(100, 'y')) + "9F1F81C8" +
                                    kit::to_hex(kit::Bytes(120, 0x11)) + "9000")
                                       .c_str());
    desk_.expect_power_off();
    const Given given = get("BF");
    EXPECT_EQ(given.text.substr(0, 4), "B255");
    EXPECT_EQ(given.text.substr(259), "F000") << "an object that runs past the data";
}

}  // namespace
