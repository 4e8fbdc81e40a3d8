// The wait for an identity card, and the baud rate meanwhile.
#include <deskreader.h>

#include <termios.h>

#include "api/id_reads.h"

namespace {

using kit::Link;
using namespace id_reads;
using namespace std::chrono_literals;

// Waits, at which the clock is the test's.
class IdCardWait : public testing::Test {
  protected:
    void expect_search_without_end(int searches) {
        module_.expect_id_mode();
        module_.expect_reset();
        for (int i = 0; i < searches; ++i)
            module_.expect_no_card();
    }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{Link::hid};
    kit::IdModule module_{*desk_, Link::hid};
};

TEST_F(IdCardWait, SearchesAboutEverySecondUntilACardComes) {
    module_.expect_id_mode();
    module_.expect_reset();
    module_.expect_no_card();
    module_.expect("20 01", "00 00 90");
    module_.expect_card_found();
    module_.expect_selection();
    module_.expect_blocks(kit::resident_card().bytes());
    module_.expect_normal_mode();
    g_IsCancelWait = 1;  // of an earlier call
    const Read read = read_info();
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.text(), resident_fields + "||");
    EXPECT_EQ(desk_.clock()->sleeps(), std::vector<std::chrono::microseconds>(18, 100ms));
}

TEST_F(IdCardWait, SelectsAllTheSameWhenTheLimitIsOver) {
    // 0.9 seconds a search: at 4.5 seconds there is another one, at 5.4 there is none.
    expect_search_without_end(6);
    module_.expect("20 02", "00 00 81");
    module_.expect_normal_mode();
    EXPECT_EQ(read_info(nullptr, 5).result, -3001);
    EXPECT_EQ(desk_.clock()->sleeps().size(), 54u);
    EXPECT_EQ(own_messages(log_),
              (Messages{"Error:ID_SelectCard Error!\r\n", "Error:iErrorCode = -3001\r\n"}));
}

TEST_F(IdCardWait, CardThatAnswersTheSelectionOnlyIsRead) {
    expect_search_without_end(2);
    module_.expect_selection();
    module_.expect_blocks(kit::gat_card().bytes());
    module_.expect_normal_mode();
    EXPECT_EQ(read_pic(nullptr, 1).text(), gat_fields);
}

TEST_F(IdCardWait, AnotherErrorEndsTheSearchAndTheSelectionDecides) {
    module_.expect_id_mode();
    module_.expect_reset();
    desk_->expect_silence(2, hex("AA AA AA 96 69 00 03 20 01 22"));
    module_.expect("20 02", "00 00 80");
    module_.expect_normal_mode();
    EXPECT_EQ(read_pic(nullptr, 5).result, -3002);
    EXPECT_TRUE(desk_.clock()->sleeps().empty());
}

TEST_F(IdCardWait, AnotherErrorEndsASearchWithoutLimit) {
    module_.expect_id_mode();
    module_.expect_reset();
    desk_->expect_silence(2, hex("AA AA AA 96 69 00 03 20 01 22"));
    module_.expect_normal_mode();
    EXPECT_EQ(read_pic(nullptr, 0).result, -3001);
    EXPECT_EQ(own_messages(log_), (Messages{"Error:Timeout!\r\n", "Error:iErrorCode = -3001\r\n"}));
}

TEST_F(IdCardWait, NoLimitWaitsOn) {
    expect_search_without_end(100);
    module_.expect_card_found();
    module_.expect_selection();
    module_.expect_blocks(kit::foreign_card().bytes());
    module_.expect_normal_mode();
    EXPECT_EQ(read_pic(nullptr, 0).text(), foreign_fields);
    EXPECT_EQ(desk_.clock()->sleeps().size(), 900u);
}

TEST_F(IdCardWait, IsCancelledWithinATenthOfASecond) {
    expect_search_without_end(2);
    module_.expect_normal_mode();
    desk_.clock()->on_sleep([](int sleeps) {
        if (sleeps == 13) RD_CancelWait();
    });
    const Read read = read_info(nullptr, 0);
    EXPECT_EQ(read.result, -1006);
    EXPECT_TRUE(read.is_untouched());
    EXPECT_EQ(desk_.clock()->sleeps().size(), 13u);
    EXPECT_EQ(own_messages(log_),
              (Messages{"Error:Canceled!\r\n", "Error:iErrorCode = -1006\r\n"}));
}

TEST_F(IdCardWait, BaudRateOverUsbIsLoggedAndNotChanged) {
    config_.write("[devcfg]\nIdBaud=57600\n");
    module_.expect_id_mode();
    module_.expect_reset();
    module_.expect_normal_mode();
    EXPECT_EQ(RD_IdReset(), 0);
    Messages rates;
    for (const std::string& message : log_.messages()) {
        if (message.starts_with("Info:iBaud")) rates.push_back(message);
    }
    EXPECT_EQ(rates, (Messages{"Info:iBaud = 57600, iDevBaud = 9600\r\n",
                               "Info:iBaud = 9600, iDevBaud = 9600\r\n"}));
}

TEST_F(IdCardWait, ReaderThatIsNotThere) {
    DC_Init(&context);
    EXPECT_EQ(RD_IdReset(), -1003);
    EXPECT_EQ(read_info().result, -1003);
}

// A real line whose rate the test looks at while the reader answers.
class IdCardLine : public testing::Test {
  protected:
    IdCardLine() { config_.write("[devcfg]\nIdBaud=115200\n"); }

    speed_t rate() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(line_.master(), &settings), 0);
        return cfgetospeed(&settings);
    }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedSerial line_;
    kit::IdModule module_{line_, Link::serial};
};

TEST_F(IdCardLine, RunsAtTheIdBaudRateAndBack) {
    GSetComName(3, line_.device().c_str());
    ASSERT_EQ(RD_Open(3, 9600, 0), 0);
    module_.expect_mode(hex("1B 24 53 34"), {});
    module_.expect("10 FF", "00 00 60");
    module_.expect_normal_mode();
    EXPECT_EQ(RD_IdReset(), -3000);
    line_.verify();
    EXPECT_EQ(rate(), static_cast<speed_t>(B9600));
    EXPECT_EQ(DC_GetCOMBaud(&context), 9600u);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    EXPECT_TRUE(log_.has("Info:iBaud = 115200, iDevBaud = 9600\r\n"));
    EXPECT_TRUE(log_.has("Info:iBaud = 9600, iDevBaud = 115200\r\n"));
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(IdCardLine, CancelBringsTheRateBack) {
    GSetComName(3, line_.device().c_str());
    ASSERT_EQ(RD_Open(3, 9600, 0), 0);
    module_.expect_mode(hex("1B 24 53 34"), {});
    module_.expect_reset();
    module_.expect_no_card();
    module_.expect_normal_mode();
    speed_t rate_while_waiting = 0;
    std::jthread other([&] {
        std::this_thread::sleep_for(300ms);
        rate_while_waiting = rate();
        RD_CancelWait();
    });
    EXPECT_EQ(read_pic(nullptr, 0).result, -1006);
    other.join();
    line_.verify();
    EXPECT_EQ(rate_while_waiting, static_cast<speed_t>(B115200));
    EXPECT_EQ(rate(), static_cast<speed_t>(B9600));
    EXPECT_EQ(RD_Close(), 0);
}

TEST_F(IdCardLine, WhatStandsBeforeTheModulesAnswerHidesIt) {
    config_.write("[devcfg]\nIdBaud=9600\n");
    GSetComName(3, line_.device().c_str());
    ASSERT_EQ(RD_Open(3, 9600, 0), 0);
    // The mode command takes the first two bytes for its answer.
    line_.send(hex("53 00 53 00"));
    module_.expect_id_mode();
    module_.expect_reset();
    module_.expect_normal_mode();
    EXPECT_EQ(RD_IdReset(), -3000);
    line_.verify();
    EXPECT_EQ(RD_Close(), 0);
}

}  // namespace
