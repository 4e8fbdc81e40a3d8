// What an exchange costs beyond its bytes, in counts that do not depend on the machine's load.
#include <deskreader.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <optional>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kit/allocations.h"
#include "kit/canned_reader.h"
#include "kit/frames.h"
#include "kit/scratch.h"
#include "kit/system_calls.h"
#include "kit/way.h"

namespace {

using kit::Bytes;
using kit::Link;
using kit::Way;

constexpr char read_record[] = "00B2010C00";
constexpr int serial_port = 3;

unsigned long formatted = 0;

Bytes answer_of(const Way& way) {
    const Bytes response = kit::join({Bytes(62, 0x5A), kit::hex("90 00")});
    return way.iccmd == 0 ? kit::ic_frame(kit::join({kit::hex("00"), response}))
                          : kit::union_frame(kit::join({kit::hex("00 00"), response}));
}

// The library at work with a reader that answers at once, at log level 1.
class ExchangeCost : public testing::TestWithParam<Way> {
  protected:
    void SetUp() override {
        GSetLogLevel(1);
        DC_Init(&context);
        if (GetParam().link == Link::serial) {
            line_.emplace(answer_of(GetParam()));
            GSetComName(serial_port, line_->device().c_str());
            ASSERT_EQ(Ovan_Open(&context, serial_port, 9600, 0), 0);
        } else {
            ASSERT_EQ(Ovan_Open(&context, 0, 0, 0), 0);
        }
        exchange();
    }
    void TearDown() override { Ovan_Close(&context); }

    void exchange() {
        ASSERT_EQ(RD_IcAPDU(0, read_record, 10, 0, response_, &length_), 0);
        ASSERT_EQ(length_, 128);
    }

    kit::ConfigFile config_{GetParam().config()};
    kit::CannedUsb usb_{answer_of(GetParam())};
    std::optional<kit::CannedLine> line_;
    char response_[1024] = "";
    int length_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Ways, ExchangeCost, kit::every_way, kit::way_name);

TEST_P(ExchangeCost, NothingIsAllocated) {
    const unsigned long before = kit::allocations();
    exchange();
    EXPECT_EQ(kit::allocations(), before);
}

const std::vector<long> config_read = {SYS_openat, SYS_read, SYS_close};

TEST_P(ExchangeCost, TheKernelIsCalledForTheConfigurationAndTheBytesOnly) {
    auto calls = kit::system_calls_of([this] { exchange(); });
    if (!calls) GTEST_SKIP() << "this machine lets nobody trace";
    std::vector<long> expected = config_read;
    if (GetParam().link == Link::hid) {
        // "Iccmd" and "devtype"; the reports go through the bus in this process.
        expected.insert(expected.end(), config_read.begin(), config_read.end());
    } else {
        // The port is asked again as long as nothing has come.
        const auto behind_first = std::ranges::find(*calls, SYS_ppoll);
        ASSERT_NE(behind_first, calls->end());
        calls->erase(std::remove(behind_first + 1, calls->end(), SYS_ppoll), calls->end());
        expected.insert(expected.end(), {SYS_write, SYS_ppoll, SYS_read});
    }
    EXPECT_EQ(*calls, expected);
}

TEST_P(ExchangeCost, NoTextIsFormattedThatIsNotWritten) {
    const unsigned long before = formatted;
    exchange();
    EXPECT_EQ(formatted, before);
}

TEST(ExchangeCounters, Count) {
    const kit::LogFile log(1);
    const unsigned long allocations = kit::allocations();
    const unsigned long texts = formatted;
    GLogE("a message of %d\r\n", 1);
    EXPECT_GT(kit::allocations(), allocations);
    EXPECT_EQ(formatted, texts + 2) << "measured, then written";
    const auto calls = kit::system_calls_of([] { write(-1, "", 0); });
    if (calls) {
        EXPECT_EQ(*calls, std::vector<long>{SYS_write});
    }
}

}  // namespace

// What the log formats its messages with. The C library's own has another name beside it.
extern "C" {

int __vsnprintf_chk(char* out, std::size_t size, int flag, std::size_t room, const char* format,
                    std::va_list args);

int vsnprintf(char* out, std::size_t size, const char* format, std::va_list args) noexcept {
    ++formatted;
    return __vsnprintf_chk(out, size, 0, size, format, args);
}

}  // extern "C"
