#include <deskreader.h>

#include <cstring>

#include "payment_desk.h"

namespace {

using kit::hex;
using kit::Link;

constexpr char with_pdol[] = "6F 0C 84 02 A0 00 A5 06 9F 38 03 9F 02 06 90 00";
constexpr char get_options[] = "80 A8 00 00 08 83 06 00 00 00 00 00 12";
constexpr char one_record[] = "80 06 7C 00 08 01 01 00 90 00";
constexpr char read_record[] = "00 B2 01 0C 00";
constexpr char approved[] = "910A11223344556677883030";

// A host terminal: arguments as it passes them, outputs as it finds them.
class Terminal : public testing::TestWithParam<kit::Way> {
  protected:
    int get_info() {
        return IC_GetInfo(port(), extend_port_, 9600, timeout_s_, card_type(), list_, tag_list_,
                          length_pointer(), out_pointer());
    }
    int generate() {
        return IC_GenARQC(port(), extend_port_, 9600, timeout_s_, card_type(), list_, transaction_,
                          length_pointer(), out_pointer(), data_pointer());
    }
    int complete() {
        return IC_CtlScriptData(port(), extend_port_, 9600, timeout_s_, card_type(), transaction_,
                                issuer_, length_pointer(), out_pointer(), script_pointer(),
                                has_data_ ? given_data_ : nullptr);
    }
    int get_log() {
        return IC_GetTranDeta(port(), extend_port_, 9600, timeout_s_, card_type(), list_,
                              length_pointer(), out_pointer());
    }

    void expect_card(const char* record) {
        desk_.expect_selection(with_pdol);
        desk_.expect(get_options, one_record);
        desk_.expect(read_record, record);
    }

    bool has(const std::string& message) const { return log_.has("Info:" + message + "\r\n"); }

    // The line with which a call that names this desk begins.
    std::string port_line() const {
        return "pszPort = " + desk_.port_name() +
               ", nBaudRate = 9600, nTimeout = " + std::to_string(timeout_s_);
    }

    const char* port() const {
        const char* name = other_port_ != nullptr ? other_port_ : desk_.port_name().c_str();
        return has_port_ ? name : nullptr;
    }
    int* card_type() { return has_card_type_ ? &card_type_ : nullptr; }
    int* length_pointer() { return has_length_ ? &length_ : nullptr; }
    char* out_pointer() { return has_out_ ? out_ : nullptr; }
    char* data_pointer() { return has_data_ ? data_ : nullptr; }
    char* script_pointer() { return has_script_ ? script_ : nullptr; }

    kit::LogFile log_;
    PaymentDesk desk_{GetParam()};

    const char* other_port_ = nullptr;
    const char* extend_port_ = nullptr;
    int timeout_s_ = 2;
    int card_type_ = 1;
    const char* list_ = "";
    const char* tag_list_ = "A";
    const char* transaction_ = "P00299";
    const char* issuer_ = approved;
    const char* given_data_ = "70048D028A02";
    int length_ = 4200;
    char out_[4200] = "before";
    char data_[1025] = "before";
    char script_[1024] = "before";
    bool has_port_ = true, has_card_type_ = true, has_length_ = true, has_out_ = true;
    bool has_data_ = true, has_script_ = true;
};

INSTANTIATE_TEST_SUITE_P(Ways, Terminal, kit::every_way, kit::way_name);

TEST_P(Terminal, GetsInformationInOneCall) {
    expect_card("70 03 5A 01 12 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), 0);
    EXPECT_STREQ(out_, "A00212");
    EXPECT_EQ(length_, 6);
    EXPECT_EQ(card_type_, 1);
    EXPECT_EQ(DC_IsOpen(&context), 0) << "closed again";
    EXPECT_EQ(log_.messages()[0], "Info:Enter IC_GetInfo\r\n");
    EXPECT_EQ(log_.messages()[1], "Info:" + port_line() + "\r\n");
    EXPECT_TRUE(has("pnIcType = 1, pszAIDlist = , pszTaglist = A, pnUsrInfoLen = 4200"));
    EXPECT_TRUE(
        has("Exit IC_GetInfo, ret = 0, pnIcType = 1, pnUsrInfoLen = 6, pszUserInfo = A00212"));
}

TEST_P(Terminal, FailuresOfTheFlowAreMapped) {
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), -26);
    EXPECT_STREQ(out_, "") << "a text all the same";
    EXPECT_EQ(length_, 0);
    EXPECT_TRUE(
        has("Exit IC_GetInfo, ret = -4100, pnIcType = 1, pnUsrInfoLen = 0, pszUserInfo = "));
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_P(Terminal, CardTypesAreOneBased) {
    card_type_ = 3;
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect_application_list();
    desk_.expect_application(with_pdol);
    desk_.expect(get_options, one_record);
    desk_.expect(read_record, "70 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), 0);
    EXPECT_EQ(card_type_, 1) << "either, and it was a contact card";

    card_type_ = 2;
    desk_.expect_field_power_on();
    desk_.expect_contactless("00 A4 04 00 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31", "6A 82");
    desk_.expect_field_power_off();
    length_ = 4200;
    EXPECT_EQ(get_info(), -26);
    EXPECT_EQ(card_type_, 2);
}

TEST_P(Terminal, ListNamesTheApplication) {
    list_ = "A000000333";
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect("00 A4 04 00 05 A0 00 00 03 33", "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), -27);

    // 63 characters are looked at: 31 bytes.
    const std::string long_list(100, '1');
    list_ = long_list.c_str();
    desk_.expect_power_on();
    desk_.expect_directory();
    desk_.expect(("00 A4 04 00 1F " + std::string(62, '1')).c_str(), "6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), -27);
}

TEST_P(Terminal, GeneratesTheRequest) {
    list_ = nullptr;
    desk_.expect_selection(with_pdol);
    desk_.expect("80 A8 00 00 08 83 06 00 00 00 00 00 99", one_record);
    desk_.expect(read_record, "70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 99",
                 "80 0B 80 00 07 11 22 33 44 55 66 77 88 90 00");
    desk_.expect("80 CA 9F 13", "6A 88");
    EXPECT_EQ(generate(), 0);
    const std::string request =
        "9F26081122334455667788"
        "9F270180"
        "9F370412345678"
        "9F36020007"
        "95050000000800"
        "9A03303030"
        "9C0101"
        "9F0206000000000099"
        "5F2A020156"
        "82027C00"
        "9F1A020156"
        "9F0306000000000000"
        "9F330320A100"
        "9F130100"
        "5A0A00000000000000000000"
        "5F34020000";
    EXPECT_EQ(out_, request);
    EXPECT_EQ(length_, static_cast<int>(request.size()));
    EXPECT_STREQ(data_, "6F0C8402A000A5069F38039F02069000");
    EXPECT_EQ(log_.messages()[0], "Info:Enter IC_GenARQC\r\n");
    EXPECT_TRUE(has("pnIcType = 1, pszAIDlist = , pszTxData = P00299, pnARQCLen = 4200"));
    EXPECT_TRUE(has(
        "Exit IC_GenARQC, ret = 0, pnIcType = 1, pnARQCLen = " + std::to_string(request.size()) +
        ", pszARQC = " + request + ", pszIcc_appdata = " + data_));
}

TEST_P(Terminal, RequestFillsItsRoomWithoutTerminator) {
    length_ = 10;
    desk_.expect_selection(with_pdol);
    desk_.expect("80 A8 00 00 08 83 06 00 00 00 00 00 99", one_record);
    desk_.expect(read_record, "70 05 8C 03 9F 02 06 90 00");
    desk_.expect("80 AE 80 00 06 00 00 00 00 00 99",
                 "80 0B 80 00 07 11 22 33 44 55 66 77 88 90 00");
    desk_.expect("80 CA 9F 13", "6A 88");
    std::memset(out_, '#', sizeof out_);
    EXPECT_EQ(generate(), 0);
    EXPECT_EQ(length_, 10);
    EXPECT_EQ(std::string(out_, 11), "9F26081122#");
}

TEST_P(Terminal, FailedRequestLeavesEmptyTexts) {
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(generate(), -26);
    EXPECT_STREQ(out_, "");
    EXPECT_STREQ(data_, "");
    EXPECT_EQ(length_, 0);
}

TEST_P(Terminal, CompletesTheTransaction) {
    desk_.expect("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 30", "90 00");
    desk_.expect("80 AE 40 00 02 30 30", "80 03 40 00 07 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(complete(), 0);
    EXPECT_STREQ(out_, "400007");
    EXPECT_EQ(length_, 6);
    EXPECT_STREQ(script_, "DF31051000000000");
    EXPECT_EQ(card_type_, 1);
    EXPECT_EQ(log_.messages()[0], "Info:Enter IC_CtlScriptData\r\n");
    EXPECT_TRUE(has(std::string("pnIcType = 1, pszTxData = P00299, pszARPC = ") + approved +
                    ", pnTCLen = 4200, pszIcc_appdata = 70048D028A02"));
    EXPECT_TRUE(has("iAppDataLen = 6, szAppData = 70048D028A02"));
    EXPECT_TRUE(
        has("Exit IC_CtlScriptData, ret = 0, pnIcType = 1, pnTCLen = 6, pszTC = 400007, "
            "pszScriptResult = DF31051000000000"));
}

TEST_P(Terminal, CompletionGoesToTheCardOfItsType) {
    card_type_ = 2;
    desk_.expect_contactless("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 30", "63 00");
    desk_.expect_field_power_off();
    EXPECT_EQ(complete(), -30);
    EXPECT_STREQ(out_, "");
    EXPECT_EQ(length_, 0);
    EXPECT_EQ(card_type_, 2);
}

TEST_P(Terminal, ReadsTheLog) {
    desk_.expect_selection("6F 09 84 02 A0 00 9F 4D 02 0B 01 90 00");
    desk_.expect("00 B2 01 5C 00", "6A 83");
    desk_.expect_power_off();
    EXPECT_EQ(get_log(), 0);
    EXPECT_STREQ(out_, "00000");
    EXPECT_EQ(length_, 5);
    EXPECT_EQ(log_.messages()[0], "Info:Enter IC_GetTranDeta\r\n");
    EXPECT_TRUE(has("pnIcType = 1, pszAIDlist = , pnTxDetailLen = 4200"));
    EXPECT_TRUE(has("Exit IC_GetTranDeta, ret = 0, pnTxDetailLen = 5, TxDetail = 00000"));

    desk_.expect_selection("6F 04 84 02 A0 00 90 00");
    desk_.expect_power_off();
    EXPECT_EQ(get_log(), -32);
}

// The four calls, for what they have in common.
struct Call {
    const char* name;
    int (Terminal::*run)();
};

class TerminalCall : public Terminal {
  protected:
    const Call calls_[4] = {{"IC_GetInfo", &TerminalCall::get_info},
                            {"IC_GenARQC", &TerminalCall::generate},
                            {"IC_CtlScriptData", &TerminalCall::complete},
                            {"IC_GetTranDeta", &TerminalCall::get_log}};

    void expect_untouched() const {
        EXPECT_STREQ(out_, "before");
        EXPECT_STREQ(data_, "before");
        EXPECT_STREQ(script_, "before");
        EXPECT_EQ(length_, 4200);
        EXPECT_EQ(card_type_, 1);
    }
};

INSTANTIATE_TEST_SUITE_P(Ways, TerminalCall, kit::every_way, kit::way_name);

TEST_P(TerminalCall, NegativeTimeLimitsOpenNothing) {
    timeout_s_ = -1;
    for (const Call& call : calls_) {
        SCOPED_TRACE(call.name);
        EXPECT_EQ((this->*call.run)(), -1);
        expect_untouched();
        EXPECT_TRUE(has(std::string("Enter ") + call.name));
    }
    EXPECT_TRUE(has(port_line()));
}

TEST_P(TerminalCall, MissingPointersOpenNothing) {
    bool* const common[] = {&has_port_, &has_card_type_, &has_length_, &has_out_};
    for (bool* pointer : common) {
        *pointer = false;
        for (const Call& call : calls_)
            EXPECT_EQ((this->*call.run)(), -1) << call.name;
        *pointer = true;
    }
    has_data_ = false;
    EXPECT_EQ(generate(), -1);
    EXPECT_EQ(complete(), -1);
    has_data_ = true;
    given_data_ = "";
    EXPECT_EQ(complete(), -1);
    given_data_ = "70";
    has_script_ = false;
    EXPECT_EQ(complete(), -1);
    has_script_ = true;
    issuer_ = nullptr;
    EXPECT_EQ(complete(), -1);
    transaction_ = nullptr;
    EXPECT_EQ(generate(), -1);
    list_ = nullptr;
    EXPECT_EQ(get_info(), -1);
    list_ = "";
    tag_list_ = nullptr;
    EXPECT_EQ(get_info(), -1);
    expect_untouched();
}

TEST_P(TerminalCall, OpenFailuresAreMapped) {
    other_port_ = "nowhere/at/all";
    for (const Call& call : calls_) {
        EXPECT_EQ((this->*call.run)(), -3) << call.name;
        expect_untouched();
        EXPECT_TRUE(has(std::string("Exit ") + call.name + ", ret = -1000"));
    }
}

TEST_P(TerminalCall, ExtendPortIsSelectedAndReleased) {
    extend_port_ = "5x";
    for (const Call& call : calls_) {
        SCOPED_TRACE(call.name);
        desk_.reader().expect_silence(0, hex("1B 25 35"));
        if (std::string_view(call.name) == "IC_CtlScriptData") {
            desk_.expect("00 82 00 00 0A 11 22 33 44 55 66 77 88 30 30", "63 00");
        } else {
            desk_.expect_power_on();
            desk_.expect_directory("6A 82");
        }
        desk_.expect_power_off();
        desk_.reader().expect_silence(2, hex("1B 25 41"));  // mode id: what was used last
        length_ = 4200;
        EXPECT_LT((this->*call.run)(), 0);
        EXPECT_TRUE(has("extendPort = 5x"));
        desk_.verify();
    }
}

TEST_P(TerminalCall, EmptyExtendPortSelectsNone) {
    extend_port_ = "";
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), -26);
    EXPECT_FALSE(has("extendPort = "));
}

TEST_P(Terminal, UsbLeavesTheSerialPortsNameAlone) {
    if (GetParam().link == Link::serial) GTEST_SKIP() << "a device's name goes to serial port 1";
    const kit::ScriptedSerial serial;
    GSetComName(1, serial.device().c_str());
    desk_.expect_power_on();
    desk_.expect_directory("6A 82");
    desk_.expect_power_off();
    EXPECT_EQ(get_info(), -26);
    EXPECT_EQ(RD_Open(1, 9600, 0), 0);
    RD_Close();
}

}  // namespace
