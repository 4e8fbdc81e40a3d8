#include <deskreader.h>

#include "payment_desk.h"

namespace {

using kit::Bytes;

using Read = int (*)(int, int, char*, int);

class Logs : public testing::TestWithParam<kit::Way> {
  protected:
    struct Given {
        int result;
        std::string text;
    };

    static Given read(Read function) {
        std::string out(4102 + 1, '#');
        out[0] = '\0';
        Given given{function(0, 0, out.data(), 2), {}};
        EXPECT_EQ(out.back(), '#') << "written past the documented room";
        given.text = out.c_str();
        return given;
    }

    void expect_record(int record, const std::string& response) {
        char command[] = "00 B2 00 5C 00";
        std::snprintf(command, sizeof command, "00 B2 %02X 5C 00", record);
        desk_.expect(command, response.c_str());
    }

    PaymentDesk desk_{GetParam()};
    kit::LogFile log_{1};
};

// Date 240305, time 110702, amounts, country, currency, SHOP and zeros, type 01, counter 0007.
const std::string transaction =
    "240305"
    "110702"
    "000000000100"
    "000000000000"
    "0156"
    "0840"
    "53484F50"
    "00000000000000000000000000000000"
    "01"
    "0007"
    "9000";
constexpr char transaction_entry[] =
    "P012000000000100Q012000000000000R0040840S006240305T00201U006110702V0040156W020SHOP            "
    "    X0040007";

// Tag 9F79, values before and after, date, time, country, a name of 20 characters, counter.
const std::string load =
    "9F79"
    "000000000100"
    "000000010100"
    "240306"
    "120000"
    "0156"
    "4142434445464748494A4B4C4D4E4F5051525354"
    "0009"
    "9000";
constexpr char load_entry[] =
    "O0011P012000000000100Q012000000010100S006240306U006120000V0040156W020ABCDEFGHIJKLMNOPQRSTX0040"
    "009";

INSTANTIATE_TEST_SUITE_P(Ways, Logs, kit::every_way, kit::way_name);

TEST_P(Logs, TransactionsAreReadWhole) {
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B 03 90 00");
    for (int record = 1; record <= 3; ++record)
        expect_record(record, transaction);
    desk_.expect_power_off();
    const Given given = read(RD_ICGetDetail);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text,
              std::string("03106") + transaction_entry + transaction_entry + transaction_entry);
    EXPECT_EQ(given.text.size(), 5u + 318);
}

TEST_P(Logs, LoadsAreReadWhole) {
    desk_.expect_selection("6F 07 A5 05 DF 4D 02 0B 0A 90 00");
    for (int record = 1; record <= 10; ++record)
        expect_record(record, load);
    desk_.expect_power_off();
    const Given given = read(RD_ICGetCircllog);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text.substr(0, 5), "10097");
    EXPECT_EQ(given.text.substr(5, 97), load_entry);
    EXPECT_EQ(given.text.size(), 5u + 970);
}

TEST_P(Logs, LoadOfAnotherTagIsTheSecondKind) {
    desk_.expect_selection("6F 07 A5 05 DF 4D 02 0B 01 90 00");
    expect_record(1, "DF" + load.substr(2));
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetCircllog).text.substr(5, 5), "O0012");
}

TEST_P(Logs, EndAtTheFirstRecordThatIsMissing) {
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B 0A 90 00");
    for (int record = 1; record <= 4; ++record)
        expect_record(record, transaction);
    expect_record(5, "6A83");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetDetail).text.substr(0, 5), "04106");
}

TEST_P(Logs, EmptyLogHasNoEntries) {
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B 0A 90 00");
    expect_record(1, "6A83");
    desk_.expect_power_off();
    const Given given = read(RD_ICGetDetail);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, "00000");
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetDetail).text, "00000");
}

TEST_P(Logs, StopAtTheLastWholeEntry) {
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B FF 90 00");
    for (int record = 1; record <= 39; ++record)
        expect_record(record, transaction);
    desk_.expect_power_off();
    const Given given = read(RD_ICGetDetail);
    EXPECT_EQ(given.text.substr(0, 5), "38106");
    EXPECT_EQ(given.text.size(), 5u + 38 * 106);
    desk_.expect_selection("6F 07 A5 05 DF 4D 02 0B FF 90 00");
    for (int record = 1; record <= 43; ++record)
        expect_record(record, load);
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetCircllog).text.substr(0, 5), "42097");
}

TEST_P(Logs, ShortRecordReadsAsZeros) {
    desk_.expect_selection("6F 07 A5 05 9F 4D 02 0B 01 90 00");
    expect_record(1, "2403059000");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetDetail).text,
              "01106P012000000000000Q012000000000000R0040000S006240305T00200U006000000V0040000W020 "
              "                   X0040000");
}

TEST_P(Logs, MissingLogHasItsOwnNumber) {
    desk_.expect_selection("6F 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetDetail).result, -4117);
    desk_.expect_selection("6F 05 A5 03 DF 4D 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetCircllog).result, -4103) << "and an entry too short to say where it is";
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:GetTag 9F4D Error!\r\n",
                                                         "Error:GetTag DF4D Error!\r\n"}));
}

TEST_P(Logs, BlockedDirectoryEndsTheLoadLogOnly) {
    desk_.expect_power_on();
    desk_.expect_directory("6F 05 A5 03 88 01 01 62 83");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetCircllog).result, -4100);
    desk_.expect_power_on();
    desk_.expect_directory("6F 05 A5 03 88 01 01 62 83");
    desk_.expect("00 A4 04 00 00", "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(read(RD_ICGetDetail).result, -4102);
}

TEST_P(Logs, FailedSelectionsEndThem) {
    for (const Read function : {RD_ICGetDetail, RD_ICGetCircllog}) {
        desk_.expect_power_on();
        desk_.expect_directory("6A 82");
        desk_.expect_power_off();
        EXPECT_EQ(read(function).result, -4100);
        desk_.expect_power_on();
        desk_.expect_directory();
        desk_.expect_application_list();
        desk_.expect_application("6A 82");
        desk_.expect_power_off();
        EXPECT_EQ(read(function).result, -4102);
    }
    EXPECT_EQ(RD_ICGetDetail(0, 0, nullptr, -1), -1007);
}

TEST_P(Logs, LoadLogTracesWhatItFound) {
    GSetLogLevel(2);
    desk_.expect_selection("6F 07 A5 05 DF 4D 02 0B 01 90 00");
    expect_record(1, load);
    desk_.expect_power_off();
    read(RD_ICGetCircllog);
    EXPECT_TRUE(log_.has("Info:szRecord = 0B01\r\n"));
    EXPECT_TRUE(log_.has("Info:nDetailNum = 1\r\n"));
    EXPECT_TRUE(log_.has("Info:iDetailLen = 97\r\n"));
    EXPECT_TRUE(log_.has(std::string("Info:szTxData = ") + load_entry + "\r\n"));
}

}  // namespace
