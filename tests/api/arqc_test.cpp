#include <deskreader.h>

#include <cstring>

#include "payment_desk.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Output;

constexpr char without_pdol[] = "6F 04 84 02 A0 00 90 00";
constexpr char one_record[] = "80 06 7C 00 08 01 01 00 90 00";
constexpr char get_options[] = "80 A8 00 00 02 83 00";
constexpr char read_record[] = "00 B2 01 0C 00";
// CDOL1 asks for the amount alone.
constexpr char record[] = "70 05 8C 03 9F 02 06 90 00";
constexpr char answer[] = "80 0D 80 00 07 11 22 33 44 55 66 77 88 AA BB 90 00";

// What stands behind the card's data in the reply, with the store's defaults and the AIP 7C 00.
constexpr char stored[] =
    "9505"
    "0000000800"
    "9A03"
    "303030"
    "9C01"
    "01"
    "9F0206"
    "000000000012"
    "5F2A02"
    "0156"
    "8202"
    "7C00"
    "9F1A02"
    "0156"
    "9F0306"
    "000000000000";

class Arqc : public testing::TestWithParam<kit::Way> {
  protected:
    struct Given {
        int result;
        std::string text;
        int kind = -7;
    };

    static Given generate(const char* transaction, int room = 2400) {
        std::string out(2400 + 1, '#');
        Given given{0, {}};
        given.result = RD_ICGenARQC(0, transaction, room, out.data(), &given.kind, 2);
        EXPECT_EQ(out.back(), '#');
        given.text = out.substr(0, out.find_first_of(std::string("#\0", 2)));
        return given;
    }

    // A card that gives this cryptogram for the default amount.
    void expect_transaction(const char* cryptogram = answer,
                            const char* data = "00 00 00 00 00 12") {
        desk_.expect_selection(without_pdol);
        desk_.expect(get_options, one_record);
        desk_.expect(read_record, record);
        desk_.expect((std::string("80 AE 80 00 06 ") + data).c_str(), cryptogram);
    }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

INSTANTIATE_TEST_SUITE_P(Ways, Arqc, kit::every_way, kit::way_name);

TEST_P(Arqc, GivesTheIssuersDataAndKeepsThePower) {
    expect_transaction();
    const Given given = generate("x");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.kind, 0);
    EXPECT_EQ(given.text,
              "9F2608"
              "1122334455667788"
              "9F2701"
              "80"
              "9F1002"
              "AABB"
              "9F3704" +
                  stored_value("9F37") +
                  "9F3602"
                  "0007" +
                  stored);
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(Arqc, KeepsTheApplicationForTheCompletion) {
    expect_transaction();
    generate("x");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(g_IccAppData), 6), "000016") << "7 + 7 + 2";
    EXPECT_EQ(Bytes(g_IccAppData + 6, g_IccAppData + 23),
              hex("4F 07 A0 00 00 03 33 01 01 70 05 8C 03 9F 02 06 00"));
}

TEST_P(Arqc, DrawsAnUnpredictableNumber) {
    expect_transaction();
    generate("x");
    const std::string first = stored_value("9F37");
    EXPECT_NE(first, "12345678");
    expect_transaction();
    generate("x");
    EXPECT_NE(stored_value("9F37"), first);
}

TEST_P(Arqc, FitsTheFieldsToTheirWidths) {
    expect_transaction(answer, "00 00 00 01 23 45");
    const Given given =
        generate("P00512345Q014AA123456789012R003840S006240305T0012U006110702V004SHOP");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(stored_value("9F02"), "000000012345");
    EXPECT_EQ(stored_value("9F03"), "123456789012");
    EXPECT_EQ(stored_value("5F2A"), "0840");
    EXPECT_EQ(stored_value("9A"), "240305");
    EXPECT_EQ(stored_value("9C"), "02");
    EXPECT_EQ(stored_value("9F21"), "110702");
    EXPECT_EQ(stored_value("9F4E"), kit::to_hex(kit::ascii("SHOP"
                                                           "02"
                                                           "56789012")) +
                                        "000000000000")
        << "and what earlier fields left";
}

TEST_P(Arqc, RefusesFieldsWithOtherCharacters) {
    const struct {
        const char *text, *error;
    } rows[] = {{"P0021G", "P"},     {"Q0021a", "Q"}, {"R001-", "R"},
                {"S0062A0101", "S"}, {"T001x", "T"},  {"U0061A0000", "U"}};
    std::vector<std::string> expected;
    for (const auto& row : rows) {
        desk_.expect_selection(without_pdol);
        desk_.expect_power_off();
        EXPECT_EQ(generate(row.text).result, -1007) << row.text;
        expected.push_back(std::string("Error:TAG ") + row.error + " Error!\r\n");
    }
    EXPECT_EQ(log_.messages(), expected);
}

TEST_P(Arqc, FieldsBeforeARefusedOneStayStored) {
    desk_.expect_selection(without_pdol);
    desk_.expect_power_off();
    EXPECT_EQ(generate("P00299T001x").result, -1007);
    EXPECT_EQ(stored_value("9F02"), "000000000099");
}

TEST_P(Arqc, RefusesTextsOfTheWrongLength) {
    EXPECT_EQ(generate("").result, -1007);
    EXPECT_EQ(generate(std::string(1025, 'x').c_str()).result, -1007);
    EXPECT_EQ(log_.messages(), std::vector<std::string>(2, "Error:szTxdata Error!\r\n"));
    expect_transaction();
    EXPECT_EQ(generate(std::string(1024, 'x').c_str()).result, 0);
}

TEST_P(Arqc, ShortCryptogramHasNoIssuerData) {
    expect_transaction("80 0B 80 00 07 11 22 33 44 55 66 77 88 90 00");
    EXPECT_EQ(generate("x").text.find("9F10"), std::string::npos);
}

TEST_P(Arqc, Format2GivesZeros) {
    expect_transaction("77 0A 9F 27 01 80 9F 36 02 00 07 90 00");
    const Given given = generate("x");
    EXPECT_EQ(given.text,
              "9F2608"
              "0000000000000000"
              "9F2701"
              "00"
              "9F3704" +
                  stored_value("9F37") +
                  "9F3602"
                  "0000" +
                  stored);
}

TEST_P(Arqc, TakesTheDataOfACardThatAnswersOptionsWithThem) {
    desk_.expect_selection(without_pdol);
    desk_.expect(get_options,
                 "77 17 82 02 7C 00 9F 26 02 11 22 9F 27 01 80 9F 36 02 00 07 9F 10 01 AA 90 00");
    const Given given = generate("x");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text,
              "9F2602"
              "1122"
              "9F2701"
              "80"
              "9F1001"
              "AA"
              "9F3704" +
                  stored_value("9F37") +
                  "9F3602"
                  "0007" +
                  stored);
    EXPECT_EQ(g_IccAppData[0], 0) << "nothing to complete with";
}

TEST_P(Arqc, ReplyIsCutToTheRoom) {
    expect_transaction();
    EXPECT_EQ(generate("x", 20).text, "9F260811223344556677");
}

TEST_P(Arqc, EveryFailedStepPowersOff) {
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4100);
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect_application_list();
    desk_.expect_application("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4102);
    desk_.expect_selection("6F 07 A5 05 9F 38 02 DF 01 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4103);
    desk_.expect_selection(without_pdol);
    desk_.expect(get_options, "77 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4104);
    desk_.expect_selection(without_pdol);
    desk_.expect(get_options, one_record);
    desk_.expect(read_record, "70 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4105);
    desk_.expect_selection(without_pdol);
    desk_.expect(get_options, one_record);
    desk_.expect(read_record, "70 05 8C 03 9F 99 06 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4103);
    expect_transaction("69 85");
    desk_.expect_power_off();
    EXPECT_EQ(generate("x").result, -4107);
    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{
                  "Error:PBOC_SelectPSE Error!\r\n", "Error:PBOC_SelectAID Error!\r\n",
                  "Error:PBOC_BuildDOL Error!\r\n", "Error:PBOC_GetProcOptions Error!\r\n",
                  "Error:GetTag 8C Error!\r\n", "Error:PBOC_BuildDOL Error!\r\n",
                  "Error:PBOC_GenerateAC Error!\r\n"}));
    EXPECT_EQ(RD_ICGenARQC(0, "x", 0, nullptr, nullptr, -1), -1007);
}

Output build(const Bytes& data) {
    return kit::output_of(
        [&](auto* out, int* length) {
            return PBOC_BuildARQCBack(data.data(), static_cast<int>(data.size()), out, length);
        },
        1200);
}

TEST(ArqcReply, ShorterAnswersCountAsZeros) {
    const Output output = build(hex("40 00 09"));
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.text().substr(0, 30),
              "9F2608"
              "0000000000000000"
              "9F2701"
              "40");
}

TEST(ArqcReply, TracesItsSteps) {
    const kit::LogFile log;
    build(hex("9F 26 01 11"));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"Info:9F26\r\n", "Info:9F27\r\n",
                                                        "Info:9F10\r\n", "Info:9F37\r\n"}));
}

TEST(ArqcReply, LongObjectsAreCutToTheirOneByteOfLength) {
    Bytes data = hex("9F 26 82 01 2C");
    data.resize(305, 0x11);
    const Bytes issuer = hex("9F 10 82 01 2C");
    data.insert(data.end(), issuer.begin(), issuer.end());
    data.resize(610, 0x22);
    const Output output = build(data);
    EXPECT_EQ(output.bytes[2], 0xFF);
    EXPECT_EQ(Bytes(output.bytes.begin() + 258, output.bytes.begin() + 261), hex("9F 10 FF"));
}

}  // namespace
