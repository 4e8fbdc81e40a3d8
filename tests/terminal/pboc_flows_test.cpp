#include <deskreader.h>

#include <algorithm>

#include "payment_desk.h"

namespace {

using kit::Bytes;
using kit::hex;

// An application whose PDOL asks for the amount.
constexpr char with_pdol[] = "6F 0C 84 02 A0 00 A5 06 9F 38 03 9F 02 06 90 00";
constexpr char get_options[] = "80 A8 00 00 08 83 06 00 00 00 00 00 12";
constexpr char one_record[] = "80 06 7C 00 08 01 01 00 90 00";
constexpr char read_record[] = "00 B2 01 0C 00";

std::string start_value(const char* tag) {
    return stored_value(tag, g_szAppInitData, g_iAppInitDataLen);
}

class Flows : public testing::TestWithParam<kit::Way> {
  protected:
    struct Given {
        int result;
        std::string text;
        int kind;
        std::string selection;
    };

    static Given information(const char* letters, const char* application = "") {
        std::string out(3109 + 1, '#');
        out[0] = '\0';
        Given given{0, {}, 0, {}};
        given.result = RD_ICGetInfo_KP(&given.kind, application, letters, 0, out.data(), 2);
        EXPECT_EQ(out.back(), '#') << "written past the documented room";
        given.text = out.c_str();
        return given;
    }

    static Given authorise(const char* transaction, int room = 4000) {
        std::string out(4000 + 1, '#');
        std::string selection(1025 + 1, '#');
        Given given{0, {}, 0, {}};
        given.result =
            RD_ICGenARQC_KP(&given.kind, "", transaction, room, out.data(), 2, selection.data());
        EXPECT_EQ(out.back(), '#');
        EXPECT_EQ(selection.back(), '#');
        given.text = out.substr(0, out.find_first_of(std::string("#\0", 2)));
        given.selection = selection.substr(0, selection.find_first_of(std::string("#\0", 2)));
        return given;
    }

    static Given log_entries() {
        std::string out(4102 + 1, '#');
        out[0] = '\0';
        Given given{0, {}, 0, {}};
        given.result = RD_ICGetDetail_KP(&given.kind, nullptr, 0, out.data(), 2);
        EXPECT_EQ(out.back(), '#');
        given.text = out.c_str();
        return given;
    }

    void expect_card(const char* record) {
        desk_.expect_selection(with_pdol);
        desk_.expect(get_options, one_record);
        desk_.expect(read_record, record);
    }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

INSTANTIATE_TEST_SUITE_P(Ways, Flows, kit::every_way, kit::way_name);

TEST_P(Flows, InformationHasTheLettersAToL) {
    expect_card(
        "70 31 5A 0A 62 22 02 12 34 56 78 90 12 3F 57 04 62 22 D2 5F 5F 24 03 30 12 31 5F 34 01 01 "
        "9F 62 01 00 9F 61 03 31 32 33 5F 20 03 41 44 41 9F 0B 02 58 59 90 00");
    desk_.expect("80 CA 9F 79", "9F 79 06 00 00 00 01 00 00 90 00");
    desk_.expect("80 CA 9F 77", "9F 77 06 00 00 00 10 00 00 90 00");
    desk_.expect("80 CA 9F 78", "9F 78 06 00 00 00 02 00 00 90 00");
    desk_.expect("80 CA 9F 36", "9F 36 02 00 07 90 00");
    desk_.expect_power_off();
    const Given given = information("LKJIHGFEDCBA");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text,
              "A0196222021234567890123"
              "B0086222D25F"
              "C012000000010000"
              "D012000000100000"
              "E006301231"
              "F012000000020000"
              "G00201"
              "H0040007"
              "I00200"
              "J003123"
              "K003ADA"
              "L002XY");
}

TEST_P(Flows, InformationThatTheCardLacksIsEmpty) {
    expect_card("70 00 90 00");
    desk_.expect("80 CA 9F 79", "6A 88");
    desk_.expect("80 CA 9F 77", "9F 79 01 00 90 00");
    desk_.expect("80 CA 9F 78", "6A 88");
    desk_.expect("80 CA 9F 36", "6A 88");
    desk_.expect_power_off();
    EXPECT_EQ(information("ABCDEFGHIJKL").text, "A000B000C000D000E000F000G000H000I000J000K000L000");
}

TEST_P(Flows, OtherLettersSelectNothing) {
    expect_card("70 03 9F 63 00 90 00");
    desk_.expect_power_off();
    const Given given = information("MN");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, "");
    EXPECT_EQ(information("az").result, -1007);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:TagList Error!\r\n"});
}

TEST_P(Flows, DataInTheOptionsAreNotLookedInto) {
    // A template 77 without locator: read as one, it names no record.
    desk_.expect_selection(with_pdol);
    desk_.expect(get_options, "77 81 08 82 02 7C 00 5A 02 FF 11 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(information("A").text, "A000");
}

TEST_P(Flows, HostNamesTheApplication) {
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect("00 A4 04 00 05 A0 00 00 03 33", with_pdol);
    desk_.expect(get_options, one_record);
    desk_.expect(read_record, "70 03 5A 01 12 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(information("A", "A000000333").text, "A00212");
}

TEST_P(Flows, LongNamesAreNotSent) {
    const std::string digits(2 * 300, 'A');
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect_power_off();
    EXPECT_EQ(information("A", digits.c_str()).result, -4102);
}

TEST_P(Flows, DirectoryIsSelectedAllTheSame) {
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(information("A", "A000000333").result, -4100);
    desk_.expect_power_on();
    desk_.expect_directory("93 03");
    desk_.expect("00 A4 04 00 05 A0 00 00 03 33", "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(information("A", "A000000333").result, -4102) << "a blocked one is passed over";
}

TEST_P(Flows, PdolHasToBeThere) {
    desk_.expect_selection("6F 04 84 02 A0 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(information("A").result, -4103);
    desk_.expect_selection("6F 04 84 02 A0 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(authorise("x").result, -4103);
    EXPECT_EQ(log_.messages(), std::vector<std::string>(2, "Error:GetTag 9F38 Error!\r\n"));
    desk_.expect_selection("6F 08 84 02 A0 00 9F 38 02 DF 01 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(information("A").result, -4103) << "and be answerable";
}

TEST_P(Flows, KindOfCardIsWrittenOnSuccess) {
    desk_.expect_field_power_on();
    desk_.expect_contactless("00 A4 04 00 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31", "6A 82");
    desk_.expect_field_power_off();
    char out[3109] = "";
    int kind = 1;
    EXPECT_EQ(RD_ICGetInfo_KP(&kind, "", "A", 0, out, 2), -4100);
    EXPECT_EQ(kind, 1);

    expect_card("70 00 90 00");
    desk_.expect_power_off();
    kind = 2;
    EXPECT_EQ(RD_ICGetInfo_KP(&kind, "", "A", 0, out, 2), 0);
    EXPECT_EQ(kind, 0);

    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    kind = 2;
    EXPECT_EQ(RD_ICGetDetail_KP(&kind, "", 0, out, 2), -4100);
    EXPECT_EQ(kind, 2);
}

// The frame that the configuration has at first, and the other one.
TEST_P(Flows, FailedPowerOnTriesTheOtherFrame) {
    const std::string first = "Iccmd=" + std::to_string(GetParam().iccmd) + "\n";
    const std::string other = "Iccmd=" + std::to_string(1 - GetParam().iccmd) + "\n";
    desk_.expect_power_on_refused();
    desk_.expect_other_frame();
    expect_card("70 03 5A 01 12 90 00");
    desk_.expect_power_off();
    EXPECT_NE(desk_.config().content().find(first), std::string::npos);
    EXPECT_EQ(information("A").text, "A00212");
    EXPECT_NE(desk_.config().content().find(other), std::string::npos);
}

TEST_P(Flows, SecondFailedPowerOnEndsTheFlow) {
    const std::string other = "Iccmd=" + std::to_string(1 - GetParam().iccmd) + "\n";
    desk_.expect_power_on_refused();
    desk_.expect_other_frame();
    desk_.expect_power_on_refused();
    EXPECT_EQ(information("A").result, GetParam().iccmd == 0 ? -99 : 1);
    EXPECT_NE(desk_.config().content().find(other), std::string::npos);
}

TEST_P(Flows, OtherNumbersOfTheFrameGoOnWithoutCard) {
    desk_.config().write("[devcfg]\nIccmd=5\n");
    EXPECT_EQ(information("A").result, -4100);
    EXPECT_EQ(authorise("x").result, -4100);
    EXPECT_EQ(log_entries().result, -4100);
    EXPECT_EQ(desk_.config().content(), "[devcfg]\nIccmd=5\n");
}

// PDOL: 9F37, 9F66, 9F7A, 9F7B. CDOL1: 9F1A, 9F37, 95.
constexpr char wide_pdol[] =
    "6F 16 84 02 A0 00 A5 10 9F 38 0C 9F 37 04 9F 66 04 9F 7A 01 9F 7B 06 01 01 90 00";
constexpr char cdol_record[] = "70 0A 8C 08 9F 1A 02 9F 37 04 95 05 90 00";
constexpr char arqc[] = "80 0D 80 00 07 11 22 33 44 55 66 77 88 AA BB 90 00";

TEST_P(Flows, AuthorisationTakesTheTerminalsFields) {
    desk_.expect_selection(wide_pdol);
    desk_.expect("80 A8 00 00 11 83 0F 11 22 33 44 36 00 40 80 01 00 00 00 02 00 00", one_record);
    desk_.expect(read_record, cdol_record);
    desk_.expect("80 AE 80 00 0B 03 44 11 22 33 44 00 00 00 80 00", arqc);
    desk_.expect("80 CA 9F 13", "9F 13 02 00 05 90 00");
    const Given given = authorise(
        "J0040344K00811223344L0100000008000M00836004080N00201O012000000020000"
        "P00512345Q00299R0040840S006260101T00230U006123456V004SHOP");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.kind, 0);
    EXPECT_EQ(given.text,
              "9F26081122334455667788"
              "9F270180"
              "9F1002AABB"
              "9F370411223344"
              "9F36020007"
              "95050000008000"
              "9A03260101"
              "9C0130"
              "9F0206000000012345"
              "5F2A020840"
              "82027C00"
              "9F1A020344"
              "9F0306000000000099"
              "9F330320A100"
              "9F13020005"
              "5A0A00000000000000000000"
              "5F34020000");
    EXPECT_EQ(given.selection, "6F168402A000A5109F380C9F37049F66049F7A019F7B0601019000");
    EXPECT_EQ(stored_value("9F21"), "123456");
    EXPECT_EQ(stored_value("9F4E").substr(0, 8), "53484F50");
    EXPECT_EQ(start_value("9F66"), "36004080");
    EXPECT_EQ(start_value("9F7A"), "01");
    EXPECT_EQ(start_value("9F7B"), "000000020000");
    EXPECT_EQ(Bytes(g_IccAppData, g_IccAppData + 6), kit::ascii("000021")) << "7 + 12 + 2";
}

TEST_P(Flows, AuthorisationNamesTheCard) {
    expect_card("70 13 8C 03 9F 02 06 5A 08 62 22 02 12 34 56 78 90 5F 34 01 01 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
    desk_.expect("80 CA 9F 13", "6A 88");
    const std::string text = authorise("x").text;
    EXPECT_EQ(text.substr(text.find("9F3303")),
              "9F330320A100"
              "9F130100"
              "5A086222021234567890"
              "5F340101");
}

TEST_P(Flows, AuthorisationLeavesOutBadFields) {
    const struct {
        const char *field, *tag, *stored;
    } rows[] = {
        {"J0040z56", "9F1A", "0156"},
        {"K008112233GG", "9F37", "12345678"},
        {"L01000000008ZZ", "95", "0000000800"},
        {"P0021G", "9F02", "000000000012"},
        {"Q0021a", "9F03", "000000000000"},
        {"R001-", "5F2A", "0156"},
        {"S001x", "9A", "303030"},
        {"T001x", "9C", "01"},
        {"U001x", "9F21", "000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.field);
        expect_card("70 05 8C 03 9F 02 06 90 00");
        desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
        desk_.expect("80 CA 9F 13", "6A 88");
        EXPECT_EQ(authorise(row.field).result, 0);
        EXPECT_EQ(stored_value(row.tag), row.stored);
    }
    const struct {
        const char *field, *tag, *stored;
    } start_rows[] = {
        {"M001x", "9F66", "F4000000"}, {"N001x", "9F7A", "00"}, {"O001x", "9F7B", "000001000000"}};
    for (const auto& row : start_rows) {
        expect_card("70 05 8C 03 9F 02 06 90 00");
        desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
        desk_.expect("80 CA 9F 13", "6A 88");
        EXPECT_EQ(authorise(row.field).result, 0);
        EXPECT_EQ(start_value(row.tag), row.stored) << row.field;
    }
}

TEST_P(Flows, AuthorisationFitsFieldsBeforeItLooksAtThem) {
    expect_card("70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
    desk_.expect("80 CA 9F 13", "6A 88");
    EXPECT_EQ(authorise("S008zz2A0101T003z31").result, 0);
    EXPECT_EQ(stored_value("9A"), "2A0101") << "hexadecimal, and only what is stored counts";
    EXPECT_EQ(stored_value("9C"), "31");
}

TEST_P(Flows, AuthorisationKeepsTheUnpredictableNumber) {
    expect_card("70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
    desk_.expect("80 CA 9F 13", "6A 88");
    EXPECT_EQ(authorise("x").result, 0);
    EXPECT_EQ(stored_value("9F37"), "12345678") << "none is drawn";
}

TEST_P(Flows, AuthorisationFailures) {
    const kit::LogFile log;
    desk_.expect_selection(with_pdol);
    desk_.expect(get_options, "80 01 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(authorise("x").result, -4104);

    expect_card("70 02 5A 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(authorise("x").result, -4105) << "no CDOL1";

    expect_card("70 05 8C 03 DF 01 01 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(authorise("x").result, -4103);

    expect_card("70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", "69 85");
    desk_.expect_power_off();
    const Given given = authorise("x");
    EXPECT_EQ(given.result, -4107);
    EXPECT_EQ(given.text, "");
    EXPECT_EQ(given.selection, "") << "nothing is written on a failure";
    EXPECT_EQ(authorise("").result, -1007);
}

TEST_P(Flows, AuthorisationTracesWhatSelectAnswered) {
    const kit::LogFile log;
    expect_card("70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
    desk_.expect("80 CA 9F 13", "6A 88");
    authorise("x");
    EXPECT_TRUE(log.has("Info:szIccAppdata = 6F0C8402A000A5069F38039F02069000\r\n"));
}

TEST_P(Flows, AuthorisationIsCutToItsRoom) {
    expect_card("70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 12", arqc);
    desk_.expect("80 CA 9F 13", "6A 88");
    const Given given = authorise("x", 10);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text.substr(0, 10), "9F26081122");
    EXPECT_EQ(given.text.size(), 10u);
}

constexpr char approved[] = "910A11223344556677883030";

class FlowCompletion : public Flows {
  protected:
    Given complete(const Bytes& data, const char* issuer = approved) {
        std::string result(17, '\0');
        std::string cryptogram(1024, '\0');
        Given given{0, {}, 0, {}};
        given.result = RD_ICExeScript_KP(0, "x", issuer, 17, result.data(), 0, cryptogram.data(),
                                         static_cast<int>(data.size()), data.data());
        given.text = result.c_str();
        given.selection = cryptogram.c_str();
        return given;
    }

    void expect_approval() {
        desk_.expect("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 30", "90 00");
        desk_.expect("80 AE 40 00 02 30 30", "80 03 40 00 07 90 00");
    }
};

INSTANTIATE_TEST_SUITE_P(Ways, FlowCompletion, kit::every_way, kit::way_name);

constexpr char cdol2_record[] = "70 04 8D 02 8A 02";

TEST_P(FlowCompletion, TakesTheApplicationDataOfTheHost) {
    for (const char* data : {"70 04 8D 02 8A 02", "30 30 30 30 30 36 70 04 8D 02 8A 02"}) {
        expect_approval();
        desk_.expect_power_off();
        const Given given = complete(hex(data));
        EXPECT_EQ(given.result, 0) << data;
        EXPECT_EQ(given.text, "DF31051000000000");
        EXPECT_EQ(given.selection, "400007");
    }
}

TEST_P(FlowCompletion, DoesNotLookElsewhere) {
    const Bytes kept =
        kit::join({kit::ascii("000015"), hex("4F 07 A0 00 00 03 33 01 01"), hex(cdol2_record)});
    std::ranges::copy(kept, g_IccAppData);
    for (const char* data : {"", "70 02 5A 00", "6F 04 84 02 A0 00 90 00"}) {
        desk_.expect_power_off();
        EXPECT_EQ(complete(hex(data)).result, -4111) << data;
    }
}

TEST_P(FlowCompletion, SelectionStandsForTheRecordsKeptWithIt) {
    const Bytes kept =
        kit::join({kit::ascii("000015"), hex("4F 07 A0 00 00 03 33 01 01"), hex(cdol2_record)});
    std::ranges::copy(kept, g_IccAppData);
    for (const char* data : {"6F 09 84 07 A0 00 00 03 33 01 01 90 00",
                             "6F 0B 84 09 A0 00 00 03 33 01 01 02 03 90 00"}) {
        expect_approval();
        desk_.expect_power_off();
        EXPECT_EQ(complete(hex(data)).result, 0) << data;
    }
}

TEST_P(FlowCompletion, FailedScriptHasANumberOfItsOwn) {
    expect_approval();
    desk_.expect("84 1E 00 00 00", "6A 82");
    desk_.expect_power_off();
    const Given given = complete(hex(cdol2_record), "910A1122334455667788303072078605841E000000");
    EXPECT_EQ(given.result, -4109);
    EXPECT_EQ(given.text, "DF31051200000000");
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:PBOC_ExeScript Error!\r\n"});
}

TEST_P(FlowCompletion, DecidesAsTheBaseFlowDoes) {
    desk_.expect("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 35", "90 00");
    desk_.expect("80 AE 00 00 02 30 35", "80 03 00 00 07 90 00");
    desk_.expect_power_off();
    const Given given = complete(hex(cdol2_record), "910A11223344556677883035");
    EXPECT_EQ(given.result, -4115);
    EXPECT_EQ(given.selection, "000007");
}

TEST_P(FlowCompletion, TracesTheDataGiven) {
    const kit::LogFile log;
    expect_approval();
    desk_.expect_power_off();
    complete(hex(cdol2_record));
    EXPECT_TRUE(log.has("Info:iAppDataLen = 6\r\n"));
    EXPECT_TRUE(log.has("Info:g_IccAppData = p\x04\x8D\x02\x8A\x02\r\n"));
}

TEST_P(Flows, LogNeedsNoPdol) {
    desk_.expect_selection("6F 09 84 02 A0 00 9F 4D 02 0B 01 90 00");
    desk_.expect("00 B2 01 5C 00", "6A 83");
    desk_.expect_power_off();
    const Given given = log_entries();
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, "00000");
    desk_.expect_selection("6F 04 84 02 A0 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(log_entries().result, -4117);
}

}  // namespace
