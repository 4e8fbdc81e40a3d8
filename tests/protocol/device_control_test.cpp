#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Link;
using namespace std::chrono_literals;

TEST(PassThroughPort, IsNoneAtFirst) {
    EXPECT_EQ(g_Bp, 0u);
}

class DeviceControl : public testing::Test {
  protected:
    DeviceControl() {
        DC_Init(&context);
        g_Bp = 0;
    }

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
    const int before = kit::hid_bus::counts().closes;
    EXPECT_EQ(Ovan_Close(&context), 0);
    EXPECT_EQ(kit::hid_bus::counts().closes - before, 1);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_F(DeviceControl, RefusesPortsAndRatesOutOfRange) {
    for (const int port : {-1, 256, 300}) {
        DC_AddUsbParams(&context, 1, 1);
        EXPECT_EQ(Ovan_Open(&context, port, 9600, 0), -22) << port;
        EXPECT_EQ(DC_GetUsbListSize(&context), 0) << "cleared";
    }
    EXPECT_EQ(Ovan_Open(&context, 1, 115'201, 0), -22);
    g_Bp = 1;
    EXPECT_EQ(Ovan_Open(&context, 256, 9600, '2'), -22);
    EXPECT_EQ(g_Bp, 1u) << "no port was selected or given up";
    EXPECT_EQ(Ovan_Open(&context, 256, 9600, 0), -22);
    EXPECT_EQ(g_Bp, 1u);
}

TEST_F(DeviceControl, OpeningClearsWhatStoodInTheContext) {
    DC_SetOutputBufSize(&context, 12345);
    context.szReserved[3] = 'x';
    DC_AddUsbParams(&context, 0x1111, 0x2222);
    EXPECT_EQ(Ovan_Open(&context, 0, 0, 0), 0);
    EXPECT_EQ(DC_GetUsbListSize(&context), 1);
    EXPECT_EQ(DC_GetUsbVid(&context, 0), 0x2E8B);
    EXPECT_EQ(DC_GetOutputBufSize(&context), 62);
    EXPECT_EQ(context.szReserved[3], 0);
    Ovan_Close(&context);
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
    EXPECT_EQ(Ovan_Open_PID(&context, -1, -2), -2);
    EXPECT_EQ(DC_GetUsbVid(&context, 0), 0xFFFF);
    EXPECT_EQ(DC_GetUsbPid(&context, 0), 0xFFFE);
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

TEST_F(DeviceControl, AnOpenWithoutAPortGivesTheOldOneUp) {
    reader_.expect_silence(0, hex("1B 25 31"));
    Ovan_Open(&context, 0, 0, '1');
    reader_.expect_silence(0, hex("1B 25 41"));
    Ovan_Close(&context);
    EXPECT_EQ(Ovan_Open(&context, 0, 0, 0), 0);
    EXPECT_EQ(g_Bp, 0u);
    Ovan_Close(&context);
    EXPECT_EQ(reader_.reports().size(), 2u);
}

TEST_F(DeviceControl, PassThroughPortOverSerial) {
    kit::ScriptedSerial line;
    GSetComName(6, line.device().c_str());
    line.expect_silence(0, hex("1B 25 42"));
    EXPECT_EQ(Ovan_Open(&context, 6, 9600, 'B'), 0);
    line.expect_silence(0, hex("1B 25 41"));
    EXPECT_EQ(Ovan_Close(&context), 0);
    line.verify();
}

TEST_F(DeviceControl, CloseGivesUpOneUse) {
    Ovan_Open(&context, 0, 0, 0);
    COMM_Open(&context);
    EXPECT_EQ(Ovan_Close(&context), 0);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    EXPECT_EQ(context.nRefCnt, 1u);
    EXPECT_EQ(Ovan_Close(&context), 0);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_F(DeviceControl, CloseOfWhatIsNotOpenIsHarmless) {
    EXPECT_EQ(Ovan_Close(&context), 0);
    g_Bp = 1;
    EXPECT_EQ(Ovan_Close(&context), 0);
    Ovan_Open_PID(&context, kit::hid_bus::vendor, kit::hid_bus::product);
    reader_.expect_silence(0, hex("1B 25 41"));
    EXPECT_EQ(Ovan_Close(&context), 0);
    EXPECT_EQ(Ovan_Close(&context), 0) << "the release has nowhere to go";
    EXPECT_EQ(reader_.reports().size(), 1u);
}

TEST_F(DeviceControl, EveryCharacterIsAPortOrNone) {
    Ovan_Open(&context, 0, 0, 0);
    for (int character = 0; character < 256; ++character) {
        const bool is_port = character >= 49 && character <= 89;
        if (is_port) reader_.expect_silence(0, {0x1B, 0x25, static_cast<std::uint8_t>(character)});
        EXPECT_EQ(Ovan_SetBpPort(&context, character), 0);
        EXPECT_EQ(g_Bp, is_port ? 1u : 0u) << character;
    }
    EXPECT_EQ(reader_.reports().size(), 41u);
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

TEST_F(DeviceControl, ResetOpensAndClosesByItself) {
    kit::prepare_hid(&context);
    reader_.expect_silence(1, hex("1B 53"));
    EXPECT_EQ(Ovan_Reset(&context, 0), 0);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_F(DeviceControl, ResetOfALostLineFails) {
    auto line = std::make_unique<kit::ScriptedSerial>();
    kit::prepare_serial(&context, *line);
    COMM_Open(&context);
    line.reset();
    EXPECT_EQ(Ovan_Reset(&context, 100), -1);
    COMM_Close(&context);
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

constexpr ModeRow serial_modes[] = {
    {0, "IcBaud=9600", "1B 24 42 30"},   {0, "IcBaud=115200", "1B 24 42 34"},
    {0, "x=1", "1B 24 42 30"},           {0, "IdBaud=115200", "1B 24 42 30"},
    {1, "IcBaud=9600", "1B 24 49 30"},   {1, "IcBaud=115200", "1B 24 49 34"},
    {1, "IdBaud=115200", "1B 24 49 30"}, {1, "x=1", "1B 24 49 30"},
    {2, "IdBaud=9600", "1B 24 53 30"},   {2, "IdBaud=115200", "1B 24 53 34"},
    {2, "IcBaud=115200", "1B 24 53 30"}, {2, "x=1", "1B 24 53 30"},
};

TEST_F(DeviceControl, ModeCommandsOverSerial) {
    kit::ScriptedSerial line;
    kit::prepare_serial(&context, line);
    for (const ModeRow& row : serial_modes) {
        config_.write(std::string("[devcfg]\n") + row.config + "\n");
        line.expect_silence(0, hex(row.command));
        EXPECT_EQ(Ovan_ChangeMode(&context, row.mode), 0) << row.config;
        line.verify();
    }
    EXPECT_EQ(DC_IsOpen(&context), 0) << "closed again each time";
}

TEST_F(DeviceControl, ModeCommandWaitsForItsAnswerATenthOfASecond) {
    kit::prepare_hid(&context);
    const auto begin = clock_.monotonic_ms();
    reader_.expect_silence(1, hex("1B 24 53 34"));
    EXPECT_EQ(Ovan_ChangeMode(&context, 2), 0);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 100u);
}

TEST_F(DeviceControl, ModeCommandsAreRepeatedThoughTheModeIsTheSame) {
    kit::prepare_hid(&context);
    for (int round = 0; round < 2; ++round) {
        reader_.expect(1, hex("1B 24 42 30"), hex("42 00"));
        EXPECT_EQ(Ovan_ChangeMode(&context, 0), 0);
    }
    EXPECT_EQ(reader_.reports().size(), 2u);
}

TEST_F(DeviceControl, ModeChangeWithoutAReaderIsIgnored) {
    for (int mode = 0; mode <= 2; ++mode)
        EXPECT_EQ(Ovan_ChangeMode(&context, mode), 0);
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

TEST_F(DeviceControl, CancelEndsTheReadThatWaits) {
    Ovan_Open(&context, 0, 0, 0);
    const auto cancel = [](unsigned char*, unsigned) {
        Ovan_Cancel();
        return 0;
    };
    unsigned char buffer[8];
    EXPECT_EQ(COMM_Read(&context, buffer, sizeof buffer, 10'000, cancel), -125);
    EXPECT_EQ(clock_.sleeps().size(), 1u);
    Ovan_Close(&context);
}

TEST_F(DeviceControl, CancelTakesItsTimeOnTheSystemsClock) {
    deskreader::clock::use(nullptr);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Ovan_Cancel(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(DeviceControl, ReadDataOpensAndClosesByItself) {
    kit::prepare_hid(&context);
    reader_.offer_report(hex("02 02 AA"));
    EXPECT_EQ(Ovan_ReadData(&context, 100), 1);
    EXPECT_EQ(DC_IsOpen(&context), 0);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_F(DeviceControl, ReadDataOverSerialTakesAllThatCame) {
    const kit::LogFile log;
    kit::ScriptedSerial line;
    kit::prepare_serial(&context, line);
    COMM_Open(&context);
    line.send(Bytes(300, 0xA5));
    std::this_thread::sleep_for(10ms);
    EXPECT_EQ(Ovan_ReadData(&context, 500'000), 300);
    std::string expected = "Info:Read Pack(len=300): ";
    for (int i = 0; i < 300; ++i)
        expected += "A5";
    EXPECT_EQ(log.messages(), std::vector<std::string>{expected + "\r\n"});
    COMM_Close(&context);
}

TEST_F(DeviceControl, ReadDataPassesOnWhatTheReadSays) {
    const kit::LogFile log;
    kit::prepare_hid(&context);
    const auto begin = clock_.monotonic_ms();
    EXPECT_EQ(Ovan_ReadData(&context, 777), -62);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 777u);
    reader_.break_with(-1);
    EXPECT_EQ(Ovan_ReadData(&context, 777), -1);
    EXPECT_TRUE(log.messages().empty());
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
