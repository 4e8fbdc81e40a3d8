#include <deskreader.h>

#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "kit/child.h"
#include "kit/conversation.h"

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

class Serial : public testing::Test {
  protected:
    void SetUp() override {
        GSetComName(3, line_.device().c_str());
        calls = 0;
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

TEST_F(Serial, DescriptorNoughtIsRestoredAndStaysOpen) {
    const kit::ChildEnd end = kit::run_in_child(5s, [&] {
        close(STDIN_FILENO);
        const int file = open(line_.device().c_str(), O_RDWR | O_NOCTTY);
        if (file != STDIN_FILENO || GSetTerm_Linux(file, 9600) != 0 || GReSetTerm_Linux(file) != 0)
            _exit(1);
        _exit(fcntl(STDIN_FILENO, F_GETFD) == -1 ? 2 : 0);
    });
    EXPECT_EQ(end.exit_status, 0);
}

TEST(SerialNames, HaveSixteenSlots) {
    EXPECT_EQ(GSetComName(15, "/dev/x"), 0);
    EXPECT_EQ(GSetComName(0, "/dev/x"), 0);
    EXPECT_EQ(GSetComName(16, "/dev/x"), -99);
    EXPECT_EQ(GSetComName(-1, "/dev/x"), -99);
    EXPECT_EQ(GSetComName(7, std::string(500, 'x').c_str()), 0) << "cut";
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
    EXPECT_EQ(GReadCom(handle, buffer, 8, -1), 0);
    line_.send(hex("0A 0B"));
    EXPECT_EQ(GReadCom(handle, buffer, 8, 1'000'000), 2);
    EXPECT_EQ(buffer[1], 0x0B);
    GCloseCom(handle);
    EXPECT_EQ(GReadCom(nullptr, buffer, 8, 1000), -1);
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

}  // namespace
