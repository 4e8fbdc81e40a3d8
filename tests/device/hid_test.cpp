#include <deskreader.h>

#include <cstring>

#include "kit/conversation.h"

namespace {

using kit::Bytes;
using kit::hex;

int passes = 0;

int never(unsigned char*, unsigned) {
    ++passes;
    return 0;
}

int after_five(unsigned char*, unsigned length) {
    return length >= 5 ? 1 : 0;
}

// A device that notes how it is read from, and always answers the same.
class Watched final : public kit::HidDevice {
  public:
    explicit Watched(int answer) : answer_(answer) { kit::hid_bus::plug(*this, 0x7777, 0x0001); }
    ~Watched() override { kit::hid_bus::unplug(*this); }

    int write(std::span<const std::uint8_t> report) override {
        return static_cast<int>(report.size());
    }
    int read(std::span<std::uint8_t> out, int timeout_ms) override {
        rooms.push_back(out.size());
        timeouts.push_back(timeout_ms);
        contents.insert(contents.end(), out.begin(), out.end());
        return answer_;
    }

    std::vector<std::size_t> rooms;
    std::vector<int> timeouts;
    Bytes contents;  // of the report buffer as it was handed over

  private:
    int answer_;
};

void* open_watched() {
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    DC_AddUsbParams(&target, 0x7777, 0x0001);
    return HID_open(&target);
}

class Hid : public testing::Test {
  protected:
    void SetUp() override {
        kit::prepare_hid(&target_);
        DC_SetModeId(&target_, 2);
        handle_ = HID_open(&target_);
        passes = 0;
    }

    // An input report of 64 bytes that begins so.
    static Bytes report(const char* beginning) {
        Bytes bytes = hex(beginning);
        bytes.resize(64);
        return bytes;
    }

    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
    DEVCONTEXT target_{};
    void* handle_ = nullptr;
};

TEST_F(Hid, OpenSetsThePayloadSizes) {
    EXPECT_EQ(DC_GetOutputBufSize(&target_), 62);
    EXPECT_EQ(DC_GetInputBufSize(&target_), 62);
}

TEST_F(Hid, OpenTakesTheFirstDeviceThatOpens) {
    kit::ScriptedHid other(nullptr, 0x1111, 0x2222);
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    DC_AddUsbParams(&target, 0x9999, 0x9999);
    DC_AddUsbParams(&target, 0x1111, 0x2222);
    DC_AddUsbParams(&target, kit::hid_bus::vendor, kit::hid_bus::product);
    other.expect_silence(0, hex("AB"));
    EXPECT_EQ(HID_write(HID_open(&target), hex("AB").data(), 1, 10), 1);
}

TEST_F(Hid, OpenTriesAListOfEightToItsLast) {
    kit::ScriptedHid last(nullptr, 0x1008, 0x2008);
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    for (int i = 1; i <= 8; ++i)
        DC_AddUsbParams(&target, 0x1000 + i, 0x2000u + static_cast<unsigned>(i));
    last.expect_silence(0, hex("A8"));
    EXPECT_EQ(HID_write(HID_open(&target), hex("A8").data(), 1, 10), 1);
    last.verify();
    kit::ScriptedHid third(nullptr, 0x1003, 0x2003);
    third.expect_silence(0, hex("A3"));
    EXPECT_EQ(HID_write(HID_open(&target), hex("A3").data(), 1, 10), 1) << "the earlier entry";
}

TEST_F(Hid, OpenTakesVendorAndProductOfOneEntry) {
    kit::ScriptedHid crossed(nullptr, 0x1111, 0x2222);
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    DC_AddUsbParams(&target, 0x1111, 0x9999);
    DC_AddUsbParams(&target, 0x9999, 0x2222);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(HID_open(&target)), -19);
    EXPECT_EQ(DC_GetOutputBufSize(&target), 0) << "a failed open sets no sizes";
    EXPECT_EQ(DC_GetInputBufSize(&target), 0);
}

TEST_F(Hid, AFailedOpenLeavesTheModeId) {
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    DC_AddUsbParams(&target, 0x9999, 0x9999);
    DC_SetModeId(&target, 9);
    HID_open(&target);
    reader_.expect_silence(2, hex("11"));
    EXPECT_EQ(HID_write(handle_, hex("11").data(), 1, 100), 1);
}

TEST_F(Hid, ModeIdOfTheReportIsTheOneAtOpen) {
    DC_SetModeId(&target_, 6);
    reader_.expect_silence(2, hex("11"));
    EXPECT_EQ(HID_write(handle_, hex("11").data(), 1, 100), 1) << "set after the open";
}

TEST_F(Hid, OpenFailsWithoutADevice) {
    DEVCONTEXT target{};
    DC_SetInterfaceType(&target, "hid");
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(HID_open(&target)), -19);
    DC_AddUsbParams(&target, 0x9999, 0x9999);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(HID_open(&target)), -19);
    DC_SetCOMParams(&target, 100'000, 9600);  // a list as long as a port number says
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(HID_open(&target)), -19);
}

TEST_F(Hid, ReportLengthsAreFixed) {
    EXPECT_EQ(hid_get_output_report_length(handle_), 65);
    EXPECT_EQ(hid_get_input_report_length(handle_), 65);
    EXPECT_EQ(hid_get_output_report_length(nullptr), 0);
    EXPECT_EQ(hid_get_input_report_length(nullptr), 0);
}

TEST_F(Hid, OutputReportIsIdModeLengthPayloadZeros) {
    reader_.expect_silence(2, hex("11 22 33"));
    EXPECT_EQ(HID_write(handle_, hex("11 22 33").data(), 3, 100), 3);
    Bytes expected = hex("00 02 03 11 22 33");
    expected.resize(65);
    ASSERT_EQ(reader_.reports().size(), 1u);
    EXPECT_EQ(reader_.reports()[0], expected);
}

TEST_F(Hid, LongRequestGoesOutInSeveralReports) {
    Bytes request(130);
    for (std::size_t i = 0; i < request.size(); ++i)
        request[i] = static_cast<std::uint8_t>(i);
    reader_.expect_silence(2, request);
    EXPECT_EQ(HID_write(handle_, request.data(), 130, 1000), 130);
    ASSERT_EQ(reader_.reports().size(), 3u);
    EXPECT_EQ(reader_.reports()[0][2], 62);
    EXPECT_EQ(reader_.reports()[1][2], 62);
    EXPECT_EQ(reader_.reports()[2][2], 6);
    EXPECT_EQ(reader_.reports()[1][3], 62);
    EXPECT_EQ(reader_.reports()[2][3], 124);
    EXPECT_EQ(reader_.reports()[2][9], 0);
}

TEST_F(Hid, FullReportHasNoFillerAndTheNextByteNeedsAnother) {
    const Bytes request(63, 0x5A);
    reader_.expect_silence(2, request);
    EXPECT_EQ(HID_write(handle_, request.data(), 63, 100), 63);
    ASSERT_EQ(reader_.reports().size(), 2u);
    EXPECT_EQ(reader_.reports()[0], kit::join({hex("00 02 3E"), Bytes(62, 0x5A)}));
    EXPECT_EQ(reader_.reports()[1], kit::join({hex("00 02 01 5A"), Bytes(61, 0x00)}));
}

TEST_F(Hid, WriteWithoutALimitSendsAll) {
    clock_.tick(std::chrono::minutes(10));
    const Bytes request(186, 0x55);
    reader_.expect_silence(2, request);
    EXPECT_EQ(HID_write(handle_, request.data(), 186, 0), 186);
}

TEST_F(Hid, WriteWithoutADeviceFails) {
    EXPECT_EQ(HID_write(nullptr, hex("11").data(), 1, 100), -1);
}

TEST_F(Hid, ModeReportOfNothingIsAnEmptyReport) {
    reader_.expect_silence(3, {});
    EXPECT_EQ(hid_write_modeid(handle_, hex("11").data(), 0, 3), 0);
    ASSERT_EQ(reader_.reports().size(), 1u);
    EXPECT_EQ(reader_.reports()[0], kit::join({hex("00 03 00"), Bytes(62, 0x00)}));
}

TEST_F(Hid, ModeIdIsOneByteOfTheReport) {
    reader_.expect_silence(0x02, hex("11"));
    EXPECT_EQ(hid_write_modeid(handle_, hex("11").data(), 1, 0x102), 1);
}

TEST_F(Hid, WriteOfNothingSendsNothing) {
    EXPECT_EQ(HID_write(handle_, hex("11").data(), 0, 100), -62);
    EXPECT_TRUE(reader_.reports().empty());
}

TEST_F(Hid, WriteEndsWhenItsTimeIsOver) {
    clock_.tick(std::chrono::milliseconds(60));
    const Bytes request(186, 0x55);
    reader_.expect_silence(2, Bytes(62, 0x55));
    EXPECT_EQ(HID_write(handle_, request.data(), 186, 100), 62);
}

TEST_F(Hid, ALostReportGoesUnnoticed) {
    reader_.break_with(-1);
    EXPECT_EQ(HID_write(handle_, hex("11 22").data(), 2, 100), 2);
}

TEST_F(Hid, ModeReportFunctionCapsAt62Bytes) {
    const Bytes data(100, 0x77);
    reader_.expect_silence(9, Bytes(62, 0x77));
    EXPECT_EQ(hid_write_modeid(handle_, data.data(), data.size(), 9), 62);
    EXPECT_EQ(hid_write_modeid(nullptr, data.data(), 1, 9), -1);
}

TEST_F(Hid, InputReportGivesAllButItsFirstTwoBytes) {
    reader_.offer_report(report("EE EE 01 02 03"));
    Bytes buffer(70, '#');
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 70, 100), 62);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 4), hex("01 02 03 00"));
    EXPECT_EQ(buffer[62], '#');
}

TEST_F(Hid, InputReportIsCutToTheRoom) {
    reader_.offer_report(report("02 3E 01 02 03"));
    Bytes buffer(12, '#');
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), 10);
    EXPECT_EQ(buffer[10], '#');
}

TEST_F(Hid, InputReportOf65BytesGives63) {
    Bytes input = report("02 3E 01 02");
    input.push_back(0x99);
    reader_.offer_report(input);
    Bytes buffer(70, '#');
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 70, 100), 63);
    EXPECT_EQ(buffer[62], 0x99);
    EXPECT_EQ(buffer[63], '#');
}

TEST_F(Hid, LengthByteOfTheReaderIsNotLookedAt) {
    reader_.offer_report(hex("02 01 AA BB CC"));
    Bytes buffer(10, '#');
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), 3);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 4), hex("AA BB CC 23"));
}

TEST_F(Hid, ReadsIntoAClearedBufferOf65Bytes) {
    Watched device(64);
    Bytes buffer(70, '#');
    EXPECT_EQ(hid_read_modeid(open_watched(), buffer.data(), 70, 123), 62);
    EXPECT_EQ(device.rooms, std::vector<std::size_t>{65});
    EXPECT_EQ(device.timeouts, std::vector<int>{123});
    EXPECT_EQ(device.contents, Bytes(65, 0x00));
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 62), Bytes(62, 0x00));
    EXPECT_EQ(buffer[62], '#');
}

TEST_F(Hid, NegativeResultsOfTheBusAreReturnedAsTheyAre) {
    const Watched device(-7);
    void* handle = open_watched();
    Bytes buffer(10, '#');
    EXPECT_EQ(hid_read_modeid(handle, buffer.data(), 10, 100), -7);
    EXPECT_EQ(HID_read(handle, buffer.data(), 10, 100, nullptr), -7);
    EXPECT_EQ(HID_read(handle, buffer.data(), 10, 100, never), -1) << "with an end test";
    EXPECT_EQ(passes, 0);
    EXPECT_EQ(buffer, Bytes(10, '#'));
}

TEST_F(Hid, ShortInputReports) {
    Bytes buffer(10);
    reader_.offer_report(hex("01"));
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), -1);
    reader_.offer_report(hex("01 02"));
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), -1);
    reader_.offer_report(hex("01 02 03"));
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), 1);
    EXPECT_EQ(buffer[0], 0x03);
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), 0);
    reader_.break_with(-1);
    EXPECT_EQ(hid_read_modeid(handle_, buffer.data(), 10, 100), -1);
    EXPECT_EQ(hid_read_modeid(nullptr, buffer.data(), 10, 100), -1);
}

TEST_F(Hid, ReadWithoutATestTakesOneReport) {
    Bytes buffer(100);
    reader_.offer_report(report("02 3E 0A"));
    reader_.offer_report(report("02 3E 0B"));
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, nullptr), 62);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 1, 500, nullptr), 1);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, nullptr), -62);
    reader_.offer_report(hex("01"));
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, nullptr), -1);
}

TEST_F(Hid, ReadWithoutATestWaitsForTheWholeLimit) {
    Watched device(0);
    void* handle = open_watched();
    Bytes buffer(10);
    EXPECT_EQ(HID_read(handle, buffer.data(), 10, 500, nullptr), -62);
    EXPECT_EQ(HID_read(handle, buffer.data(), 10, 0, nullptr), -62);
    EXPECT_EQ(device.timeouts, (std::vector<int>{500, 2147483647}));
}

TEST_F(Hid, ReadWithATestWaitsInSlicesOfTenMilliseconds) {
    Watched device(0);
    clock_.tick(std::chrono::milliseconds(10));
    Bytes buffer(10);
    EXPECT_EQ(HID_read(open_watched(), buffer.data(), 10, 30, never), -62);
    EXPECT_EQ(device.timeouts, (std::vector<int>{10, 10, 10}));
}

TEST_F(Hid, ReadWithoutATestDoesNotLookAtTheCancelFlag) {
    reader_.offer_report(hex("02 01 AA"));
    COMM_cancle();
    Bytes buffer(10);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, nullptr), 1);
}

TEST_F(Hid, TimeIsMeasuredBeforeTheTestIsAsked) {
    static kit::FakeClock* slow = nullptr;
    slow = &clock_;
    const auto slow_test = [](unsigned char*, unsigned) {
        ++passes;
        slow->advance(std::chrono::milliseconds(600));
        return 0;
    };
    Bytes buffer(10);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, slow_test), -62);
    EXPECT_EQ(passes, 2) << "a slow test shows one pass later";
}

TEST_F(Hid, TestSeesTheWholeBufferAndTheTotal) {
    static std::vector<unsigned> totals;
    static const unsigned char* seen = nullptr;
    totals.clear();
    const auto note = [](unsigned char* received, unsigned length) {
        totals.push_back(length);
        seen = received;
        return length == 6 ? -1 : 0;
    };
    reader_.offer_report(hex("02 03 01 02 03"));
    reader_.offer_report({});
    reader_.offer_report(hex("02 03 04 05 06"));
    reader_.offer_report(hex("02 01 07"));
    Bytes buffer(100);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, note), 6) << "any number but 0 ends it";
    EXPECT_EQ(totals, (std::vector<unsigned>{3, 3, 6}));
    EXPECT_EQ(seen, buffer.data());
}

TEST_F(Hid, AFinishedEmptyReadHasNothing) {
    const auto yes = [](unsigned char*, unsigned) { return 1; };
    Bytes buffer(10);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, yes), -62);
}

TEST_F(Hid, ReadGathersUntilTheTestIsContent) {
    reader_.offer_report(hex("02 03 01 02 03"));
    reader_.offer_report(hex("02 03 04 05 06"));
    reader_.offer_report(hex("02 03 07 08 09"));
    Bytes buffer(100);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, after_five), 6);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 7), hex("01 02 03 04 05 06 00"));
}

TEST_F(Hid, ReadStopsWhenTheBufferIsFull) {
    reader_.offer_report(report("02 3E 01"));
    reader_.offer_report(report("02 3E 02"));
    Bytes buffer(72, '#');
    EXPECT_EQ(HID_read(handle_, buffer.data(), 70, 500, never), 70);
    EXPECT_EQ(buffer[62], 0x02);
    EXPECT_EQ(buffer[70], '#');
}

TEST_F(Hid, ReadThatIsNeverCompleteReturnsWhatCame) {
    reader_.offer_report(hex("02 01 AA"));
    Bytes buffer(10);
    const auto begin = clock_.monotonic_ms();
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, never), 1);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 500u);
    EXPECT_EQ(passes, 51) << "one test a report or slice of 10 ms";
}

TEST_F(Hid, ReadOfNothingTimesOut) {
    Bytes buffer(10);
    const auto begin = clock_.monotonic_ms();
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, never), -62);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 500u);
    EXPECT_EQ(passes, 50);
}

TEST_F(Hid, ReadOfLengthNoughtReturnsAtOnce) {
    unsigned char byte = 0;
    EXPECT_EQ(HID_read(handle_, &byte, 0, 500, never), -62);
    EXPECT_EQ(passes, 0);
}

TEST_F(Hid, EmptyReportsDoNotEndTheRead) {
    reader_.offer_report({});
    reader_.offer_report({});
    reader_.offer_report(hex("02 05 01 02 03 04 05"));
    Bytes buffer(100);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, after_five), 5);
}

TEST_F(Hid, AnErrorLosesWhatCame) {
    reader_.offer_report(hex("02 01 AA"));
    reader_.offer_report(hex("02"));
    Bytes buffer(100);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 100, 500, never), -1);
}

TEST_F(Hid, NoLimitIsALongLimit) {
    Bytes buffer(10);
    const auto cancel_later = [](unsigned char*, unsigned) {
        if (++passes == 1000) COMM_cancle();
        return 0;
    };
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 0, cancel_later), -125);
    EXPECT_EQ(passes, 1000);
}

TEST_F(Hid, CancelEndsTheReadOnce) {
    Bytes buffer(10);
    const auto cancel = [](unsigned char*, unsigned) {
        COMM_cancle();
        return 0;
    };
    reader_.offer_report(hex("02 01 AA"));
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 500, cancel), -125);
    EXPECT_EQ(HID_read(handle_, buffer.data(), 10, 50, never), -62);
}

TEST_F(Hid, CloseIsHidapis) {
    const int before = kit::hid_bus::counts().closes;
    HID_close(handle_);
    EXPECT_EQ(kit::hid_bus::counts().closes - before, 1);
}

TEST(TickCount, IsTheMonotonicClockInMilliseconds) {
    kit::FakeClock clock;
    const auto before = GetTickCount();
    clock.advance(std::chrono::milliseconds(1234));
    EXPECT_EQ(GetTickCount() - before, 1234u);
}

TEST(TickCount, RunsWithTheSystem) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto expected = static_cast<unsigned long long>(now.tv_sec) * 1000 +
                          static_cast<unsigned long long>(now.tv_nsec) / 1000000;
    EXPECT_GE(GetTickCount(), expected);
    EXPECT_LT(GetTickCount(), expected + 5000);
}

}  // namespace
