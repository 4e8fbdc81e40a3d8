#include <deskreader.h>

#include <algorithm>
#include <cstring>

#include "payment_desk.h"

namespace {

using kit::Bytes;
using kit::hex;

// Issuer authentication data: eight bytes of cryptogram, then the response code.
constexpr char approved[] = "910A11223344556677883030";
constexpr char authenticate_approved[] = "00 82 00 00 0A 11 22 33 44 55 66 77 88 30 30";

// An identifier and one record: CDOL2 asks for the response code and the verification results.
constexpr char kept[] = "4F 07 A0 00 00 03 33 01 01 70 08 8D 04 8A 02 95 05 5A 00";
constexpr char generate_tc[] = "80 AE 40 00 07 30 30 00 00 00 08 00";
constexpr char tc_answer[] = "80 0B 40 00 07 A1 A2 A3 A4 A5 A6 A7 A8 90 00";
constexpr char tc_text[] = "400007A1A2A3A4A5A6A7A8";

void keep_application_data(const char* data) {
    const Bytes bytes = hex(data);
    std::snprintf(reinterpret_cast<char*>(g_IccAppData), 7, "%06zu", bytes.size());
    std::ranges::copy(bytes, g_IccAppData + 6);
}

std::string text_in(const std::string& buffer) {
    return buffer.substr(0, buffer.find_first_of(std::string("#\0", 2)));
}

class Completion : public testing::TestWithParam<kit::Way> {
  protected:
    struct Given {
        int result;
        std::string script_result;
        std::string cryptogram;
    };

    static Given complete(const char* issuer, const char* transaction = "x", int room = 64,
                          int slot = 0) {
        std::string script_result(64 + 1, '#');
        std::string cryptogram(1024 + 1, '#');
        const int result = RD_ICExeScript_TC(slot, transaction, issuer, room, script_result.data(),
                                             0, cryptogram.data());
        EXPECT_EQ(cryptogram.back(), '#') << "written past the documented room";
        return {result, text_in(script_result), text_in(cryptogram)};
    }

    static Given only_script(const char* issuer, const char* transaction = "x") {
        std::string script_result(17 + 1, '#');
        const int result = RD_ICExeScript(0, transaction, issuer, 0, script_result.data());
        EXPECT_EQ(script_result.back(), '#');
        return {result, text_in(script_result), {}};
    }

    void expect_approval() {
        desk_.expect(authenticate_approved, "90 00");
        desk_.expect(generate_tc, tc_answer);
    }

    void SetUp() override { keep_application_data(kept); }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

INSTANTIATE_TEST_SUITE_P(Ways, Completion, kit::every_way, kit::way_name);

TEST_P(Completion, ApprovalWithoutScript) {
    expect_approval();
    desk_.expect_power_off();
    const Given given = complete(approved);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.script_result, "DF31051000000000");
    EXPECT_EQ(given.cryptogram, tc_text);
    EXPECT_EQ(stored_value("8A"), "3030");
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:GetTag 71/72 Error!\r\n"});
}

TEST_P(Completion, ContactlessCardsTakeTheSameCommands) {
    desk_.expect_contactless(authenticate_approved, "90 00");
    desk_.expect_contactless(generate_tc, tc_answer);
    desk_.expect_field_power_off();
    EXPECT_EQ(complete(approved, "x", 64, 1).result, 0);
}

TEST_P(Completion, ScriptIdentifierStandsInTheResult) {
    const struct {
        const char* identifier;
        int room;
        const char* expected;
    } rows[] = {
        {"9F180411223344", 64, "DF31051011223344"},     {"9F18021122", 64, "DF31051011220000"},
        {"9F1805AABBCCDDEE", 64, "DF310510AABBCCDDEE"}, {"9F180411223344", 17, "DF31051011223344"},
        {"9F180411223344", 13, "DF31051011220000"},     {"9F180411223344", 8, "DF31051000000000"},
        {"9F180411223344", -1, "DF31051000000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.identifier);
        expect_approval();
        desk_.expect_power_off();
        EXPECT_EQ(
            complete((std::string(approved) + row.identifier).c_str(), "x", row.room).script_result,
            row.expected)
            << row.room;
    }
}

// Every response code: what the card is asked for, and what becomes of its answer.
TEST_P(Completion, ResponseCodeDecides) {
    const struct {
        const char *code, *request, *answer;
        int result;
    } rows[] = {
        {"3030", "40", "40", 0},     {"3130", "40", "40", 0},     {"3131", "40", "80", 0},
        {"3030", "40", "00", -4114}, {"3130", "40", "3F", -4114}, {"3131", "40", "00", -4114},
        {"3031", "C0", "00", 0},     {"3032", "C0", "00", 0},     {"3031", "C0", "40", 0},
        {"3035", "00", "00", -4115}, {"3531", "00", "00", -4115}, {"0000", "00", "00", -4115},
        {"3035", "00", "40", 0},     {"3035", "00", "C0", 0},
    };
    for (const auto& row : rows) {
        const std::string code = row.code;
        SCOPED_TRACE(code + " " + row.answer);
        desk_.expect(("00 82 00 00 0A 1122334455667788" + code).c_str(), "90 00");
        desk_.expect(("80 AE" + std::string(row.request) + "0007" + code + "0000000800").c_str(),
                     (std::string("80 02") + row.answer + "07 9000").c_str());
        desk_.expect_power_off();
        const Given given = complete(("910A1122334455667788" + code).c_str());
        EXPECT_EQ(given.result, row.result);
        EXPECT_EQ(given.cryptogram, std::string(row.answer) + "07") << "also of a refusal";
        EXPECT_EQ(given.script_result, "DF31051000000000");
        EXPECT_EQ(stored_value("8A"), code);
        desk_.verify();
    }
}

TEST_P(Completion, FailedGenerateAcCountsAsDeclined) {
    for (const char* answer : {"69 85", "77 03 9F 27 40 90 00"}) {
        desk_.expect(authenticate_approved, "90 00");
        desk_.expect(generate_tc, answer);
        desk_.expect_power_off();
        const Given given = complete(approved);
        EXPECT_EQ(given.result, -4114) << answer;
        EXPECT_EQ(given.cryptogram, "");
    }
}

TEST_P(Completion, UncheckedAnswersMayBeEmpty) {
    desk_.expect("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 31", "90 00");
    desk_.expect("80 AE C0 00 07 30 31 00 00 00 08 00", "69 85");
    desk_.expect_power_off();
    EXPECT_EQ(complete("910A11223344556677883031").result, 0);
}

TEST_P(Completion, ShortAuthenticationDataHaveNoResponseCode) {
    desk_.expect("00 82 00 00 09 11 22 33 44 55 66 77 88 30", "90 00");
    desk_.expect("80 AE 00 00 07 30 00 00 00 00 08 00", "80 01 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(complete("9109112233445566778830").result, -4115);
}

TEST_P(Completion, ScriptRuns) {
    for (const char* script :
         {"72078605841E000000", "71078605841E000000", "720E9F1804112233448605841E000000"}) {
        expect_approval();
        desk_.expect("84 1E 00 00 00", "90 00");
        desk_.expect_power_off();
        const Given given = complete((std::string(approved) + script).c_str());
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.script_result.substr(0, 8), "DF310520") << script;
        EXPECT_EQ(given.script_result.substr(8),
                  std::string_view(script).starts_with("720E") ? "11223344" : "00000000");
    }
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(Completion, RefusedScriptCommandIsNumbered) {
    expect_approval();
    desk_.expect("84 1E 00 00 00", "6A 82");
    desk_.expect_power_off();
    const Given given = complete((std::string(approved) + "72078605841E000000").c_str());
    EXPECT_EQ(given.result, -4110);
    EXPECT_EQ(given.script_result, "DF31051200000000");
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:PBOC_ExeScript Error!\r\n"});
}

TEST_P(Completion, ScriptWithoutCommandOrWithoutReaderIsNumberedF) {
    expect_approval();
    desk_.expect_power_off();
    EXPECT_EQ(complete((std::string(approved) + "7200").c_str()).script_result, "DF31051F00000000");
    expect_approval();
    desk_.expect_failed("84 1E 00 00 00");
    desk_.expect_power_off();
    const Given given = complete((std::string(approved) + "72078605841E000000").c_str());
    EXPECT_EQ(given.result, -4110);
    EXPECT_EQ(given.script_result, "DF31051F00000000");
}

TEST_P(Completion, TransactionFieldsAreStoredAfterTheAuthentication) {
    keep_application_data("70 06 8D 03 9F 02 06 5A 00");
    desk_.expect(authenticate_approved, "90 00");
    desk_.expect("80 AE 40 00 06 00 00 00 00 99 00", tc_answer);
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved, "P0049900").result, 0);
    EXPECT_EQ(stored_value("9F02"), "000000009900");

    desk_.expect(authenticate_approved, "90 00");
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved, "P00277S0062A0101").result, -1007);
    EXPECT_EQ(log_.messages().back(), "Error:TAG S Error!\r\n");
}

TEST_P(Completion, RefusesTextsAndPowersOff) {
    const kit::LogFile log;
    const std::string long_text(1025, 'A');
    const struct {
        const char *transaction, *issuer, *error;
    } rows[] = {
        {"", approved, "szTxdata Error!\r\n"},
        {long_text.c_str(), approved, "szTxdata Error!\r\n"},
        {nullptr, approved, "szTxdata Error!\r\n"},
        {"x", "", "szARPCBack Error!\r\n"},
        {"x", long_text.c_str(), "szARPCBack Error!\r\n"},
        {"x", "910a", "szARPCBack Error!\r\n"},
        {"x", nullptr, "szARPCBack Error!\r\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        desk_.expect_power_off();
        const Given given = complete(row.issuer, row.transaction);
        EXPECT_EQ(given.result, -1007);
        EXPECT_EQ(given.script_result, "") << "nothing is written";
        EXPECT_TRUE(log.has(std::string("Info:") + row.error));

        desk_.expect_power_off();
        const Given script = only_script(row.issuer, row.transaction);
        EXPECT_EQ(script.result, -1007);
        EXPECT_EQ(script.script_result, "");
        EXPECT_TRUE(log.has("Error:szTxdata Error!\r\n")) << "the same text for both";
    }
}

TEST_P(Completion, TakesAnIssuerTextOf1024Characters) {
    const std::string issuer = std::string(approved) + "C18201F0" + std::string(992, 'A');
    ASSERT_EQ(issuer.size(), 1024u);
    expect_approval();
    desk_.expect_power_off();
    EXPECT_EQ(complete(issuer.c_str()).result, 0);
}

TEST_P(Completion, NeedsCdol2OfTheAuthorisation) {
    const kit::LogFile log;
    for (const char* data : {"", "4F 07 A0 00 00 03 33 01 01 70 02 5A 00"}) {
        keep_application_data(data);
        desk_.expect_power_off();
        const Given given = complete(approved);
        EXPECT_EQ(given.result, -4111);
        EXPECT_EQ(given.script_result, "DF31051000000000");
        EXPECT_TRUE(log.has("Info:Find tag 8D Error!\r\n"));
    }
    std::ranges::fill(g_IccAppData, 0);  // as it is without an authorisation
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, -4111);
}

TEST_P(Completion, LooksOnlyAtTheLengthThatWasKept) {
    keep_application_data(kept);
    std::memcpy(g_IccAppData, "000009", 6);  // ends before the record
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, -4111);
    std::memcpy(g_IccAppData, "999999", 6);  // more than there is
    expect_approval();
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, 0);
}

TEST_P(Completion, UnknownTagInCdol2EndsIt) {
    const kit::LogFile log;
    keep_application_data("70 05 8D 03 DF 01 01");
    desk_.expect(authenticate_approved, "90 00");
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, -4103);
    EXPECT_TRUE(log.has("Info:PBOC_BuildDOL Error!\r\n"));
}

TEST_P(Completion, IssuerAuthenticationFailures) {
    desk_.expect_power_off();
    EXPECT_EQ(complete("8A023030").result, -4109);
    desk_.expect(authenticate_approved, "63 00");
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, -4109);
    desk_.expect_failed(authenticate_approved);
    desk_.expect_power_off();
    EXPECT_EQ(complete(approved).result, -4109);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:GetTag 91 Error!\r\n",
                                                         "Error:PBOC_ExternalAuth Error!\r\n",
                                                         "Error:PBOC_ExternalAuth Error!\r\n"}));
}

TEST_P(Completion, TracesItsSteps) {
    const kit::LogFile log;
    expect_approval();
    desk_.expect_power_off();
    complete(approved);
    EXPECT_TRUE(log.has("Info:iAppDataLen = 19\r\n"));
    EXPECT_TRUE(log.has("Info:g_IccAppData = 000019O\x07\xA0\r\n")) << "up to the first zero";
    EXPECT_TRUE(log.has("Info:uszCDOL2 = 8A029505\r\n"));
    EXPECT_TRUE(log.has("Info:szDOL = 30300000000800\r\n"));
    EXPECT_TRUE(log.has(std::string("Info:GenerateAC szTC = ") + tc_text + "\r\n"));
}

TEST_P(Completion, ScriptAlone) {
    desk_.expect(authenticate_approved, "90 00");
    desk_.expect("84 1E 00 00 00", "90 00");
    desk_.expect_power_off();
    const Given given =
        only_script((std::string(approved) + "9F18041122334472078605841E000000").c_str());
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.script_result, "DF31052000000000") << "without the identifier";
}

TEST_P(Completion, ScriptAloneIsStricter) {
    desk_.expect_power_off();
    EXPECT_EQ(only_script("8A023030").result, -4109);
    desk_.expect(authenticate_approved, "63 00");
    desk_.expect_power_off();
    EXPECT_EQ(only_script(approved).result, -4109);
    desk_.expect(authenticate_approved, "90 00");
    desk_.expect_power_off();
    EXPECT_EQ(only_script(approved).result, -4109) << "no script";
    desk_.expect(authenticate_approved, "90 00");
    desk_.expect("84 1E 00 00 00", "6A 82");
    desk_.expect_power_off();
    const Given given = only_script((std::string(approved) + "72078605841E000000").c_str());
    EXPECT_EQ(given.result, -4109);
    EXPECT_EQ(given.script_result, "DF31051000000000");
    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{
                  "Error:GetTag 91 Error!\r\n", "Error:PBOC_ExternalAuth Error!\r\n",
                  "Error:GetTag 71/72 Error!\r\n", "Error:PBOC_ExeScript Error!\r\n"}));
}

}  // namespace
