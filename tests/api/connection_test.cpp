#include <deskreader.h>

#include <termios.h>

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::Link;
using kit::union_frame;
using namespace std::chrono_literals;

class Usb : public testing::Test {
  protected:
    kit::ConfigFile config_;
    kit::LogFile log_{1};
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(Usb, InitConnectReadsTheInformationAndCloses) {
    reader_.expect(2, ic_frame(hex("81 00")), ic_frame(hex("00 44 52")));
    char info[256] = "";
    int length = 0;
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 0, 0, info, &length), 0);
    EXPECT_STREQ(info, "DR");
    EXPECT_EQ(length, 2);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
    EXPECT_TRUE(log_.messages().empty());
}

TEST_F(Usb, InitConnectWithoutInformationOpensAndCloses) {
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 1, 0, nullptr, nullptr), 0);
    EXPECT_TRUE(reader_.reports().empty());
    EXPECT_EQ(kit::hid_bus::counts().opens, 1);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
}

TEST_F(Usb, InitConnectReportsUnreadInformationAsItsOwnFailure) {
    char info[256] = "";
    int length = -7;
    reader_.expect(2, ic_frame(hex("81 00")), ic_frame(hex("A2")));
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 0, 0, info, &length), -1001);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:GetDevInfo Error!\r\n",
                                                         "Error:iErrorCode = -1001\r\n"}));
    EXPECT_EQ(DC_IsOpen(&context), 0);
    reader_.expect_silence(2, ic_frame(hex("81 00")));
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 0, 0, info, &length), -1001);
}

TEST_F(Usb, InitConnectRefusesAPortOutOfRange) {
    char info[256] = "";
    int length = -7;
    EXPECT_EQ(RD_InitConnect(300, 9600, 0, 0, 0, info, &length), -1007);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:OpenDevice Error!\r\n",
                                                         "Error:iErrorCode = -22\r\n"}));
}

TEST_F(Usb, InitConnectByIdentityAlwaysReadsTheInformation) {
    kit::ScriptedHid other(&clock_, 0x1111, 0x2222);
    other.expect(2, ic_frame(hex("81 00")), ic_frame(hex("00 41")));
    char info[256] = "";
    int length = 0;
    EXPECT_EQ(RD_InitConnect_PID(0x1111, 0x2222, 0, info, &length), 0);
    EXPECT_STREQ(info, "A");
    other.expect(2, ic_frame(hex("81 00")), ic_frame(hex("A2")));
    EXPECT_EQ(RD_InitConnect_PID(0x1111, 0x2222, 0, info, &length), -1001);
    DC_Init(&context);
    EXPECT_EQ(RD_InitConnect_PID(0x9999, 0x9999, 0, info, &length), -1000);
    EXPECT_TRUE(log_.has("Error:OpenDevice Error!\r\n"));
}

TEST_F(Usb, OpenSendsNoBaudCommand) {
    config_.write("[devcfg]\nDevBaud=115200\n");
    EXPECT_EQ(RD_Open(0, 9600, 0), 0);
    EXPECT_EQ(g_DevBaud, 9600);
    EXPECT_TRUE(reader_.reports().empty());
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_TRUE(reader_.reports().empty());
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
}

TEST_F(Usb, OpenFailureIsMappedAndLogged) {
    kit::hid_bus::unplug(reader_);
    EXPECT_EQ(RD_Open(0, 9600, 0), -1000);
    EXPECT_EQ(RD_Open_PID(0x1234, 1), -1000);
    EXPECT_EQ(log_.messages()[0], "Error:OpenDevice Error!\r\n");
    EXPECT_EQ(RD_Open(256, 9600, 0), -1007);
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(Usb, OpenByIdentity) {
    EXPECT_EQ(RD_Open_PID(kit::hid_bus::vendor, kit::hid_bus::product), 0);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    EXPECT_EQ(RD_Open_PID(1, 1), 0) << "it is open already";
    RD_Close();
}

TEST_F(Usb, PortCharacterGoesDownSigned) {
    reader_.expect_silence(0, hex("1B 25 59"));
    EXPECT_EQ(RD_Open(0, 9600, 'Y'), 0);
    reader_.expect_silence(0, hex("1B 25 32"));
    EXPECT_EQ(RD_SetBpPort('2'), 0);
    EXPECT_EQ(RD_SetBpPort(200), 0);
    EXPECT_EQ(g_Bp, 0u);
    RD_Close();
}

TEST_F(Usb, CloseForgetsEveryUser) {
    RD_Open(0, 9600, 0);
    COMM_Open(&context);
    COMM_Open(&context);
    g_IsCancelWait = 0;
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(g_IsCancelWait, 1);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
    EXPECT_STREQ(DC_GetInterfaceType(&context), "");
    EXPECT_EQ(clock_.sleeps(), (std::vector<std::chrono::microseconds>{200ms}));
}

TEST_F(Usb, CloseTwiceAndWithoutOpenIsHarmless) {
    EXPECT_EQ(RD_Close(), 0);
    RD_Open(0, 9600, 0);
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 1, 0, nullptr, nullptr), 0);
    EXPECT_EQ(RD_Close(), 0) << "the context still holds the closed handle";
    EXPECT_EQ(kit::hid_bus::counts().closes, 2);
}

TEST_F(Usb, ClosedReaderIsNotWrittenTo) {
    EXPECT_EQ(RD_InitConnect(0, 9600, 0, 1, 0, nullptr, nullptr), 0);
    EXPECT_EQ(RD_SetBpPort('3'), 0);
    EXPECT_TRUE(reader_.reports().empty());
}

TEST_F(Usb, DisConnectForgetsWithoutClosing) {
    RD_Open(0, 9600, 0);
    g_IsCancelWait = 0;
    EXPECT_EQ(RD_DisConnect(), 0);
    EXPECT_EQ(g_IsCancelWait, 1);
    EXPECT_EQ(kit::hid_bus::counts().closes, 0);
    EXPECT_EQ(DC_GetDevice(&context), nullptr);
    EXPECT_EQ(clock_.sleeps().size(), 1u);
}

TEST_F(Usb, ReopensAfterClose) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(RD_Open(0, 9600, 0), 0);
        EXPECT_EQ(RD_Close(), 0);
    }
    EXPECT_EQ(kit::hid_bus::counts().opens, 3);
    EXPECT_EQ(kit::hid_bus::counts().closes, 3);
}

TEST_F(Usb, DeviceInformation) {
    RD_Open(0, 9600, 0);
    char info[256] = "";
    int length = -7;
    EXPECT_EQ(RD_GetDevInfo(1, info, &length), 0);
    EXPECT_EQ(length, -7) << "no traffic";
    reader_.expect(2, ic_frame(hex("81 00")), ic_frame(hex("00 44 52")));
    EXPECT_EQ(RD_GetDevInfo(0, info, &length), 0);
    EXPECT_STREQ(info, "DR");
    reader_.expect_silence(2, ic_frame(hex("81 00")));
    EXPECT_EQ(RD_GetDevInfo(0, info, &length), -1013);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:OpenDevice Error!\r\n",
                                                         "Error:iErrorCode = -74\r\n"}));
    RD_Close();
}

TEST_F(Usb, CancelCalls) {
    g_IsCancelWait = 0;
    EXPECT_EQ(RD_CancelWait(), 0);
    EXPECT_EQ(g_IsCancelWait, 1);
    EXPECT_TRUE(clock_.sleeps().empty()) << "at once";
    g_IsCancelWait = 0;
    EXPECT_EQ(RD_Cancel(), 0);
    EXPECT_EQ(g_IsCancelWait, 0);
    EXPECT_EQ(clock_.sleeps(), (std::vector<std::chrono::microseconds>{200ms}));
}

TEST_F(Usb, ResetCancelsAndResets) {
    RD_Open(0, 9600, 0);
    g_IsCancelWait = 0;
    reader_.expect_silence(1, hex("1B 53"));
    EXPECT_EQ(RD_Reset(), 0);
    EXPECT_EQ(g_IsCancelWait, 1);
    RD_Close();
    EXPECT_EQ(RD_Reset(), -1003);
    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{"Error:Reset Error!\r\n", "Error:iErrorCode = -19\r\n"}));
}

TEST_F(Usb, ModeIsChangedByCommandOrNotAtAll) {
    RD_Open(0, 9600, 0);
    reader_.expect(1, hex("1B 24 53 34"), hex("53 00"));
    EXPECT_EQ(RD_ChangeMode(2), 0);
    config_.write("[devcfg]\nIdChange=1\n");
    reader_.expect(1, hex("1B 24 42 30"), hex("42 00"));
    EXPECT_EQ(RD_ChangeMode(0x100), 0) << "its low byte counts";
    for (const char* way : {"0", "2", "3"}) {
        config_.write(std::string("[devcfg]\nIdChange=") + way + "\n");
        EXPECT_EQ(RD_ChangeMode(2), 0) << way;
    }
    EXPECT_TRUE(log_.messages().empty());
    RD_Close();
}

TEST_F(Usb, BaudChangesAreForSerialPorts) {
    RD_Open(0, 9600, 0);
    long long old_baud = 4242;
    EXPECT_EQ(RD_ChangeBaud(115200, &old_baud), 0);
    EXPECT_EQ(old_baud, 4242);
    EXPECT_EQ(RD_SetDevBaud(115200), 0);
    EXPECT_TRUE(reader_.reports().empty());
    RD_Close();
}

TEST_F(Usb, BeepAndSlot) {
    RD_Open(0, 9600, 0);
    reader_.expect(2, union_frame(hex("31 13 05 02 03")), union_frame(hex("00 00")));
    EXPECT_EQ(RD_Beep(50, 2, 3), 0);
    config_.write("[devcfg]\nIccmd=0\n");
    EXPECT_EQ(RD_Beep(50, 2, 3), -1008);
    RD_SetSlot(16);
    EXPECT_EQ(g_Slot, 16);
    RD_Close();
}

TEST_F(Usb, SerialNumberStandsAtByte32) {
    RD_Open(0, 9600, 0);
    Bytes block(33, 'i');
    block[0] = 0x00;
    const Bytes number = kit::ascii("SN-42");
    block.insert(block.end(), number.begin(), number.end());
    block.resize(65);
    reader_.expect(2, ic_frame(hex("F1")), ic_frame(block));
    char text[33];
    int length = 0;
    EXPECT_EQ(RD_GetDevSn(text, &length), 0);
    EXPECT_STREQ(text, "SN-42");
    EXPECT_EQ(length, 5);
    RD_Close();
}

TEST_F(Usb, SerialNumberIsEmptyAfterAFailureWhoseNumberIsNotMapped) {
    RD_Open(0, 9600, 0);
    reader_.expect_silence(2, ic_frame(hex("F1")));
    char text[33] = "before";
    int length = 7;
    EXPECT_EQ(RD_GetDevSn(text, &length), -74);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(log_.messages().empty());
    RD_Close();
    EXPECT_EQ(RD_GetDevSn(text, &length), -19);
}

TEST_F(Usb, SerialNumberOf32CharactersIsTerminated) {
    RD_Open(0, 9600, 0);
    Bytes block(65, 'N');
    block[0] = 0x00;
    reader_.expect(2, ic_frame(hex("F1")), ic_frame(block));
    char text[33];
    int length = 0;
    EXPECT_EQ(RD_GetDevSn(text, &length), 0);
    EXPECT_EQ(length, 32);
    RD_Close();
}

TEST_F(Usb, SerialNumberIsWritten) {
    RD_Open(0, 9600, 0);
    Bytes command = kit::join({{0xF2}, kit::ascii("SN-42")});
    command.resize(33);
    reader_.expect(2, ic_frame(command), ic_frame(hex("00")));
    EXPECT_EQ(RD_SetDevSn("SN-42", 5), 0);
    reader_.expect(2, ic_frame(command), ic_frame(hex("A2")));
    EXPECT_EQ(RD_SetDevSn("SN-42", 5), -99);
    EXPECT_TRUE(log_.messages().empty());
    RD_Close();
}

// A reader on a real line whose rate the test looks at.
class SerialPort : public testing::Test {
  protected:
    void SetUp() override { GSetComName(3, line_.device().c_str()); }

    speed_t rate() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(line_.master(), &settings), 0);
        return cfgetospeed(&settings);
    }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedSerial line_;
};

TEST_F(SerialPort, OpenBringsReaderAndPortToTheConfiguredRate) {
    config_.write("[devcfg]\nDevBaud=115200\n");
    line_.expect(0, ic_frame(hex("BB 04")), ic_frame(hex("00")));
    EXPECT_EQ(RD_Open(3, 9600, 0), 0);
    line_.verify();
    EXPECT_EQ(rate(), static_cast<speed_t>(B115200));
    EXPECT_EQ(g_DevBaud, 9600);
    EXPECT_EQ(context.nRefCnt, 1u);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    EXPECT_TRUE(log_.has("Info:iBaud = 115200, iDevBaud = 9600\r\n"));
    EXPECT_TRUE(log_.has("Info:context.refCnt = 1\r\n"));

    line_.expect(0, ic_frame(hex("BB 00")), ic_frame(hex("00")));
    EXPECT_EQ(RD_Close(), 0);
    line_.verify();
}

TEST_F(SerialPort, OpenAtTheConfiguredRateSendsNothing) {
    EXPECT_EQ(RD_Open(3, 9600, 0), 0);
    EXPECT_EQ(rate(), static_cast<speed_t>(B9600));
    EXPECT_EQ(g_DevBaud, 9600);
    EXPECT_TRUE(log_.has("Info:iBaud = 9600, iDevBaud = 9600\r\n"));
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(SerialPort, ReopeningKeepsTheNestingOfUsers) {
    RD_Open(3, 9600, 0);
    COMM_Open(&context);
    COMM_Open(&context);
    long long old_baud = 0;
    EXPECT_EQ(RD_ChangeBaud(57600, &old_baud), 0);
    EXPECT_EQ(old_baud, 9600);
    EXPECT_EQ(rate(), static_cast<speed_t>(B57600));
    EXPECT_EQ(context.nRefCnt, 3u);
    EXPECT_TRUE(log_.has("Info:context.refCnt = 3\r\n"));
    EXPECT_EQ(RD_ChangeBaud(9600, &old_baud), 0);
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(SerialPort, AReopenThatFailsLeavesTheReaderClosedAndSafe) {
    RD_Open(3, 9600, 0);
    GSetComName(3, "/nonexistent");
    long long old_baud = 0;
    EXPECT_EQ(RD_ChangeBaud(57600, &old_baud), -1000);
    EXPECT_EQ(DC_IsOpen(&context), 0);
    EXPECT_EQ(RD_SetBpPort('1'), 0);
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(SerialPort, FailedOpenClosesSafely) {
    GSetComName(3, "/nonexistent");
    EXPECT_EQ(RD_Open(3, 9600, 0), -1000);
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(SerialPort, TellingTheReaderItsRate) {
    RD_Open(3, 9600, 0);
    EXPECT_EQ(RD_SetDevBaud(9600), 0) << "no difference, no traffic";
    line_.expect(0, ic_frame(hex("BB 03")), ic_frame(hex("A2")));
    EXPECT_EQ(RD_SetDevBaud(57600), -4002);
    RD_Close();
}

TEST_F(SerialPort, CancelFromAnotherThreadEndsAnExchange) {
    RD_Open(3, 9600, 0);
    line_.expect_silence(0, ic_frame(hex("81 00")));
    // A cancel that comes before the read is lost, so one may not be enough on a busy machine.
    std::jthread canceller([](const std::stop_token& done) {
        while (!done.stop_requested())
            RD_Cancel();
    });
    char info[256];
    int length = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(RD_GetDevInfo(0, info, &length), -1013);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 800ms) << "before its second is over";
    canceller = {};
    RD_Close();
}

}  // namespace
