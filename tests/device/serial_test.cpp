#include <deskreader.h>

#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "kit/child.h"
#include "kit/conversation.h"
#include "system_calls.h"

namespace {

using kit::Bytes;
using kit::hex;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

int calls = 0;

int never(unsigned char*, unsigned) {
    ++calls;
    return 0;
}

int at_end(unsigned char* received, unsigned length) {
    return std::memchr(received, 0x03, length) != nullptr;
}

// A descriptor of the line's slave end beside the library's own.
class Slave {
  public:
    explicit Slave(const std::string& device) : file_(open(device.c_str(), O_RDWR | O_NOCTTY)) {}
    ~Slave() { close(file_); }
    Slave(const Slave&) = delete;
    Slave& operator=(const Slave&) = delete;

    int get() const { return file_; }

    termio settings() const {
        termio now{};
        EXPECT_EQ(ioctl(file_, TCGETA, &now), 0);
        return now;
    }

    void set(termio wanted) const { EXPECT_EQ(ioctl(file_, TCSETA, &wanted), 0); }

  private:
    int file_;
};

// The path that a port is opened by.
std::string name_of(int index) {
    system_calls::reset();
    system_calls::refuse_opens();
    EXPECT_EQ(GOpenCom(index, 9600), nullptr);
    const auto opens = system_calls::opens();
    system_calls::reset();
    return opens.size() == 1 ? opens[0].path : "(" + std::to_string(opens.size()) + " opens)";
}

TEST(SerialNames, BeginWithFourPortsAndTwelveEmptySlots) {
    // In a process of their own, where no other test has named a port.
    EXPECT_EQ(name_of(0), "/dev/ttyS0");
    EXPECT_EQ(name_of(1), "/dev/ttyS1");
    EXPECT_EQ(name_of(2), "/dev/ttyS2");
    EXPECT_EQ(name_of(3), "/dev/ttyS3");
    for (int index = 4; index <= 15; ++index)
        EXPECT_EQ(name_of(index), "") << index;
}

class Serial : public testing::Test {
  protected:
    void SetUp() override {
        GSetComName(3, line_.device().c_str());
        calls = 0;
        system_calls::reset();
    }

    void* open_port(int baud = 9600) {
        void* handle = GOpenCom(3, baud);
        EXPECT_NE(handle, nullptr);
        return handle;
    }

    kit::ScriptedSerial line_;
};

TEST_F(Serial, OpeningMakesTheTerminalRaw) {
    const Slave slave(line_.device());
    termio before = slave.settings();
    before.c_iflag |= ISTRIP | INLCR | IGNCR | ICRNL | IXON;
    before.c_oflag |= OPOST;
    before.c_lflag |= ISIG | ICANON | ECHO | NOFLSH;
    before.c_cflag |= CSTOPB | PARENB;
    slave.set(before);

    void* handle = open_port();
    const termio raw = slave.settings();
    EXPECT_EQ(raw.c_iflag & 0x05E0, 0);
    EXPECT_EQ(raw.c_oflag & 0x0001, 0);
    EXPECT_EQ(raw.c_lflag & 0x008B, 0);
    EXPECT_EQ(raw.c_cflag & 0x0030, 0x0030) << "eight bits";
    EXPECT_EQ(raw.c_cflag & 0x0880, 0x0880) << "receiver on, modem lines ignored";
    EXPECT_EQ(raw.c_cflag & 0x0140, 0) << "one stop bit, no parity";
    EXPECT_EQ(raw.c_cflag & 0x100F, 0x000D);
    EXPECT_EQ(raw.c_cc[1], 0x7F);
    EXPECT_EQ(raw.c_cc[5], 1);
    EXPECT_EQ(raw.c_cc[6], 0);
    GCloseCom(handle);
}

TEST_F(Serial, OpeningLeavesAllOtherBits) {
    const Slave slave(line_.device());
    termio before = slave.settings();
    before.c_iflag = IGNBRK | IXOFF | IXANY;
    before.c_oflag = ONLCR;
    before.c_lflag = ECHOE | TOSTOP;
    before.c_cflag = static_cast<unsigned short>(HUPCL | CS7 | B300);
    before.c_cc[VERASE] = 0x55;
    slave.set(before);
    before = slave.settings();

    void* handle = open_port();
    const termio raw = slave.settings();
    EXPECT_EQ(raw.c_iflag, before.c_iflag & ~0x05E0);
    EXPECT_EQ(raw.c_oflag, before.c_oflag & ~0x0001);
    EXPECT_EQ(raw.c_lflag, before.c_lflag & ~0x008B);
    EXPECT_EQ(raw.c_cflag & HUPCL, before.c_cflag & HUPCL);
    EXPECT_EQ(raw.c_cc[VERASE], 0x55);
    GCloseCom(handle);
}

TEST_F(Serial, EveryRateHasItsCode) {
    const struct {
        int rate;
        unsigned code;
    } rows[] = {{1200, 0x0009},  {2400, 0x000B},   {4800, 0x000C},  {9600, 0x000D},
                {19200, 0x000E}, {38400, 0x000F},  {57600, 0x1001}, {115200, 0x1002},
                {14400, 0x000D}, {230400, 0x000D}, {0, 0x000D},     {-1, 0x000D}};
    const Slave slave(line_.device());
    for (const auto& row : rows) {
        void* handle = open_port(row.rate);
        EXPECT_EQ(slave.settings().c_cflag & 0x100F, static_cast<int>(row.code)) << row.rate;
        GCloseCom(handle);
    }
}

TEST_F(Serial, ClosingPutsTheSettingsBack) {
    const Slave slave(line_.device());
    termio before = slave.settings();
    before.c_lflag |= ECHO;
    before.c_cflag = static_cast<unsigned short>((before.c_cflag & ~0x100F) | B300);
    slave.set(before);
    before = slave.settings();
    void* handle = open_port(115200);
    const int file = *static_cast<int*>(handle);
    EXPECT_GT(file, 2);
    EXPECT_EQ(GCloseCom(handle), 0);
    const termio after = slave.settings();
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(fcntl(file, F_GETFD), -1) << "descriptor closed";
}

TEST_F(Serial, OneRecordOfSettingsServesAllPorts) {
    kit::ScriptedSerial other;
    GSetComName(4, other.device().c_str());
    const Slave first(line_.device());
    const Slave second(other.device());
    termio marked = second.settings();
    marked.c_cc[VERASE] = 0x44;
    second.set(marked);
    void* one = open_port();
    void* two = GOpenCom(4, 9600);
    GCloseCom(one);
    EXPECT_EQ(first.settings().c_cc[VERASE], 0x44) << "what the second port had";
    GCloseCom(two);
}

TEST_F(Serial, TerminalFunctionsHaveTheirNumbers) {
    EXPECT_EQ(GSetTerm_Linux(-1, 9600), -1);
    EXPECT_EQ(GReSetTerm_Linux(-1), -1);
    const int file = open("/dev/null", O_RDWR);
    EXPECT_EQ(GSetTerm_Linux(file, 9600), -2);
    EXPECT_EQ(GReSetTerm_Linux(file), -99);
}

TEST_F(Serial, PortIsOpenedForReadingAndWritingAndBlocks) {
    void* handle = open_port();
    ASSERT_EQ(system_calls::opens().size(), 1u);
    EXPECT_EQ(system_calls::opens()[0].path, line_.device());
    EXPECT_EQ(system_calls::opens()[0].flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(system_calls::opens()[0].flags & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(*static_cast<int*>(handle), F_GETFL) & O_NONBLOCK, 0);
    GCloseCom(handle);
}

TEST_F(Serial, SettingsAreReadTwiceAndWrittenOncePendingOutputIsSent) {
    void* handle = open_port();
    EXPECT_EQ(system_calls::terminal_requests(),
              (std::vector<unsigned long>{TCGETA, TCGETA, TCSETAW}));
    system_calls::reset();
    GCloseCom(handle);
    EXPECT_EQ(system_calls::terminal_requests(), std::vector<unsigned long>{TCSETAW});
}

TEST_F(Serial, EachFailedStepOfTheSettingsHasItsNumber) {
    const int file = open(line_.device().c_str(), O_RDWR | O_NOCTTY);
    for (const auto& [step, number] : {std::pair{1, -2}, std::pair{2, -3}, std::pair{3, -4}}) {
        system_calls::fail_ioctl(step);
        EXPECT_EQ(GSetTerm_Linux(file, 9600), number);
        system_calls::fail_ioctl(step);
        EXPECT_EQ(GOpenCom(3, 9600), nullptr);
    }
    EXPECT_EQ(GSetTerm_Linux(file, 9600), 0);
    system_calls::fail_ioctl(1);
    EXPECT_EQ(GReSetTerm_Linux(file), -99);
}

TEST_F(Serial, AdapterPassesOnWhatClosingSays) {
    void* handle = open_port();
    system_calls::fail_ioctl(1);
    EXPECT_EQ(COM_close(handle), -99);
}

TEST_F(Serial, DescriptorNoughtIsRestoredAndStaysOpen) {
    const kit::ChildEnd end = kit::run_in_child(5s, [&] {
        close(STDIN_FILENO);
        const int file = open(line_.device().c_str(), O_RDWR | O_NOCTTY);
        termio before{};
        termio raw{};
        termio after{};
        ioctl(file, TCGETA, &before);
        if (file != STDIN_FILENO || GSetTerm_Linux(file, 1200) != 0) _exit(1);
        ioctl(file, TCGETA, &raw);
        if (GReSetTerm_Linux(file) != 0) _exit(2);
        if (ioctl(STDIN_FILENO, TCGETA, &after) != 0) _exit(3);
        const bool changed = raw.c_cflag != before.c_cflag && raw.c_lflag != before.c_lflag;
        const bool restored = after.c_cflag == before.c_cflag && after.c_lflag == before.c_lflag;
        _exit(changed && restored ? 0 : 4);
    });
    EXPECT_EQ(end.exit_status, 0);
}

TEST(SerialNames, HaveSixteenSlots) {
    EXPECT_EQ(GSetComName(15, "/dev/x"), 0);
    EXPECT_EQ(GSetComName(0, "/dev/x"), 0);
    EXPECT_EQ(GSetComName(16, "/dev/x"), -99);
    EXPECT_EQ(GSetComName(-1, "/dev/x"), -99);
    EXPECT_EQ(name_of(15), "/dev/x");
    EXPECT_EQ(GSetComName(7, std::string(63, 'x').c_str()), 0);
    EXPECT_EQ(name_of(7), std::string(63, 'x'));
    EXPECT_EQ(GSetComName(8, "/dev/eight"), 0);
    EXPECT_EQ(GSetComName(7, std::string(500, 'y').c_str()), 0);
    EXPECT_EQ(name_of(7), std::string(63, 'y')) << "cut";
    EXPECT_EQ(name_of(8), "/dev/eight") << "not written over";
}

TEST(SerialNames, WithoutADeviceNothingOpens) {
    EXPECT_EQ(GOpenCom(9, 9600), nullptr) << "an empty name";
    EXPECT_EQ(GOpenCom(16, 9600), nullptr);
    EXPECT_EQ(GOpenCom(255, 9600), nullptr);
    EXPECT_EQ(GOpenCom(-1, 9600), nullptr);
    GSetComName(8, "/dev/null");
    EXPECT_EQ(GOpenCom(8, 9600), nullptr) << "no terminal";
    GSetComName(8, "/nonexistent");
    EXPECT_EQ(GOpenCom(8, 9600), nullptr);
    EXPECT_EQ(GCloseCom(nullptr), -1);
}

TEST(SerialNames, AFailedOpenLeavesNothingOpen) {
    GSetComName(8, "/dev/null");
    const int before = open("/dev/null", O_RDONLY);
    close(before);
    GOpenCom(8, 9600);
    const int after = open("/dev/null", O_RDONLY);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(Serial, AdapterOpensByContext) {
    DEVCONTEXT target{};
    kit::prepare_serial(&target, line_, 57600);
    DC_SetInputBufSize(&target, 5);
    void* handle = COM_open(&target);
    EXPECT_EQ(DC_GetOutputBufSize(&target), 266);
    EXPECT_EQ(DC_GetInputBufSize(&target), 5);
    EXPECT_EQ(COM_close(handle), 0);
    DC_SetCOMParams(&target, 9, 9600);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(COM_open(&target)), -2);
}

TEST_F(Serial, WriteSendsAllBytes) {
    void* handle = open_port();
    line_.expect_silence(0, hex("01 02 03"));
    EXPECT_EQ(COM_write(handle, hex("01 02 03").data(), 3, 0), 3);
    EXPECT_EQ(COM_write(handle, hex("01").data(), 0, 0), -62);
    line_.verify();
    GCloseCom(handle);
    EXPECT_EQ(GWriteCom(nullptr, hex("01").data(), 1, 0), -1);
}

TEST_F(Serial, ReadWaitsMicroseconds) {
    void* handle = open_port();
    unsigned char buffer[8] = {};
    EXPECT_EQ(GReadCom(handle, buffer, 8, 1000), 0);
    const auto begin = Clock::now();
    EXPECT_EQ(GReadCom(handle, buffer, 8, 30'000), 0);
    EXPECT_GE(Clock::now() - begin, 30ms);
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_EQ(GReadCom(handle, buffer, 8, -1), -1) << "no time that can be waited for";
    line_.send(hex("0A 0B"));
    EXPECT_EQ(GReadCom(handle, buffer, 8, 1'000'000), 2);
    EXPECT_EQ(buffer[1], 0x0B);
    GCloseCom(handle);
    EXPECT_EQ(GReadCom(nullptr, buffer, 8, 1000), -1);
}

TEST_F(Serial, ReadTakesNoMoreThanItsRoomAndLeavesTheRest) {
    void* handle = open_port();
    line_.send(hex("01 02 03 04 05"));
    std::this_thread::sleep_for(5ms);
    Bytes buffer(6, '#');
    EXPECT_EQ(GReadCom(handle, buffer.data(), 2, 500'000), 2);
    EXPECT_EQ(COM_read(handle, buffer.data() + 2, 2, 500'000, nullptr), 2);
    EXPECT_EQ(COM_read(handle, buffer.data() + 4, 1, 500, never), 1) << "full, so at once";
    EXPECT_EQ(buffer, kit::join({hex("01 02 03 04 05"), {'#'}}));
    GCloseCom(handle);
}

TEST_F(Serial, DescriptorThatIsNotOpenFails) {
    int cell = 999;
    unsigned char buffer[8];
    EXPECT_EQ(GReadCom(&cell, buffer, 8, 1000), -1);
    EXPECT_EQ(COM_read(&cell, buffer, 8, 1000, nullptr), -1);
    EXPECT_EQ(COM_read(&cell, buffer, 8, 1000, never), -1);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(GWriteCom(&cell, buffer, 8, 0), -1);
    EXPECT_EQ(COM_write(&cell, buffer, 8, 0), -1);
}

TEST_F(Serial, AnErrorLosesWhatCame) {
    static int file = -1;
    void* handle = open_port();
    file = *static_cast<int*>(handle);
    line_.send(hex("01 02"));
    const auto break_later = [](unsigned char*, unsigned length) {
        if (length == 2) close(file);
        return 0;
    };
    unsigned char buffer[8];
    EXPECT_EQ(COM_read(handle, buffer, 8, 2000, break_later), -1);
    EXPECT_EQ(GCloseCom(handle), -99);
}

TEST_F(Serial, ReadWithoutATestOf300ReturnsWithinMilliseconds) {
    void* handle = open_port();
    unsigned char buffer[8];
    const auto begin = Clock::now();
    EXPECT_EQ(COM_read(handle, buffer, 8, 300, nullptr), -62);
    EXPECT_LT(Clock::now() - begin, 150ms);
    GCloseCom(handle);
}

TEST_F(Serial, ReadWithoutATestDoesNotLookAtTheCancelFlag) {
    void* handle = open_port();
    std::jthread later([this] {
        std::this_thread::sleep_for(20ms);
        COMM_cancle();
        std::this_thread::sleep_for(20ms);
        line_.send(hex("0A"));
    });
    unsigned char buffer[8];
    EXPECT_EQ(COM_read(handle, buffer, 8, 5'000'000, nullptr), 1);
    GCloseCom(handle);
}

TEST_F(Serial, ReadWithoutATestTakesItsMillisecondsAsMicroseconds) {
    void* handle = open_port();
    unsigned char buffer[8];
    const auto begin = Clock::now();
    EXPECT_EQ(COM_read(handle, buffer, 8, 3000, nullptr), -62);
    EXPECT_LT(Clock::now() - begin, 1s);
    EXPECT_GE(Clock::now() - begin, 3ms);
    line_.send(hex("0A"));
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(COM_read(handle, buffer, 8, 3000, nullptr), 1);
    GCloseCom(handle);
}

TEST_F(Serial, ReadWithoutATestOrLimitWaitsLong) {
    void* handle = open_port();
    std::jthread later([this] {
        std::this_thread::sleep_for(50ms);
        line_.send(hex("0A"));
    });
    unsigned char buffer[8];
    EXPECT_EQ(COM_read(handle, buffer, 8, 0, nullptr), 1);
    GCloseCom(handle);
}

TEST_F(Serial, ReadGathersPiecesUntilTheTestIsContent) {
    void* handle = open_port();
    line_.set_pause(3ms);
    line_.expect_pieces(0, hex("55"), {hex("01"), hex("02"), hex("04 05"), hex("03")});
    COM_write(handle, hex("55").data(), 1, 0);
    unsigned char buffer[16] = {};
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 2000, at_end), 5);
    EXPECT_EQ(Bytes(buffer, buffer + 5), hex("01 02 04 05 03"));
    GCloseCom(handle);
}

TEST_F(Serial, ReadThatIsNeverCompleteReturnsWhatCame) {
    void* handle = open_port();
    line_.send(hex("01 02"));
    unsigned char buffer[16];
    const auto begin = Clock::now();
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 100, never), 2);
    EXPECT_GE(Clock::now() - begin, 99ms);
    GCloseCom(handle);
}

TEST_F(Serial, ReadOfNothingTimesOut) {
    void* handle = open_port();
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 30, never), -62);
    EXPECT_EQ(COM_read(handle, buffer, 0, 30, never), -62);
    GCloseCom(handle);
}

TEST_F(Serial, TheTestIsAskedTwiceInEveryPassAlsoInEmptyOnes) {
    kit::FakeClock clock;
    clock.tick(1ms);
    void* handle = open_port();
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 100, never), -62);
    EXPECT_EQ(calls, 200) << "one reading of the clock, 1 ms, a pass";
    GCloseCom(handle);
}

TEST_F(Serial, TheSecondLookMayEndTheRead) {
    void* handle = open_port();
    const auto yes_when_asked_again = [](unsigned char*, unsigned) {
        return ++calls % 2 == 0 ? 1 : 0;
    };
    line_.send(hex("01"));
    std::this_thread::sleep_for(5ms);
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 1000, yes_when_asked_again), 1);
    EXPECT_EQ(calls, 2);
    GCloseCom(handle);
}

TEST_F(Serial, BothLooksSeeTheWholeBufferAndTheSameTotal) {
    static std::vector<unsigned> totals;
    static const unsigned char* seen = nullptr;
    totals.clear();
    const auto note = [](unsigned char* received, unsigned length) {
        totals.push_back(length);
        seen = received;
        return 0;
    };
    void* handle = open_port();
    line_.send(hex("01 02 03"));
    std::this_thread::sleep_for(5ms);
    unsigned char buffer[3];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 1000, note), 3);
    EXPECT_EQ(totals, (std::vector<unsigned>{3, 3}));
    EXPECT_EQ(seen, buffer);
    GCloseCom(handle);
}

TEST_F(Serial, TimeIsMeasuredBeforeTheTestIsAsked) {
    static kit::FakeClock* slow = nullptr;
    kit::FakeClock clock;
    slow = &clock;
    clock.tick(1ms);
    const auto slow_test = [](unsigned char*, unsigned) {
        ++calls;
        slow->advance(600ms);
        return 0;
    };
    void* handle = open_port();
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 500, slow_test), -62);
    EXPECT_EQ(calls, 4) << "two passes of two: a slow test shows one pass later";
    GCloseCom(handle);
}

TEST_F(Serial, ReadWithoutALimitGoesOnUntilCancelled) {
    kit::FakeClock clock;
    clock.tick(1s);
    const auto cancel_later = [](unsigned char*, unsigned) {
        if (++calls == 2000) COMM_cancle();
        return 0;
    };
    void* handle = open_port();
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 0, cancel_later), -125);
    EXPECT_EQ(calls, 2000) << "after a thousand seconds";
    GCloseCom(handle);
}

TEST_F(Serial, CancelEndsOneReadAndOneRaisedBeforeIsLost) {
    const auto cancel = [](unsigned char*, unsigned) {
        COMM_cancle();
        return 0;
    };
    void* handle = open_port();
    line_.send(hex("AA"));
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 1000, cancel), -125) << "whatever came";
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 20, never), -62);
    COMM_cancle();
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 20, never), -62);
    GCloseCom(handle);
}

TEST_F(Serial, ATestThatSaysYesIsNotAskedAgain) {
    void* handle = open_port();
    const auto yes = [](unsigned char*, unsigned) {
        ++calls;
        return 1;
    };
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 100, yes), -62)
        << "complete, with nothing in it";
    EXPECT_EQ(calls, 1);
    GCloseCom(handle);
}

TEST_F(Serial, CancelFromAnotherThreadEndsTheRead) {
    void* handle = open_port();
    std::jthread canceller([] {
        std::this_thread::sleep_for(20ms);
        COMM_cancle();
    });
    unsigned char buffer[16];
    const auto begin = Clock::now();
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 10'000, never), -125);
    EXPECT_LT(Clock::now() - begin, 5s);
    GCloseCom(handle);
}

TEST(SerialLoss, ALineThatIsGoneIsSilentAndCannotBeWrittenTo) {
    auto line = std::make_unique<kit::ScriptedSerial>();
    GSetComName(3, line->device().c_str());
    void* handle = GOpenCom(3, 9600);
    line.reset();
    unsigned char buffer[16];
    EXPECT_EQ(COM_read(handle, buffer, sizeof buffer, 50, never), -62)
        << "a hung-up terminal reads as empty";
    EXPECT_EQ(COM_write(handle, buffer, 1, 0), -1);
    EXPECT_EQ(GCloseCom(handle), -99) << "the settings cannot be put back";
}

TEST(SerialMistakes, NullBuffersAreRefused) {
    EXPECT_EQ(COM_read(nullptr, nullptr, 1, 10, nullptr), -22);
    EXPECT_EQ(COM_write(nullptr, nullptr, 1, 10), -22);
}

}  // namespace
