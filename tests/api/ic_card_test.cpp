#include <deskreader.h>

#include <optional>

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::Link;
using namespace std::chrono_literals;

const Bytes contact_on = ic_frame(hex("E1 01"));
const Bytes contactless_on = ic_frame(hex("D1"));
const Bytes no_card = ic_frame(hex("FB"));
const Bytes refused = ic_frame(hex("A2"));
const Bytes contact_card = ic_frame(hex("00 3B 8F"));
const Bytes contactless_card = ic_frame(hex("00 04 00"));

struct PowerOn {
    int result;
    std::string atr;
    int length = -7;
    int kind = -7;
};

PowerOn power_on(int slot, int timeout_s, int room = 512) {
    char text[512] = "";
    PowerOn given{0, {}};
    given.result = RD_IcPowerOn(slot, room, text, &given.length, &given.kind, timeout_s);
    given.atr = text;
    return given;
}

class IcCard : public testing::Test {
  protected:
    void SetUp() override { kit::prepare_hid(&context); }

    // So many attempts at a contact card that is not there.
    void expect_no_card(int attempts, const Bytes& command = contact_on) {
        for (int i = 0; i < attempts; ++i)
            reader_.expect(2, command, no_card);
    }

    kit::ConfigFile config_;
    kit::LogFile log_{1};
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(IcCard, ContactCardAnswers) {
    reader_.expect(2, contact_on, contact_card);
    g_IcType = 1;
    const PowerOn given = power_on(0, 5);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.atr, "3B8F");
    EXPECT_EQ(given.length, 4);
    EXPECT_EQ(given.kind, 0);
    EXPECT_EQ(g_IcType, 0);
    EXPECT_TRUE(clock_.sleeps().empty());
}

TEST_F(IcCard, ContactlessCardAnswers) {
    reader_.expect(2, contactless_on, contactless_card);
    const PowerOn given = power_on(1, 5);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.atr, "0400");
    EXPECT_EQ(given.kind, 1);
    EXPECT_EQ(g_IcType, 1);
}

TEST_F(IcCard, AutomaticSlotPrefersTheContactCard) {
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(2, 5).kind, 0);
    reader_.expect(2, contact_on, no_card);
    reader_.expect(2, contactless_on, contactless_card);
    EXPECT_EQ(power_on(-1, 5).kind, 1);
    EXPECT_EQ(g_IcType, 1);
}

TEST_F(IcCard, AnswerIsCutToTheRoom) {
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5, 3).atr, "3B");
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5, 0).length, -22);
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5, -1).length, -22);
}

TEST_F(IcCard, TriesAgainAfterNineTenthsOfASecond) {
    expect_no_card(2);
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5).result, 0);
    EXPECT_EQ(clock_.sleeps(), std::vector<std::chrono::microseconds>(18, 100ms));
}

TEST_F(IcCard, TriesBothKindsAgainAfterEightTenths) {
    reader_.expect(2, contact_on, no_card);
    reader_.expect(2, contactless_on, no_card);
    reader_.expect(2, contact_on, no_card);
    reader_.expect(2, contactless_on, contactless_card);
    EXPECT_EQ(power_on(2, 5).result, 0);
    EXPECT_EQ(clock_.sleeps(), std::vector<std::chrono::microseconds>(8, 100ms));
}

TEST_F(IcCard, ARefusingCardIsTriedAgainToo) {
    reader_.expect(2, contact_on, refused);
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5).result, 0);
}

TEST_F(IcCard, PositiveLimitEndsWithTheReason) {
    clock_.set_wall_time(1000);
    expect_no_card(6);  // at 0, 0.9, 1.8, 2.7, 3.6 and 4.5 seconds
    const PowerOn given = power_on(0, 5);
    EXPECT_EQ(given.result, -4005);
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(given.atr, "");
    EXPECT_EQ(clock_.sleeps().size(), 54u);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:iErrorCode = -4005\r\n"});
}

TEST_F(IcCard, AutomaticSlotReportsTheContactlessAttempt) {
    clock_.set_wall_time(1000);
    for (int i = 0; i < 2; ++i) {
        reader_.expect(2, contact_on, no_card);
        reader_.expect(2, contactless_on, refused);
    }
    EXPECT_EQ(power_on(2, 1).result, -4000);
}

TEST_F(IcCard, WithoutLimitWaitsUntilACardComes) {
    expect_no_card(100);
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 0).result, 0);
    EXPECT_EQ(clock_.sleeps().size(), 900u);
}

TEST_F(IcCard, WithoutLimitAnotherFailureIsATimeout) {
    reader_.expect_silence(2, contact_on);
    const PowerOn given = power_on(0, 0);
    EXPECT_EQ(given.result, -4001);
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{"Error:Timeout!\r\n", "Error:iErrorCode = -4001\r\n"}));
}

TEST_F(IcCard, WithALimitAnotherFailureEndsTheWaitAtOnce) {
    reader_.expect_silence(2, contact_on);
    EXPECT_EQ(power_on(0, 5).result, -1013);
    EXPECT_TRUE(clock_.sleeps().empty());
    reader_.expect(2, contact_on, ic_frame(hex("C3 01")));
    EXPECT_EQ(power_on(0, 5).result, 2) << "an unknown status is the length of the reply";
}

TEST_F(IcCard, NegativeLimitIsRefused) {
    EXPECT_EQ(power_on(0, -1).result, -1007);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:Timeout Error!\r\n"})
        << "not mapped";
}

TEST_F(IcCard, CancelEndsTheWaitAfterAnyStep) {
    clock_.on_sleep([](int sleeps) {
        if (sleeps == 13) RD_CancelWait();
    });
    expect_no_card(2);
    const PowerOn given = power_on(0, 0);
    EXPECT_EQ(given.result, -1006);
    EXPECT_EQ(given.length, -7) << "nothing is written";
    EXPECT_EQ(clock_.sleeps().size(), 13u);
    EXPECT_EQ(log_.messages(),
              (std::vector<std::string>{"Error:Cancel!\r\n", "Error:iErrorCode = -1006\r\n"}));
}

TEST_F(IcCard, ACancelFromBeforeIsForgotten) {
    RD_CancelWait();
    expect_no_card(1);
    reader_.expect(2, contact_on, contact_card);
    EXPECT_EQ(power_on(0, 5).result, 0);
}

TEST_F(IcCard, PowerOffByKind) {
    const Bytes off = ic_frame(hex("E2 01"));
    const Bytes contactless_off = ic_frame(hex("D2"));
    const Bytes done = ic_frame(hex("00"));
    reader_.expect(2, off, done);
    EXPECT_EQ(RD_IcPowerOff(0), 0);
    reader_.expect(2, contactless_off, done);
    EXPECT_EQ(RD_IcPowerOff(1), 0);
    g_IcType = 0;
    reader_.expect(2, off, done);
    EXPECT_EQ(RD_IcPowerOff(2), 0);
    reader_.expect(2, off, no_card);
    reader_.expect(2, contactless_off, done);
    EXPECT_EQ(RD_IcPowerOff(2), 0);
    g_IcType = 1;
    reader_.expect(2, contactless_off, refused);
    EXPECT_EQ(RD_IcPowerOff(2), -4002);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:IcPowerOff Error!\r\n",
                                                         "Error:iErrorCode = -4002\r\n"}));
}

struct Exchange {
    int result;
    std::string response;
    int length = -7;
};

Exchange exchange(int slot, const std::string& apdu, std::optional<int> length = {}) {
    std::string text(2048, '\0');
    Exchange given{0, {}};
    given.result = RD_IcAPDU(slot, apdu.c_str(), length.value_or(static_cast<int>(apdu.size())), 0,
                             text.data(), &given.length);
    given.response = text.c_str();
    return given;
}

const Bytes contact_apdu = ic_frame(hex("E3 01 00 84 00 00 04"));
const Bytes contactless_apdu = ic_frame(hex("D3 00 84 00 00 04"));
const Bytes response_9000 = ic_frame(hex("00 11 22 33 44 90 00"));

TEST_F(IcCard, ApduIsAnsweredInText) {
    reader_.expect(2, contact_apdu, response_9000);
    const Exchange given = exchange(0, "0084000004");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.response, "112233449000");
    EXPECT_EQ(given.length, 12);
    reader_.expect(2, contactless_apdu, response_9000);
    EXPECT_EQ(exchange(1, "0084000004").result, 0);
}

TEST_F(IcCard, AutomaticSlotBeginsWithTheKindPoweredLast) {
    g_IcType = 0;
    reader_.expect(2, contact_apdu, no_card);
    reader_.expect(2, contactless_apdu, response_9000);
    EXPECT_EQ(exchange(2, "0084000004").result, 0);
    g_IcType = 1;
    reader_.expect(2, contactless_apdu, no_card);
    reader_.expect(2, contact_apdu, response_9000);
    EXPECT_EQ(exchange(2, "0084000004").result, 0);
    reader_.expect(2, contactless_apdu, response_9000);
    EXPECT_EQ(exchange(7, "0084000004").result, 0);
}

TEST_F(IcCard, OnlyTheGivenLengthIsSentButAllIsChecked) {
    reader_.expect(2, contact_apdu, response_9000);
    EXPECT_EQ(exchange(0, "0084000004FFFF", 10).result, 0);
    EXPECT_EQ(exchange(0, "0084000004xyz", 10).result, -1007);
}

TEST_F(IcCard, BadApduTextsAreRefused) {
    EXPECT_EQ(exchange(0, "00a4040000").result, -1007) << "lower case";
    EXPECT_EQ(exchange(0, "008", 3).result, -1007) << "odd";
    EXPECT_EQ(exchange(0, "0084", 0).result, -1007);
    EXPECT_EQ(exchange(0, "0084", -2).result, -1007);
    EXPECT_EQ(exchange(0, "0084", 6).result, -1007) << "shorter than its length";
    EXPECT_EQ(exchange(0, std::string(1026, '0')).result, -1007);
    const auto messages = log_.messages();
    EXPECT_EQ(messages, std::vector<std::string>(6, "Error:ApduData Error!\r\n")) << "not mapped";
}

TEST_F(IcCard, LongestApduText) {
    config_.write("[devcfg]\nIccmd=1\n");
    reader_.expect(2, kit::union_frame(kit::join({{0x32, 0x26, 0x00}, Bytes(512, 0)})),
                   kit::union_frame(hex("00 00 90 00")));
    EXPECT_EQ(exchange(0, std::string(1024, '0')).response, "9000");
}

TEST_F(IcCard, WithoutAResponseTheLengthIsTheConvertersNumber) {
    reader_.expect(2, contact_apdu, refused);
    Exchange given = exchange(0, "0084000004");
    EXPECT_EQ(given.result, -4006);
    EXPECT_EQ(given.length, -22);
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Error:IcApdu Error!\r\n",
                                                         "Error:iErrorCode = -4006\r\n"}));
    reader_.expect(2, contact_apdu, ic_frame(hex("00")));
    given = exchange(0, "0084000004");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.length, -22);
}

TEST_F(IcCard, DetectionIsNotMapped) {
    int state = -7;
    EXPECT_EQ(RD_CardDetect(&state), -1008);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Error:IC_CardDetect Error!\r\n"});
    config_.write("[devcfg]\nIccmd=1\n");
    reader_.expect(2, kit::union_frame(hex("32 21 FF")), kit::union_frame(hex("00 00 12 00")));
    EXPECT_EQ(RD_CardDetect(&state), 0);
    EXPECT_EQ(state, 2);
    reader_.expect_silence(2, kit::union_frame(hex("32 21 FF")));
    EXPECT_EQ(RD_CardDetect(&state), -74);
}

TEST(HexDataValue, TakesUpperCaseDigitsOnly) {
    const kit::LogFile log;
    EXPECT_EQ(IsHexDataValue("0123456789ABCDEF"), 1);
    EXPECT_EQ(IsHexDataValue(""), 1);
    EXPECT_EQ(IsHexDataValue("00a4"), 0);
    EXPECT_EQ(IsHexDataValue("G"), 0);
    EXPECT_EQ(IsHexDataValue("\xFF"), 0);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"Info:szHexData[2] = 61\r\n", "Info:szHexData[0] = 47\r\n",
                                        "Info:szHexData[0] = FF\r\n"}));
}

}  // namespace
