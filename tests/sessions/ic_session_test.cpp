// Whole sessions with the virtual reader: over both links, in both IC frames.
#include <deskreader.h>

#include "cards/card.h"
#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::Link;
using kit::VirtualDesk;
using namespace std::chrono_literals;

class Session : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override {
        config_.write(GetParam().config());
        ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0);
    }
    void TearDown() override {
        RD_SetSlot(0);
        EXPECT_EQ(RD_Close(), 0);
    }

    static std::string power_on(int slot, int timeout_s = 2) {
        char atr[512] = "";
        int length = 0;
        int kind = -1;
        const int result = RD_IcPowerOn(slot, sizeof atr, atr, &length, &kind, timeout_s);
        return result == 0 ? atr : std::to_string(result);
    }

    static std::string send(int slot, const std::string& apdu) {
        char response[2048] = "";
        int length = 0;
        const int result =
            RD_IcAPDU(slot, apdu.c_str(), static_cast<int>(apdu.size()), 0, response, &length);
        return result == 0 ? response : std::to_string(result);
    }

    kit::ConfigFile config_;
    VirtualDesk desk_{GetParam().link};
};

INSTANTIATE_TEST_SUITE_P(Ways, Session, kit::every_way, kit::way_name);

TEST_P(Session, ReadsAContactCard) {
    EXPECT_EQ(power_on(0), "3B0444455348");
    EXPECT_EQ(send(0, "00A4040006F04445534B01"), "6F088406F04445534B019000");
    EXPECT_EQ(send(0, "00B2020C00"), "414441204558414D504C459000");
    EXPECT_EQ(send(0, "00B0820000"),
              "4E6F626F6479207265616C20686173206576657220"
              "6F776E6564207468697320636172642E9000");
    EXPECT_EQ(RD_IcPowerOff(0), 0);
    EXPECT_EQ(send(0, "00B2020C00"), GetParam().iccmd == 0 ? "-4006" : "-4004");
}

TEST_P(Session, ReadsAContactlessCard) {
    EXPECT_EQ(power_on(1), "0400088041424344");
    EXPECT_EQ(send(1, "00A4040006F04445534B01"), "6F088406F04445534B019000");
    EXPECT_EQ(send(1, "00B2030C00"), "6A83");
    EXPECT_EQ(RD_IcPowerOff(1), 0);
}

TEST_P(Session, FindsWhicheverCardIsThere) {
    EXPECT_EQ(power_on(2), "3B0444455348");
    EXPECT_EQ(g_IcType, 0);
    desk_.with_reader([](auto& reader) { reader.ic().remove("member"); });
    EXPECT_EQ(power_on(2), "0400088041424344");
    EXPECT_EQ(g_IcType, 1);
    EXPECT_EQ(send(2, "00A4040006F04445534B01"), "6F088406F04445534B019000");
    EXPECT_EQ(RD_IcPowerOff(2), 0);
}

TEST_P(Session, NoticesACardThatIsPulledOut) {
    EXPECT_EQ(power_on(0), "3B0444455348");
    desk_.with_reader([](auto& reader) { reader.ic().remove("member"); });
    EXPECT_EQ(send(0, "00B2020C00"), "-4005");
    EXPECT_EQ(power_on(0, 1), "-4005");
    desk_.with_reader([](auto& reader) { reader.ic().insert("member"); });
    EXPECT_EQ(power_on(0), "3B0444455348");
}

TEST_P(Session, WaitsForACardToCome) {
    desk_.with_reader([](auto& reader) { reader.ic().remove("member"); });
    std::jthread later([this] {
        std::this_thread::sleep_for(100ms);
        desk_.with_reader([](auto& reader) { reader.ic().insert("member"); });
    });
    EXPECT_EQ(power_on(0, 0), "3B0444455348");
}

TEST_P(Session, UsesTheSlotThatWasSet) {
    desk_.with_reader([](auto& reader) { reader.ic().insert("member", 16); });
    EXPECT_EQ(power_on(0, 1), "-4005");
    RD_SetSlot(16);
    EXPECT_EQ(power_on(0), "3B0444455348");
}

TEST_P(Session, ServesTheDevice) {
    char text[256] = "";
    int length = 0;
    EXPECT_EQ(RD_GetDevInfo(0, text, &length), 0);
    EXPECT_STREQ(text, "DESK READER VIRTUAL 1.0");
    EXPECT_EQ(RD_SetDevSn("SESSION-1", 9), 0);
    EXPECT_EQ(RD_GetDevSn(text, &length), 0);
    EXPECT_STREQ(text, "SESSION-1");
    EXPECT_EQ(RD_Beep(10, 1, 1), GetParam().iccmd == 0 ? -1008 : 0);
    int state = -1;
    EXPECT_EQ(RD_CardDetect(&state), GetParam().iccmd == 0 ? -1008 : 0);
    EXPECT_EQ(state, GetParam().iccmd == 0 ? -1 : 1);
    EXPECT_EQ(RD_Reset(), 0);
    EXPECT_EQ(RD_ChangeMode(2), 0);
    EXPECT_EQ(RD_ChangeMode(0), 0);
    EXPECT_EQ(power_on(0), "3B0444455348") << "nothing of all this is left on the line";
}

TEST(SessionRates, ReaderAndPortChangeTogether) {
    const kit::ConfigFile config("[devcfg]\nDevBaud=115200\n");
    VirtualDesk desk(Link::serial);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(RD_Open(desk.port(), 9600, 0), 0);
        EXPECT_EQ(desk.with_reader([](auto& reader) { return reader.baud(); }), 115200);
        char text[33] = "";
        int length = 0;
        EXPECT_EQ(RD_GetDevSn(text, &length), 0);
        EXPECT_STREQ(text, "DR2026000001");
        EXPECT_EQ(RD_Close(), 0);
        EXPECT_EQ(desk.with_reader([](auto& reader) { return reader.baud(); }), 9600);
    }
}

}  // namespace
