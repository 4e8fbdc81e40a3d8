#include <deskreader.h>

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
using Lines = std::vector<std::string>;

const Bytes done = ic_frame(hex("00"));
const Bytes refused = ic_frame(hex("01"));

// What a reading function wrote into its buffer of '#'.
struct Read {
    int result;
    std::string text;
};

template <class Function>
Read read(Function function, int block, int room = 32) {
    char text[64];
    std::fill(std::begin(text), std::end(text), '#');
    const int result = function(block, room, text);
    const std::string all(text, sizeof text);
    return {result, all.substr(0, all.find('#'))};
}

// One command of each function, in both frames.
struct CommandRow {
    const char* name;
    int (*call)();
    const char* ic;
    const char* union_;
    int failure;
    const char* failure_text;
};

const CommandRow commands[] = {
    {"Powerdown", [] { return RD_M1Powerdown(); }, "4B", "32 25", -5002,
     "Error:M1_PowerOff Error!\r\n"},
    {"VerifyA", [] { return RD_M1Verify(1, 0, "A0A1A2A3A4A5"); }, "42 01 60 A0A1A2A3A4A5",
     "32 42 01 00 A0A1A2A3A4A5", -5003, "Error:M1_Verify Error!\r\n"},
    {"VerifyB", [] { return RD_M1Verify(40, 1, "FFFFFFFFFFFF"); }, "42 28 61 FFFFFFFFFFFF",
     "32 42 28 01 FFFFFFFFFFFF", -5003, "Error:M1_Verify Error!\r\n"},
    {"WriteBlock", [] { return RD_M1WriteBlock(4, "000102030405060708090A0B0C0D0E0F"); },
     "44 04 000102030405060708090A0B0C0D0E0F", "32 44 04 000102030405060708090A0B0C0D0E0F", -5005,
     "Error:RD_M1WriteBlock data Error!\r\n"},
    {"Write", [] { return RD_M1Write(5, "64000000"); }, "46 05 64000000", "32 46 05 64000000",
     -5007, "Error:RD_M1Write Error!\r\n"},
    {"Increment", [] { return RD_M1Increment(5, "01020304"); }, "47 05 01020304",
     "32 47 05 01020304", -5008, "Error:RD_M1Increment Error!\r\n"},
    {"Decrement", [] { return RD_M1Decrement(255, "FFFFFF7F"); }, "48 FF FFFFFF7F",
     "32 48 FF FFFFFF7F", -5009, "Error:RD_M1Decrement Error!\r\n"},
    {"IncreaseValue", [] { return RD_M1IncreaseValue(6, 258); }, "47 06 02010000",
     "32 47 06 02010000", -5008, "Error:RD_M1IncreaseValue Error!\r\n"},
    {"DecreaseValue", [] { return RD_M1DecreaseValue(6, 0x7FFFFFFF); }, "48 06 FFFFFF7F",
     "32 48 06 FFFFFF7F", -5009, "Error:RD_M1DecreaseValue Error!\r\n"},
    {"ReadBlock", [] { return read(RD_M1ReadBlock, 4).result; }, "43 04", "32 43 04", -5004,
     "Error:RD_M1ReadBlock data Error!\r\n"},
    {"Read", [] { return read(RD_M1Read, 5).result; }, "45 05", "32 45 05", -5006,
     "Error:RD_M1Read Error!\r\n"},
};

class MifareClassicLinks : public testing::TestWithParam<Link> {
  protected:
    kit::ConfigFile config_;
    kit::LogFile log_{1};
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, MifareClassicLinks, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(MifareClassicLinks, CommandsInTheIcFrame) {
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, ic_frame(hex(row.ic)), done);
        EXPECT_EQ(row.call(), 0);
        desk_->verify();
    }
    EXPECT_EQ(log_.messages(), Lines{});
}

TEST_P(MifareClassicLinks, CommandsInTheUnionFrame) {
    config_.write("[devcfg]\nIccmd=1\n");
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, union_frame(hex(row.union_)), union_frame(hex("00 00")));
        EXPECT_EQ(row.call(), 0);
        desk_->verify();
    }
    EXPECT_EQ(log_.messages(), Lines{});
}

TEST_P(MifareClassicLinks, FailuresAreLogged) {
    Lines expected;
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, ic_frame(hex(row.ic)), refused);
        EXPECT_EQ(row.call(), row.failure);
        expected.emplace_back(row.failure_text);
        expected.emplace_back("Error:iErrorCode = " + std::to_string(row.failure) + "\r\n");
    }
    EXPECT_EQ(log_.messages(), expected);
}

TEST_P(MifareClassicLinks, UnknownFrameIsNotSupported) {
    config_.write("[devcfg]\nIccmd=2\n");
    for (const CommandRow& row : commands)
        EXPECT_EQ(row.call(), -1008) << row.name;
}

TEST_P(MifareClassicLinks, BlocksAndValuesAreGivenAsText) {
    desk_->expect(2, ic_frame(hex("43 04")), ic_frame(hex("00 000102030405060708090A0B0C0D0E0F")));
    EXPECT_EQ(read(RD_M1ReadBlock, 4).text, "000102030405060708090A0B0C0D0E0F");
    desk_->expect(2, ic_frame(hex("45 05")), ic_frame(hex("00 64 00 00 80")));
    EXPECT_EQ(read(RD_M1Read, 5).text, "64000080");
    config_.write("[devcfg]\nIccmd=1\n");
    desk_->expect(2, union_frame(hex("32 43 04")), union_frame(hex("00 00 A1 B2")));
    EXPECT_EQ(read(RD_M1ReadBlock, 4).text, "A1B2");
    desk_->expect(2, union_frame(hex("32 45 05")), union_frame(hex("00 00 64 00 00 80")));
    EXPECT_EQ(read(RD_M1Read, 5).text, "64000080");
}

TEST_P(MifareClassicLinks, CardIsPoweredUp) {
    char uid[512] = "";
    int length = -7;
    desk_->expect(2, ic_frame(hex("41")), ic_frame(hex("00 04 A1 B2 C3")));
    EXPECT_EQ(RD_M1Powerup(512, uid, &length, 5), 0);
    EXPECT_EQ(std::string(uid), "04A1B2C3");
    EXPECT_EQ(length, 8);
    config_.write("[devcfg]\nIccmd=1\n");
    desk_->expect(2, union_frame(hex("32 41 00 00")), union_frame(hex("00 00 04 A1 B2 C3")));
    EXPECT_EQ(RD_M1Powerup(512, uid, &length, 5), 0);
    EXPECT_EQ(std::string(uid), "000004A1B2C3") << "status included in this frame";
    EXPECT_EQ(length, 12);
}

class MifareClassic : public testing::Test {
  protected:
    void SetUp() override { kit::prepare_hid(&context); }

    kit::ConfigFile config_;
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(MifareClassic, FailuresOfTheLinkAreMapped) {
    for (const CommandRow& row : commands) {
        const kit::LogFile log(1);
        reader_.expect_silence(2, ic_frame(hex(row.ic)));
        EXPECT_EQ(row.call(), -1013) << row.name;
        EXPECT_EQ(log.messages(), (Lines{row.failure_text, "Error:iErrorCode = -74\r\n"}));
    }
}

TEST_F(MifareClassic, ReadsAreCutToTheRoom) {
    const Bytes request = ic_frame(hex("43 04"));
    const Bytes answer = ic_frame(hex("00 A1 B2 C3"));
    for (const auto& [room, text] : {std::pair{6, "A1B2C3"}, std::pair{5, "A1B2"}, std::pair{1, ""},
                                     std::pair{0, ""}, std::pair{-1, ""}}) {
        reader_.expect(2, request, answer);
        const Read given = read(RD_M1ReadBlock, 4, room);
        EXPECT_EQ(given.result, 0) << room;
        EXPECT_EQ(given.text, text) << room;
        reader_.expect(2, ic_frame(hex("45 04")), answer);
        EXPECT_EQ(read(RD_M1Read, 4, room).text, text) << room;
    }
}

TEST_F(MifareClassic, FailedReadsWriteNothing) {
    reader_.expect(2, ic_frame(hex("43 04")), refused);
    EXPECT_EQ(read(RD_M1ReadBlock, 4).text, "");
    reader_.expect(2, ic_frame(hex("45 04")), refused);
    EXPECT_EQ(read(RD_M1Read, 4).text, "");
}

// A refused argument: the number, the message, and the reader that hears nothing.
struct Refused {
    int (*call)();
    int result;
    const char* message;
};

constexpr const char* digits_32 = "000102030405060708090A0B0C0D0E0F";

const Refused refused_arguments[] = {
    {[] { return RD_M1Verify(1, 0, "A0A1A2A3A4A"); }, -5014, "RD_M1Verify pin len Error!\r\n"},
    {[] { return RD_M1Verify(0, 7, "A0A1A2A3A4A"); }, -5014, "RD_M1Verify pin len Error!\r\n"},
    {[] { return RD_M1Verify(1, 0, ""); }, -5014, "RD_M1Verify pin len Error!\r\n"},
    {[] { return RD_M1Verify(0, 0, "A0A1A2A3A4A5"); }, -5011, "RD_M1Verify iSector Error!\r\n"},
    {[] { return RD_M1Verify(41, 0, "A0A1A2A3A4A5"); }, -5011, "RD_M1Verify iSector Error!\r\n"},
    {[] { return RD_M1Verify(-1, 7, "A0A1A2A3A4A5"); }, -5011, "RD_M1Verify iSector Error!\r\n"},
    {[] { return RD_M1Verify(257, 0, "A0A1A2A3A4A5"); }, -5011, "RD_M1Verify iSector Error!\r\n"},
    {[] { return RD_M1Verify(1, 2, "A0A1A2A3A4A5"); }, -5015, "RD_M1Verify iKeyType Error!\r\n"},
    {[] { return RD_M1Verify(1, -1, "A0A1A2A3A4A5"); }, -5015, "RD_M1Verify iKeyType Error!\r\n"},
    {[] { return RD_M1Verify(1, 256, "A0A1A2A3A4A5"); }, -5015, "RD_M1Verify iKeyType Error!\r\n"},
    {[] { return read(RD_M1ReadBlock, 0).result; }, -5010, "RD_M1ReadBlock data Error!\r\n"},
    {[] { return read(RD_M1ReadBlock, -4).result; }, -5010, "RD_M1ReadBlock data Error!\r\n"},
    {[] { return read(RD_M1Read, 0).result; }, -5010, "RD_M1Read data Error!\r\n"},
    {[] { return read(RD_M1Read, -1).result; }, -5010, "RD_M1Read data Error!\r\n"},
    {[] { return RD_M1WriteBlock(0, digits_32); }, -5010, "RD_M1WriteBlock iBlock Error!\r\n"},
    {[] { return RD_M1WriteBlock(-1, digits_32); }, -5010, "RD_M1WriteBlock iBlock Error!\r\n"},
    {[] { return RD_M1WriteBlock(0, "000102030405060708090A0B0C0D0E0"); }, -5012,
     "RD_M1WriteBlock data Error!\r\n"},
    {[] { return RD_M1WriteBlock(4, "000102030405060708090A0B0C0D0E0F0"); }, -5012,
     "RD_M1WriteBlock data Error!\r\n"},
    {[] { return RD_M1WriteBlock(4, ""); }, -5012, "RD_M1WriteBlock data Error!\r\n"},
    {[] { return RD_M1Write(0, "6400000"); }, -5013, "RD_M1Write data Error!\r\n"},
    {[] { return RD_M1Write(5, "640000000"); }, -5013, "RD_M1Write data Error!\r\n"},
    {[] { return RD_M1Write(0, "64000000"); }, -5010, "RD_M1Write iBlock Error!\r\n"},
    {[] { return RD_M1Increment(0, "6400000"); }, -5013, "RD_M1Increment data Error!\r\n"},
    {[] { return RD_M1Increment(5, "640000000"); }, -5013, "RD_M1Increment data Error!\r\n"},
    {[] { return RD_M1Increment(0, "64000000"); }, -5010, "RD_M1Increment iBlock Error!\r\n"},
    {[] { return RD_M1Decrement(0, "6400000"); }, -5013, "RD_M1Decrement data Error!\r\n"},
    {[] { return RD_M1Decrement(5, "640000000"); }, -5013, "RD_M1Decrement data Error!\r\n"},
    {[] { return RD_M1Decrement(-5, "64000000"); }, -5010, "RD_M1Decrement iBlock Error!\r\n"},
    {[] { return RD_M1IncreaseValue(0, 0); }, -5016, "RD_M1IncreaseValue nValue data Error!\r\n"},
    {[] { return RD_M1IncreaseValue(5, 0x80000000); }, -5016,
     "RD_M1IncreaseValue nValue data Error!\r\n"},
    {[] { return RD_M1IncreaseValue(0, 1); }, -5010, "RD_M1IncreaseValue iBlock Error!\r\n"},
    {[] { return RD_M1DecreaseValue(0, 0); }, -5016, "RD_M1DecreaseValue nValue data Error!\r\n"},
    {[] { return RD_M1DecreaseValue(5, 0xFFFFFFFF); }, -5016,
     "RD_M1DecreaseValue nValue data Error!\r\n"},
    {[] { return RD_M1DecreaseValue(-1, 1); }, -5010, "RD_M1DecreaseValue iBlock Error!\r\n"},
};

TEST_F(MifareClassic, BadArgumentsAreRefusedBeforeTheReaderHearsOfThem) {
    for (const Refused& row : refused_arguments) {
        const kit::LogFile log(1);
        EXPECT_EQ(row.call(), row.result) << row.message;
        EXPECT_EQ(log.messages(), Lines{std::string("Error:") + row.message}) << "not mapped";
    }
}

TEST_F(MifareClassic, DataAreUpperCaseDigits) {
    EXPECT_EQ(RD_M1WriteBlock(0, "000102030405060708090a0b0c0d0e0f"), -5012);
    EXPECT_EQ(RD_M1WriteBlock(0, "000102030405060708090A0B0C0D0E0G"), -5012);
    EXPECT_EQ(RD_M1Write(0, "6400000x"), -5013);
    EXPECT_EQ(RD_M1Increment(0, "6400 000"), -5013);
    EXPECT_EQ(RD_M1Decrement(0,
                             "64000\xE9"
                             "00"),
              -5013);
}

TEST_F(MifareClassic, NullPointersAreRefused) {
    char text[16];
    int length = 0;
    EXPECT_EQ(RD_M1Powerup(16, nullptr, &length, 0), -1007);
    EXPECT_EQ(RD_M1Powerup(16, text, nullptr, 0), -1007);
    EXPECT_EQ(RD_M1Verify(1, 0, nullptr), -1007);
    EXPECT_EQ(RD_M1ReadBlock(1, 16, nullptr), -1007);
    EXPECT_EQ(RD_M1Read(1, 16, nullptr), -1007);
    EXPECT_EQ(RD_M1WriteBlock(1, nullptr), -1007);
    EXPECT_EQ(RD_M1Write(1, nullptr), -1007);
    EXPECT_EQ(RD_M1Increment(1, nullptr), -1007);
    EXPECT_EQ(RD_M1Decrement(1, nullptr), -1007);
}

TEST_F(MifareClassic, TheLowByteOfABlockGoesOut) {
    reader_.expect(2, ic_frame(hex("43 00")), done);
    EXPECT_EQ(read(RD_M1ReadBlock, 256).result, 0);
    reader_.expect(2, ic_frame(hex("46 FF 64000000")), done);
    EXPECT_EQ(RD_M1Write(0x7FFFFFFF, "64000000"), 0);
}

TEST_F(MifareClassic, KeysGoOutWhole) {
    reader_.expect(2, ic_frame(hex("42 01 60 A0A1A2A3A4A5A6")), done);
    EXPECT_EQ(RD_M1Verify(1, 0, "a0a1a2a3a4a5A6"), 0) << "either case, and more than 6 bytes";
    reader_.expect(2, ic_frame(hex("42 01 60 A0A1A2A3A4A5")), done);
    EXPECT_EQ(RD_M1Verify(1, 0, "A0A1A2A3A4A5A"), 0) << "an odd digit does not count";
    reader_.expect(2, ic_frame(hex("42 01 60 A0A1")), done);
    EXPECT_EQ(RD_M1Verify(1, 0, "A0A100A3A4A5"), 0) << "up to the first zero";
    reader_.expect(2, ic_frame(hex("42 01 60 A0")), done);
    EXPECT_EQ(RD_M1Verify(1, 0, "A0xyA2A3A4A5"), 0) << "what is no digit counts as 0";
    EXPECT_EQ(RD_M1Verify(1, 0, std::string(600, 'F').c_str()), -1007) << "no frame has the room";
    EXPECT_EQ(RD_M1Verify(1, 0, std::string(100'000, 'F').c_str()), -1007);
}

TEST_F(MifareClassic, WritesAreToldInTheLog) {
    const kit::LogFile log(2);
    reader_.expect(2, ic_frame(hex("44 04 41424344454647484142434445460048")), done);
    EXPECT_EQ(RD_M1WriteBlock(4, "41424344454647484142434445460048"), 0);
    EXPECT_TRUE(
        log.has("Info:RD_M1WriteBlock, szInData = 41424344454647484142434445460048 iBlock "
                "= 4\r\n"));
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, szInData = 41424344454647484142434445460048\r\n"));
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, iInLen = 16, szInBuf = ABCDEFGHABCDEF\r\n"));
    reader_.expect(2, ic_frame(hex("46 05 41424344")), done);
    EXPECT_EQ(RD_M1Write(5, "41424344"), 0);
    EXPECT_TRUE(log.has("Info:RD_M1Write,  szInData=41424344 \r\n"));
    EXPECT_TRUE(log.has("Info:RD_M1Write, iInLen=4, szInBuf=ABCD \r\n"));
    reader_.expect(2, ic_frame(hex("42 01 60 A0A1A2A3A4A5")), done);
    EXPECT_EQ(RD_M1Verify(1, 0, "A0A1A2A3A4A5"), 0);
    EXPECT_TRUE(log.has("Info:RD_M1Verify len = 12\r\n"));
    EXPECT_EQ(RD_M1Verify(1, 0, "A0"), -5014);
    EXPECT_TRUE(log.has("Info:RD_M1Verify len = 2\r\n"));
}

TEST_F(MifareClassic, RefusedWritesAreToldToo) {
    const kit::LogFile log(2);
    EXPECT_EQ(RD_M1WriteBlock(0, "41"), -5012);
    EXPECT_EQ(log.messages(), (Lines{"Info:RD_M1WriteBlock, szInData = 41 iBlock = 0\r\n",
                                     "Error:RD_M1WriteBlock data Error!\r\n"}));
}

TEST_F(MifareClassic, ReadsAreToldInTheLog) {
    const kit::LogFile log(2);
    reader_.expect(2, ic_frame(hex("43 04")), ic_frame(hex("00 41 42 43")));
    EXPECT_EQ(read(RD_M1ReadBlock, 4).result, 0);
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, iOutLen = 3, szOutBuf = ABC\r\n"));
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, szOutData = 414243\r\n"));
    reader_.expect(2, ic_frame(hex("43 04")), refused);
    EXPECT_EQ(read(RD_M1ReadBlock, 4).result, -5004);
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, iOutLen = 0, szOutBuf = \r\n"));
    EXPECT_TRUE(log.has("Info:RD_M1ReadBlock, szOutData = \r\n"));
    reader_.expect(2, ic_frame(hex("43 04")), ic_frame(hex("00 41 42 43")));
    EXPECT_EQ(read(RD_M1ReadBlock, 4, 0).result, 0) << "without room";
}

struct Powerup {
    int result;
    std::string uid;
    int length = -7;
};

Powerup power_up(int timeout_s, int room = 512) {
    char text[512] = "";
    Powerup given{0, {}};
    given.result = RD_M1Powerup(room, text, &given.length, timeout_s);
    given.uid = text;
    return given;
}

class MifareClassicWait : public MifareClassic {
  protected:
    void SetUp() override {
        MifareClassic::SetUp();
        clock_.set_wall_time(1000);
    }

    void expect_no_card(int attempts) {
        for (int i = 0; i < attempts; ++i)
            reader_.expect(2, activate_, refused);
    }

    const Bytes activate_ = ic_frame(hex("41"));
    const Bytes card_ = ic_frame(hex("00 04 A1 B2 C3"));
    kit::LogFile log_{1};
};

TEST_F(MifareClassicWait, AnswerIsCutToTheRoom) {
    reader_.expect(2, activate_, card_);
    EXPECT_EQ(power_up(5, 5).uid, "04A1");
    reader_.expect(2, activate_, card_);
    EXPECT_EQ(power_up(5, 0).length, -22);
    reader_.expect(2, activate_, card_);
    EXPECT_EQ(power_up(5, -1).length, -22);
}

TEST_F(MifareClassicWait, TriesAgainAfterNineTenthsOfASecond) {
    expect_no_card(2);
    reader_.expect(2, activate_, card_);
    const Powerup given = power_up(5);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.uid, "04A1B2C3");
    EXPECT_EQ(clock_.sleeps(), std::vector<std::chrono::microseconds>(18, 100ms));
    EXPECT_EQ(log_.messages(), Lines{});
}

TEST_F(MifareClassicWait, LimitThatEqualsTheAttemptsIsATimeout) {
    // Each attempt takes a tenth of a second besides: attempts at 0, 1 and 2 seconds.
    clock_.on_sleep([this](int sleeps) {
        if (sleeps % 9 == 0) clock_.advance(100ms);
    });
    expect_no_card(3);
    const Powerup given = power_up(3);
    EXPECT_EQ(given.result, -4001);
    EXPECT_EQ(given.uid, "");
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(clock_.sleeps().size(), 27u);
    EXPECT_EQ(log_.messages(), (Lines{"Error:Timeout!\r\n", "Error:iErrorCode = -4001\r\n"}));
}

TEST_F(MifareClassicWait, LimitAfterMoreAttemptsReportsTheReason) {
    expect_no_card(4);  // at 0, 0.9, 1.8 and 2.7 seconds
    const Powerup given = power_up(3);
    EXPECT_EQ(given.result, -5001);
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(clock_.sleeps().size(), 36u);
    EXPECT_EQ(log_.messages(), Lines{"Error:iErrorCode = -5001\r\n"});
}

TEST_F(MifareClassicWait, LimitAfterFewerAttemptsReportsTheReason) {
    clock_.on_sleep([this](int) { clock_.advance(100ms); });
    expect_no_card(2);  // at 0 and 1.8 seconds
    EXPECT_EQ(power_up(3).result, -5001);
}

TEST_F(MifareClassicWait, AnotherFailureEndsTheWaitAtOnce) {
    reader_.expect_silence(2, activate_);
    const Powerup given = power_up(5);
    EXPECT_EQ(given.result, -1013);
    EXPECT_EQ(given.length, 0);
    EXPECT_TRUE(clock_.sleeps().empty());
    EXPECT_EQ(log_.messages(), Lines{"Error:iErrorCode = -74\r\n"});
}

TEST_F(MifareClassicWait, AnotherFailureAfterAsManyAttemptsIsATimeout) {
    expect_no_card(2);
    reader_.expect_silence(2, activate_);
    EXPECT_EQ(power_up(2).result, -4001);
}

TEST_F(MifareClassicWait, WithoutLimitWaitsUntilACardComes) {
    expect_no_card(100);
    reader_.expect(2, activate_, card_);
    EXPECT_EQ(power_up(0).result, 0);
    EXPECT_EQ(clock_.sleeps().size(), 900u);
}

TEST_F(MifareClassicWait, WithoutLimitAnotherFailureIsATimeout) {
    expect_no_card(3);
    reader_.expect_silence(2, activate_);
    const Powerup given = power_up(0);
    EXPECT_EQ(given.result, -4001);
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(log_.messages(), (Lines{"Error:Timeout!\r\n", "Error:iErrorCode = -4001\r\n"}));
}

TEST_F(MifareClassicWait, NegativeLimitIsRefused) {
    const Powerup given = power_up(-1);
    EXPECT_EQ(given.result, -1007);
    EXPECT_EQ(given.length, -7);
    EXPECT_EQ(log_.messages(), Lines{"Error:Timeout Error!\r\n"}) << "not mapped";
}

TEST_F(MifareClassicWait, CancelEndsTheWaitAfterAnyStep) {
    clock_.on_sleep([](int sleeps) {
        if (sleeps == 13) RD_CancelWait();
    });
    expect_no_card(2);
    const Powerup given = power_up(0);
    EXPECT_EQ(given.result, -1006);
    EXPECT_EQ(given.length, -7) << "nothing is written";
    EXPECT_EQ(clock_.sleeps().size(), 13u);
    EXPECT_EQ(log_.messages(), (Lines{"Error:Cancel!\r\n", "Error:iErrorCode = -1006\r\n"}));
}

TEST_F(MifareClassicWait, ACancelFromBeforeIsForgotten) {
    RD_CancelWait();
    expect_no_card(1);
    reader_.expect(2, activate_, card_);
    EXPECT_EQ(power_up(5).result, 0);
}

}  // namespace
