#include <deskreader.h>

#include "cards/reader_calls.h"
#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"

namespace {

using cards_test::Call;
using cards_test::Given;
using cards_test::limit_ms;
using cards_test::only;
using cards_test::with_output;
using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::Link;
using kit::union_frame;

Given set_baud() {
    return only(IC_SetBaud(&context, 115200));
}
Given power_on() {
    return with_output(
        [](auto* out, int* length) { return IC_PowerOn(&context, out, length, limit_ms); });
}
Given rf_power_on() {
    return with_output(
        [](auto* out, int* length) { return IC_RFPowerOn(&context, out, length, limit_ms); });
}
Given power_off() {
    return only(IC_PowerOff(&context, limit_ms));
}
Given rf_power_off() {
    return only(IC_RFPowerOff(&context, limit_ms));
}
Given apdu() {
    return with_output([](auto* out, int* length) {
        const Bytes command = hex("00 84 00 00 04");
        return IC_APDU(&context, command.data(), 5, out, length, limit_ms);
    });
}
Given rf_apdu() {
    return with_output([](auto* out, int* length) {
        const Bytes command = hex("00 84 00 00 04");
        return IC_RFAPDU(&context, command.data(), 5, out, length, limit_ms);
    });
}
Given dev_info() {
    return with_output(
        [](auto* out, int* length) { return IC_GetDevInfo(&context, out, length, limit_ms); });
}
Given beep() {
    return only(IC_Beep(&context, 50, 1, 2, limit_ms));
}
Given card_detect() {
    Given given{0, -7, {}};
    given.result = IC_CardDetect(&context, 255, &given.length, limit_ms);
    return given;
}
Given dev_reset() {
    return only(IC_DevReset(&context));
}
Given all_info() {
    return with_output(
        [](auto* out, int* length) { return IC_GetDevAllInfo(&context, out, length, limit_ms); });
}
Given set_sn() {
    const Bytes number = kit::ascii("SN-1");
    return only(IC_SetDevSn(&context, number.data(), 4, limit_ms));
}

// A command, its bytes in both frames, and the length of the data that it returns from 3 bytes of
// reply.
struct CommandRow {
    const char* name;
    Call call;
    const char* ic;      // empty: not supported
    const char* union_;  // empty: not supported
    bool returns_data;
};

const std::string sn_field = "534E2D31" + std::string(56, '0');
const std::string ic_set_sn = "F2" + sn_field;

const CommandRow commands[] = {
    {"SetBaud", set_baud, "BB 04", "30 01 00 04", false},
    {"PowerOn", power_on, "E1 01", "32 22 00 00 00", true},
    {"RfPowerOn", rf_power_on, "D1", "32 24 00 00", true},
    {"PowerOff", power_off, "E2 01", "32 23 00", false},
    {"RfPowerOff", rf_power_off, "D2", "32 25 00 00", false},
    {"Apdu", apdu, "E3 01 00 84 00 00 04", "32 26 00 00 84 00 00 04", true},
    {"RfApdu", rf_apdu, "D3 00 84 00 00 04", "32 26 FF 00 84 00 00 04", true},
    {"DevInfo", dev_info, "81 00", "31 11 00", true},
    {"Beep", beep, "", "31 13 05 01 02", false},
    {"CardDetect", card_detect, "", "32 21 FF", false},
};

class IcReader : public testing::TestWithParam<Link> {
  protected:
    void use_frame(int number) {
        config_.write("[devcfg]\nIccmd=" + std::to_string(number) + "\n");
    }

    kit::ConfigFile config_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, IcReader, testing::Values(Link::hid, Link::serial), kit::link_name);

TEST_P(IcReader, CommandsInTheIcFrame) {
    use_frame(0);
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        if (*row.ic == '\0') {
            EXPECT_EQ(row.call().result, -1008);
            continue;
        }
        desk_->expect(2, ic_frame(hex(row.ic)), ic_frame(hex("00 3B 8F")));
        const Given given = row.call();
        EXPECT_EQ(given.result, 0);
        if (row.returns_data) {
            EXPECT_EQ(given.out, hex("3B 8F"));
        }
        desk_->verify();
    }
}

TEST_P(IcReader, CommandsInTheUnionFrame) {
    use_frame(1);
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, union_frame(hex(row.union_)), union_frame(hex("00 00 3B 8F")));
        const Given given = row.call();
        EXPECT_EQ(given.result, 0);
        if (row.returns_data) {
            EXPECT_EQ(given.out, hex("3B 8F"));
        }
        desk_->verify();
    }
}

TEST_P(IcReader, OtherFramesAreNotSupported) {
    for (const int number : {2, -1, 100}) {
        use_frame(number);
        for (const CommandRow& row : commands) {
            const Given given = row.call();
            EXPECT_EQ(given.result, -1008) << row.name;
            EXPECT_EQ(given.length, -7) << row.name;
        }
    }
}

TEST_P(IcReader, CommandsOfTheDeviceIgnoreTheConfiguredFrame) {
    for (const int number : {0, 1, 2}) {
        use_frame(number);
        desk_->expect(2, union_frame(hex("F8 00 AA BB 55 44")), union_frame(hex("00 00")));
        EXPECT_EQ(dev_reset().result, 0);
        desk_->expect(2, ic_frame(hex("F1")), ic_frame(hex("00 41 42")));
        EXPECT_EQ(all_info().out, hex("41 42"));
        desk_->expect(2, ic_frame(hex(ic_set_sn)), ic_frame(hex("00")));
        EXPECT_EQ(set_sn().result, 0);
    }
}

TEST_P(IcReader, WithoutConfigurationTheFramesHaveTheirDefaults) {
    desk_->expect(2, ic_frame(hex("E2 01")), ic_frame(hex("00")));
    EXPECT_EQ(power_off().result, 0);
    desk_->expect(2, union_frame(hex("31 13 05 01 02")), union_frame(hex("00 00")));
    EXPECT_EQ(beep().result, 0) << "the Union frame is the default of the beeper";
    EXPECT_EQ(card_detect().result, -1008) << "and not of the card detection";
}

TEST_P(IcReader, SilenceIsAMalformedReply) {
    for (const int number : {0, 1}) {
        use_frame(number);
        desk_->expect_silence(2,
                              number == 0 ? ic_frame(hex("E2 01")) : union_frame(hex("32 23 00")));
        EXPECT_EQ(power_off().result, -74);
    }
    desk_->expect_silence(2, union_frame(hex("F8 00 AA BB 55 44")));
    EXPECT_EQ(dev_reset().result, 0) << "whatever becomes of it";
}

TEST_P(IcReader, EmptyIcReplyIsReturnedAsItIs) {
    use_frame(0);
    desk_->expect(2, ic_frame(hex("E1 01")), ic_frame({}));
    const Given given = power_on();
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.length, -7) << "nothing was written";
}

TEST_P(IcReader, ShortUnionRepliesCountAsSuccessWithNothing) {
    use_frame(1);
    for (const char* reply : {"", "00"}) {
        desk_->expect(2, union_frame(hex("32 22 00 00 00")), union_frame(hex(reply)));
        const Given given = power_on();
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.length, 0);
    }
}

// The statuses of the reader and what they become.
constexpr int length = 1;  // the reply has one byte, or three

struct StatusRow {
    const char* name;
    Call call;
    const char* ic;
    const char* union_;
    struct {
        int a2, fb, other;
    } in_ic;
    struct {
        std::vector<std::pair<const char*, int>> known;
    } in_union;
};

const StatusRow statuses[] = {
    {"SetBaud", set_baud, "BB 04", "30 01 00 04", {-4002, -99, -99}, {{{"10 01", -4002}}}},
    {"PowerOn",
     power_on,
     "E1 01",
     "32 22 00 00 00",
     {-4000, -4005, length},
     {{{"10 01", -4000}, {"10 02", -4005}, {"10 05", -4000}}}},
    {"RfPowerOn",
     rf_power_on,
     "D1",
     "32 24 00 00",
     {-4000, -4005, length},
     {{{"30 08", -4000}, {"30 05", -4005}}}},
    {"PowerOff", power_off, "E2 01", "32 23 00", {-4002, -4005, -99}, {{{"10 01", -4002}}}},
    {"RfPowerOff",
     rf_power_off,
     "D2",
     "32 25 00 00",
     {-4002, -4005, -99},
     {{{"30 01", -4002}, {"30 04", -4004}, {"30 06", -4005}, {"30 07", -4002}}}},
    {"Apdu",
     apdu,
     "E3 01 00 84 00 00 04",
     "32 26 00 00 84 00 00 04",
     {-4006, -4005, -99},
     {{{"10 01", -4006}, {"10 02", -4005}, {"10 04", -4004}, {"10 06", -4005}, {"10 07", -4006}}}},
    {"RfApdu",
     rf_apdu,
     "D3 00 84 00 00 04",
     "32 26 FF 00 84 00 00 04",
     {-4006, -4005, -99},
     {{{"30 01", -4006}, {"30 04", -4004}, {"30 06", -4005}, {"30 07", -4006}}}},
    {"DevInfo", dev_info, "81 00", "31 11 00", {-4000, length, length}, {}},
    {"Beep", beep, "", "31 13 05 01 02", {}, {}},
    {"CardDetect", card_detect, "", "32 21 FF", {}, {}},
};

TEST_P(IcReader, StatusesInTheIcFrame) {
    use_frame(0);
    for (const StatusRow& row : statuses) {
        if (*row.ic == '\0') continue;
        SCOPED_TRACE(row.name);
        for (const auto& [status, result] :
             {std::pair{"A2", row.in_ic.a2}, std::pair{"FB", row.in_ic.fb},
              std::pair{"C3", row.in_ic.other}, std::pair{"01", row.in_ic.other}}) {
            desk_->expect(2, ic_frame(hex(row.ic)), ic_frame(hex(status)));
            const Given given = row.call();
            EXPECT_EQ(given.result, result) << status;
            EXPECT_EQ(given.length, -7) << status << ": outputs stay";
        }
        desk_->expect(2, ic_frame(hex(row.ic)), ic_frame(hex("C3 11 22")));
        EXPECT_EQ(row.call().result, row.in_ic.other == length ? 3 : -99);
    }
}

TEST_P(IcReader, StatusesInTheUnionFrame) {
    use_frame(1);
    constexpr const char* all[] = {"10 01", "10 02", "10 04", "10 05", "10 06", "10 07",
                                   "30 01", "30 04", "30 05", "30 06", "30 07", "30 08",
                                   "00 01", "01 00", "FF FF", "A2 00"};
    for (const StatusRow& row : statuses) {
        SCOPED_TRACE(row.name);
        for (const char* status : all) {
            int expected = -99;
            for (const auto& [known, result] : row.in_union.known) {
                if (std::string(known) == status) expected = result;
            }
            desk_->expect(2, union_frame(hex(row.union_)), union_frame(hex(status)));
            const Given given = row.call();
            EXPECT_EQ(given.result, expected) << status;
            EXPECT_EQ(given.length, -7) << status << ": outputs stay";
        }
    }
}

TEST_P(IcReader, OtherStatusesOfTheDeviceCommandsFail) {
    desk_->expect(2, ic_frame(hex("F1")), ic_frame(hex("A2")));
    EXPECT_EQ(all_info().result, -99);
    desk_->expect(2, ic_frame(hex(ic_set_sn)), ic_frame(hex("A2")));
    EXPECT_EQ(set_sn().result, -99);
    desk_->expect(2, union_frame(hex("F8 00 AA BB 55 44")), union_frame(hex("10 01")));
    EXPECT_EQ(dev_reset().result, 0);
}

TEST_P(IcReader, SlotsAreMappedInTheIcFrameAndPlainInTheUnionFrame) {
    struct SlotRow {
        int slot;
        std::uint8_t mapped;
    };
    std::vector<SlotRow> rows = {{16, 0}, {-1, 1}, {32, 1}, {255, 1}, {1000, 1}};
    for (int slot = 0; slot <= 15; ++slot)
        rows.push_back({slot, static_cast<std::uint8_t>(slot + 1)});
    for (int slot = 17; slot <= 31; ++slot)
        rows.push_back({slot, static_cast<std::uint8_t>(slot - 13)});
    for (const SlotRow& row : rows) {
        SCOPED_TRACE(row.slot);
        EXPECT_EQ(IC_SetSlot(row.slot), 0);
        EXPECT_EQ(g_Slot, row.slot);
        const auto plain = static_cast<std::uint8_t>(row.slot);
        use_frame(0);
        desk_->expect(2, ic_frame({0xE1, row.mapped}), ic_frame(hex("00")));
        EXPECT_EQ(power_on().result, 0);
        desk_->expect(2, ic_frame({0xE2, row.mapped}), ic_frame(hex("00")));
        EXPECT_EQ(power_off().result, 0);
        use_frame(1);
        desk_->expect(2, union_frame({0x32, 0x22, 0x00, 0x00, plain}), union_frame(hex("00 00")));
        EXPECT_EQ(power_on().result, 0);
        desk_->expect(2, union_frame({0x32, 0x26, plain, 0x00, 0x84, 0x00, 0x00, 0x04}),
                      union_frame(hex("00 00")));
        EXPECT_EQ(apdu().result, 0);
    }
}

TEST(IcReaderSlot, IsNoughtAtFirst) {
    EXPECT_EQ(g_Slot, 0);
}

TEST_P(IcReader, RatesHaveTheirCodes) {
    use_frame(0);
    const std::pair<int, std::uint8_t> rows[] = {{19200, 1}, {38400, 2}, {57600, 3}, {115200, 4},
                                                 {9600, 0},  {14400, 0}, {0, 0}};
    for (const auto& [rate, code] : rows) {
        desk_->expect(2, ic_frame({0xBB, code}), ic_frame(hex("00")));
        EXPECT_EQ(IC_SetBaud(&context, rate), 0) << rate;
    }
}

TEST_P(IcReader, BeepsInTensOrHundreds) {
    use_frame(1);
    const std::pair<int, std::uint8_t> rows[] = {{50, 5}, {500, 5}, {99, 9}, {100, 1},
                                                 {9, 0},  {199, 1}, {0, 0},  {30000, 44}};
    for (const auto& [duration, sent] : rows) {
        desk_->expect(2, union_frame({0x31, 0x13, sent, 0x0A, 0xFF}), union_frame(hex("00 00")));
        EXPECT_EQ(IC_Beep(&context, duration, 0x10A, -1, limit_ms), 0) << duration;
    }
}

TEST_P(IcReader, CardStatesInTheirOrder) {
    use_frame(1);
    const std::pair<const char*, int> rows[] = {
        {"00 00 11 00", 1}, {"00 00 12 00", 2}, {"00 00 00 12", 3}, {"00 00 12 12", 2},
        {"00 00 11 12", 1}, {"00 00 00 11", 0}, {"00 00 00 00", 0}, {"00 00", 0}};
    for (const auto& [reply, state] : rows) {
        desk_->expect(2, union_frame(hex("32 21 07")), union_frame(hex(reply)));
        int given = -7;
        EXPECT_EQ(IC_CardDetect(&context, 7, &given, limit_ms), 0);
        EXPECT_EQ(given, state) << reply;
    }
}

TEST_P(IcReader, LongInformationBeginsAtByte18) {
    use_frame(1);
    Bytes reply = hex("00 00 06 10");
    for (int i = 4; i < 30; ++i)
        reply.push_back(static_cast<std::uint8_t>(i));
    desk_->expect(2, union_frame(hex("31 11 00")), union_frame(reply));
    Given given = dev_info();
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.length, 18) << "the byte there is the length";
    EXPECT_EQ(given.out[0], 18);
    EXPECT_EQ(given.out[11], 29);
    EXPECT_EQ(given.out[12], 0) << "beyond the reply";
}

TEST_P(IcReader, LongInformationStaysWithinTheReply) {
    use_frame(1);
    Bytes reply = hex("00 00 06 10");
    reply.resize(123, 0xFF);
    desk_->expect(2, union_frame(hex("31 11 00")), union_frame(reply));
    unsigned char out[257];
    std::fill(std::begin(out), std::end(out), '#');
    int given = 0;
    EXPECT_EQ(IC_GetDevInfo(&context, out, &given, limit_ms), 0);
    EXPECT_EQ(given, 255);
    EXPECT_EQ(out[256], '#');
    desk_->expect(2, union_frame(hex("31 11 00")), union_frame(hex("00 00 06 10")));
    EXPECT_EQ(dev_info().length, 0) << "a byte past the end is nought";
}

TEST_P(IcReader, LyingLengthsStayWithinTheDocumentedBuffers) {
    // The reply says 254 bytes and has two: the others are zeros.
    use_frame(0);
    desk_->expect(2, ic_frame(hex("E1 01")), kit::join({kit::ascii("60FE003B"), {0x03}}));
    const Given answer = power_on();
    EXPECT_EQ(answer.length, 253);
    EXPECT_EQ(answer.out[0], 0x3B);
    EXPECT_EQ(answer.out[252], 0x00);
    // 4000 bytes of response do not exist in any frame.
    use_frame(1);
    desk_->expect(2, union_frame(hex("32 26 00 00 84 00 00 04")),
                  kit::join({{0x02}, kit::ascii("0?:00000"), {0x03}}));
    const Given response = apdu();
    EXPECT_EQ(response.result, -74);
    EXPECT_EQ(response.length, -7);
}

TEST_P(IcReader, SerialNumberFieldHas32Bytes) {
    const Bytes number = kit::ascii("0123456789ABCDEF0123456789ABCDEF-more");
    const Bytes first(number.begin(), number.begin() + 32);
    desk_->expect(2, ic_frame(kit::join({{0xF2}, first})), ic_frame(hex("00")));
    EXPECT_EQ(IC_SetDevSn(&context, number.data(), 37, limit_ms), 0) << "what is more is left out";
    desk_->expect(2, ic_frame(kit::join({{0xF2}, Bytes(32, 0)})), ic_frame(hex("00")));
    EXPECT_EQ(IC_SetDevSn(&context, number.data(), -1, limit_ms), 0);
}

TEST_P(IcReader, ApdusEndWhereTheFrameEnds) {
    Bytes response(1024);
    int size = -7;
    const Bytes command(5000, 0x00);
    use_frame(0);
    EXPECT_EQ(IC_APDU(&context, command.data(), 254, response.data(), &size, limit_ms), -22);
    EXPECT_EQ(IC_RFAPDU(&context, command.data(), 255, response.data(), &size, limit_ms), -22);
    desk_->expect(2, ic_frame(kit::join({{0xE3, 0x01}, Bytes(252, 0)})), ic_frame(hex("00")));
    EXPECT_EQ(IC_APDU(&context, command.data(), 252, response.data(), &size, 1000), 0);
    use_frame(1);
    EXPECT_EQ(IC_APDU(&context, command.data(), 1018, response.data(), &size, limit_ms), -22);
    EXPECT_EQ(IC_APDU(&context, command.data(), 5000, response.data(), &size, limit_ms), -22);
    EXPECT_EQ(IC_APDU(&context, command.data(), -1, response.data(), &size, limit_ms), -22);
    desk_->expect(2, union_frame(kit::join({{0x32, 0x26, 0xFF}, Bytes(300, 0)})),
                  union_frame(hex("00 00 90 00")));
    EXPECT_EQ(IC_RFAPDU(&context, command.data(), 300, response.data(), &size, 1000), 0);
    EXPECT_EQ(size, 2);
}

}  // namespace
