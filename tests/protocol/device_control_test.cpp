#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Link;
using namespace std::chrono_literals;

class DeviceControl : public testing::Test {
  protected:
    kit::ConfigFile config_;
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(DeviceControl, OpensUsbByItsDefaultIdentity) {
    EXPECT_EQ(Ovan_Open(&context, 0, 999'999, 0), 0) << "the baud rate is for serial ports";
    EXPECT_STREQ(DC_GetInterfaceType(&context), "hid");
    EXPECT_EQ(DC_GetUsbVid(&context, 0), 11915);
    EXPECT_EQ(DC_GetUsbPid(&context, 0), 322);
    EXPECT_EQ(DC_GetUsbListSize(&context), 1);
    EXPECT_EQ(Ovan_Close(&context), 0);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
}

TEST_F(DeviceControl, RefusesPortsAndRatesOutOfRange) {
    for (const int port : {-1, 256, 300}) {
        DC_AddUsbParams(&context, 1, 1);
        EXPECT_EQ(Ovan_Open(&context, port, 9600, 0), -22) << port;
        EXPECT_EQ(DC_GetUsbListSize(&context), 0) << "cleared";
    }
    EXPECT_EQ(Ovan_Open(&context, 1, 115'201, 0), -22);
}

TEST_F(DeviceControl, SerialPortKeepsItsParameters) {
    EXPECT_EQ(Ovan_Open(&context, 255, -5, 0), -2) << "no lower bound on the rate";
    EXPECT_STREQ(DC_GetInterfaceType(&context), "com");
    EXPECT_EQ(DC_GetCOMPort(&context), 255);
    const kit::ScriptedSerial line;
    GSetComName(6, line.device().c_str());
    EXPECT_EQ(Ovan_Open(&context, 6, 115'200, 0), 0);
    EXPECT_EQ(DC_GetCOMBaud(&context), 115'200u);
    Ovan_Close(&context);
}

TEST_F(DeviceControl, AnOpenReaderIsLeftAlone) {
    EXPECT_EQ(Ovan_Open(&context, 0, 0, 0), 0);
    EXPECT_EQ(Ovan_Open(&context, 0, 0, '5'), 0);
    EXPECT_EQ(Ovan_Open_PID(&context, 1, 1), 0);
    EXPECT_EQ(g_Bp, 0u) << "no port was selected";
    EXPECT_EQ(context.nRefCnt, 1u);
    EXPECT_TRUE(reader_.reports().empty());
    Ovan_Close(&context);
}

TEST_F(DeviceControl, OpensUsbByAnyIdentity) {
    kit::ScriptedHid other(&clock_, 0x1234, 0x5678);
    EXPECT_EQ(Ovan_Open_PID(&context, 0x51234, 0x35678), 0);
    EXPECT_EQ(DC_GetUsbVid(&context, 0), 0x1234);
    EXPECT_EQ(DC_GetUsbPid(&context, 0), 0x5678);
    Ovan_Close(&context);
    DC_Init(&context);
    EXPECT_EQ(Ovan_Open_PID(&context, 1, 1), -2);
}

TEST_F(DeviceControl, PassThroughPortIsReleasedAtEveryClose) {
    reader_.expect_silence(0, hex("1B 25 31"));
    EXPECT_EQ(Ovan_Open(&context, 0, 0, '1'), 0);
    EXPECT_EQ(g_Bp, 1u);
    reader_.expect_silence(0, hex("1B 25 41"));
    Ovan_Close(&context);
    EXPECT_EQ(g_Bp, 1u);
    EXPECT_EQ(Ovan_Open_PID(&context, kit::hid_bus::vendor, kit::hid_bus::product), 0);
    reader_.expect_silence(0, hex("1B 25 41"));
    Ovan_Close(&context);
}

TEST_F(DeviceControl, PortCharactersRunFrom1ToY) {
    Ovan_Open(&context, 0, 0, 0);
    for (const auto& [character, bytes] : {std::pair{49, "1B 25 31"}, std::pair{89, "1B 25 59"}}) {
        reader_.expect_silence(0, hex(bytes));
        EXPECT_EQ(Ovan_SetBpPort(&context, character), 0);
        EXPECT_EQ(g_Bp, 1u);
    }
    for (const int character : {48, 90, 0, -1, 0x80}) {
        EXPECT_EQ(Ovan_SetBpPort(&context, character), 0);
        EXPECT_EQ(g_Bp, 0u);
    }
    reader_.expect_silence(0, hex("1B 25 35"));
    Ovan_SetBpPort(&context, 0x135);  // its low byte is '5'
    reader_.expect_silence(0, hex("1B 25 41"));
    Ovan_Close(&context);
}

TEST_F(DeviceControl, PortIsSelectedAlsoWhenTheOpenFailed) {
    kit::hid_bus::unplug(reader_);
    EXPECT_EQ(Ovan_Open(&context, 0, 0, '3'), -2);
    EXPECT_EQ(g_Bp, 1u);
}

TEST_F(DeviceControl, ResetSendsTwoBytesAndExpectsNothing) {
    Ovan_Open(&context, 0, 0, 0);
    reader_.expect_silence(1, hex("1B 53"));
    EXPECT_EQ(Ovan_Reset(&context, 100), 0);
    Ovan_Close(&context);
    DC_Init(&context);
    EXPECT_EQ(Ovan_Reset(&context, 100), -19);
}

struct ModeRow {
    int mode;
    const char* config;
    const char* command;
};

constexpr ModeRow hid_modes[] = {
    {0, "IcBaud=9600", "1B 24 42 30"},   {0, "IcBaud=115200", "1B 24 42 34"},
    {0, "IcBaud=0", "1B 24 42 34"},      {0, "x=1", "1B 24 42 30"},
    {1, "IcBaud=9600", "1B 24 49 30"},   {1, "IcBaud=19200", "1B 24 49 34"},
    {1, "IdBaud=115200", "1B 24 49 30"}, {2, "IdBaud=9600", "1B 24 53 30"},
    {2, "IdBaud=57600", "1B 24 53 34"},  {2, "x=1", "1B 24 53 34"},
    {0x102, "x=1", "1B 24 53 34"},
};

TEST_F(DeviceControl, ModeCommandsOverUsb) {
    Ovan_Open(&context, 0, 0, 0);
    for (const ModeRow& row : hid_modes) {
        config_.write(std::string("[devcfg]\n") + row.config + "\n");
        reader_.expect(1, hex(row.command), hex("42 00"));
        EXPECT_EQ(Ovan_ChangeMode(&context, row.mode), 0) << row.config;
        reader_.verify();
    }
    Ovan_Close(&context);
}

TEST_F(DeviceControl, ModeCommandIsSentOverSerialAndItsAnswerComesTooLate) {
    kit::ScriptedSerial line;
    kit::prepare_serial(&context, line);
    COMM_Open(&context);
    line.expect_silence(0, hex("1B 24 53 30"));
    EXPECT_EQ(Ovan_ChangeMode(&context, 2), 0) << "9600 is the default of the ID rate here";
    line.verify();
    line.send(hex("53 00"));  // 100 microseconds are over
    unsigned char left[8];
    EXPECT_EQ(COMM_Read(&context, left, sizeof left, 100'000, nullptr), 2)
        << "it stands before the next reply";
    COMM_Close(&context);
}

TEST_F(DeviceControl, OtherModesSendNothing) {
    Ovan_Open(&context, 0, 0, 0);
    for (const int mode : {3, -1, 255, 42})
        EXPECT_EQ(Ovan_ChangeMode(&context, mode), 0);
    EXPECT_TRUE(reader_.reports().empty());
    Ovan_Close(&context);
}

TEST_F(DeviceControl, SilenceAfterAModeCommandIsIgnored) {
    Ovan_Open(&context, 0, 0, 0);
    reader_.expect_silence(1, hex("1B 24 42 30"));
    EXPECT_EQ(Ovan_ChangeMode(&context, 0), 0);
    Ovan_Close(&context);
}

TEST_F(DeviceControl, CancelPausesForTheReadToNotice) {
    EXPECT_EQ(Ovan_Cancel(), 0);
    EXPECT_EQ(clock_.sleeps(), (std::vector<std::chrono::microseconds>{200ms}));
}

TEST_F(DeviceControl, ReadDataLogsAndDrops) {
    const kit::LogFile log;
    Ovan_Open(&context, 0, 0, 0);
    Bytes report = hex("02 02 AA BB");
    reader_.offer_report(report);
    EXPECT_EQ(Ovan_ReadData(&context, 100), 2);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Info:Read Pack(len=2): AABB\r\n"});
    EXPECT_EQ(Ovan_ReadData(&context, 100), -62);
    EXPECT_EQ(context.nRefCnt, 1u);
    Ovan_Close(&context);
}

TEST_F(DeviceControl, ReadDataClosesAlsoAfterAFailedOpen) {
    EXPECT_EQ(Ovan_ReadData(&context, 100), -19);
    EXPECT_EQ(context.nRefCnt, 0u);
    context.nRefCnt = 2;
    EXPECT_EQ(Ovan_ReadData(&context, 100), -19);
    EXPECT_EQ(context.nRefCnt, 1u);
}

}  // namespace
