#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using kit::Link;

constexpr char read_mark[] = "\x3F\x1C";
constexpr char write_mark[] = "rp/q";

struct Reply {
    int result;
    Bytes out;
};

Reply send_l(const Bytes& command, int room, int expected, int timeout_ms = 1000) {
    Bytes out(2048, '#');
    const int result = RAWL_SendCmd(&context, command.data(), static_cast<int>(command.size()),
                                    out.data(), room, expected, timeout_ms);
    return {result, out};
}

Reply send_c(const Bytes& command, int room, const char* mark, int timeout_ms = 1000) {
    Bytes out(2048, '#');
    const int result = RAWC_SendCmd(&context, command.data(), static_cast<int>(command.size()),
                                    out.data(), room, mark, timeout_ms);
    return {result, out};
}

class Escape : public testing::TestWithParam<Link> {
  protected:
    // A read of known length waits 1000 microseconds on a serial line, where the other end is a
    // thread.
    static int patience() { return GetParam() == Link::serial ? 500'000 : 1000; }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, Escape, testing::Values(Link::hid, Link::serial), kit::link_name);

TEST_P(Escape, CommandWithoutAReply) {
    desk_->expect_silence(1, hex("1B 53"));
    const Reply reply = send_l(hex("1B 53"), 256, 0);
    EXPECT_EQ(reply.result, 2) << "what was written";
    EXPECT_EQ(reply.out[0], '#');
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Info:Send Cmd: \x1BS\r\n"});
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(Escape, CommandWithAReplyOfKnownLength) {
    desk_->expect(1, hex("1B 24 42 30"), hex("42 00"));
    const Reply reply = send_l(hex("1B 24 42 30"), 256, 2, patience());
    EXPECT_EQ(reply.result, 2);
    EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + 3), hex("42 00 23"));
    EXPECT_EQ(log_.messages().back(), "Info:Read Pack(len=2): 4200\r\n");
}

TEST_P(Escape, MissingReplyTimesOut) {
    desk_->expect_silence(1, hex("1B 24 42 30"));
    EXPECT_EQ(send_l(hex("1B 24 42 30"), 256, 2, 100).result, -62);
    EXPECT_EQ(log_.messages().back(), "Info:Read Pack(len=0): \r\n");
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(Escape, ReadsUpToTheEndOfATrackReply) {
    desk_->expect(1, hex("1B 5D"), hex("1B 73 31 32 33 3F 1C"));
    const Reply reply = send_c(hex("1B 5D"), 256, read_mark);
    ASSERT_GE(reply.result, 7);
    EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + 7), hex("1B 73 31 32 33 3F 1C"));
}

TEST_P(Escape, EndMarkMayBeSplit) {
    if (GetParam() == Link::hid) {
        // Split over two reports: the first one is full.
        Bytes reply = kit::join({hex("1B 73"), Bytes(59, '1'), hex("3F 1C")});
        desk_->expect(1, hex("1B 5D"), reply);
        EXPECT_EQ(send_c(hex("1B 5D"), 256, read_mark).result, 124);
    } else {
        desk_->expect_pieces(1, hex("1B 5D"), {hex("1B 73 31 3F"), hex("1C")});
        EXPECT_EQ(send_c(hex("1B 5D"), 256, read_mark).result, 5);
    }
}

TEST_P(Escape, ReadsUpToTheEndOfAWriteReply) {
    for (const char* text : {"1B 72 70", "1B 72 71", "1B 42 72 70", "1B 54 72 70", "1B 54 72 71"}) {
        desk_->expect(1, hex("1B 74 31"), hex(text));
        const Reply reply = send_c(hex("1B 74 31"), 256, write_mark);
        const Bytes expected = hex(text);
        ASSERT_GE(reply.result, static_cast<int>(expected.size()));
        EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + static_cast<long>(expected.size())),
                  expected);
    }
}

TEST_P(Escape, UnknownMarkReadsNothingAndGivesZeros) {
    desk_->expect_silence(1, hex("1B 5D 31"));
    const Reply reply = send_c(hex("1B 5D 31"), 256, "?");
    EXPECT_EQ(reply.result, 3);
    EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + 4), hex("00 00 00 23"));
    desk_->expect_silence(1, hex("1B 5D 31"));
    EXPECT_EQ(send_c(hex("1B 5D 31"), 2, "?").result, -22);
}

TEST_P(Escape, UnknownMarkWithALongCommandStaysWithinItsBuffers) {
    const Bytes command(1500, 0x31);
    desk_->expect_silence(1, command);
    const Reply reply = send_c(command, 2048, "?", 5000);
    EXPECT_EQ(reply.result, 1500);
    EXPECT_EQ(reply.out[1499], 0x00);
    EXPECT_EQ(reply.out[1500], '#');
}

TEST_P(Escape, ReplyLongerThanTheRoomIsRefused) {
    desk_->expect(1, hex("1B 5D"), hex("1B 73 31 32 33 3F 1C"));
    const Reply reply = send_c(hex("1B 5D"), 6, read_mark);
    EXPECT_EQ(reply.result, -22);
    EXPECT_EQ(reply.out[0], '#');
}

TEST_P(Escape, ReadsAtMost1024Bytes) {
    desk_->expect(1, hex("1B 24"), Bytes(30, 0x55));
    const Reply reply = send_l(hex("1B 24"), 2048, 2000, patience());
    EXPECT_GE(reply.result, 1);
    EXPECT_LE(reply.result, 1024);
}

TEST_P(Escape, CancelEndsAReadWithAnEndTest) {
    if (GetParam() == Link::hid) return;  // this script has one thread
    desk_->expect_silence(1, hex("1B 5D"));
    std::jthread canceller([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        COMM_cancle();
    });
    EXPECT_EQ(send_c(hex("1B 5D"), 256, read_mark, 10'000).result, -125);
}

TEST_P(Escape, ArgumentsAreCheckedBeforeOpening) {
    unsigned char out[4];
    const Bytes command = hex("1B 53");
    EXPECT_EQ(RAWL_SendCmd(&context, nullptr, 2, out, 4, 0, 1), -22);
    EXPECT_EQ(RAWL_SendCmd(&context, command.data(), 2, nullptr, 4, 0, 1), -22);
    EXPECT_EQ(RAWL_SendCmd(&context, command.data(), 2, out, 4, 5, 1), -22);
    EXPECT_EQ(RAWL_SendCmd(&context, command.data(), 0, out, 4, 0, 1), -22);
    EXPECT_EQ(RAWL_SendCmd(&context, command.data(), 2, out, 0, 0, 1), -22);
    EXPECT_EQ(RAWL_SendCmd(&context, command.data(), 2, out, 4, -1, 1), -22);
    EXPECT_EQ(RAWC_SendCmd(&context, nullptr, 2, out, 4, read_mark, 1), -22);
    EXPECT_EQ(RAWC_SendCmd(&context, command.data(), 2, nullptr, 4, read_mark, 1), -22);
    EXPECT_EQ(RAWC_SendCmd(&context, command.data(), 2, out, 4, nullptr, 1), -22);
    EXPECT_EQ(RAWC_SendCmd(&context, command.data(), 0, out, 4, read_mark, 1), -22);
    EXPECT_EQ(RAWC_SendCmd(&context, command.data(), 2, out, 0, read_mark, 1), -22);
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr);
}

TEST_P(Escape, TraceShowsTheCommandUpToItsFirstZero) {
    desk_->expect_silence(1, hex("1B 41 00 42"));
    EXPECT_EQ(send_l(hex("1B 41 00 42"), 256, 0).result, 4);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Info:Send Cmd: \x1B"
                                                        "A\r\n"});
}

TEST_P(Escape, TraceOfAnUnknownMarkShowsZeros) {
    desk_->expect_silence(1, hex("1B 5D 31"));
    send_c(hex("1B 5D 31"), 256, "?");
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{"Info:Send Cmd: \x1B]1\r\n",
                                                         "Info:Read Pack(len=3): 000000\r\n"}));
}

TEST_P(Escape, MarksAreComparedAsWholeTexts) {
    for (const char* mark : {"", "\x3F", "\x3F\x1C\x41", "rp", "rp/", "rp/qq", "RP/Q"}) {
        desk_->expect_silence(1, hex("1B 5D"));
        EXPECT_EQ(send_c(hex("1B 5D"), 256, mark).result, 2) << mark;
    }
}

TEST_P(Escape, ReplyMayFillTheRoom) {
    desk_->expect(1, hex("1B 24"), hex("42 00"));
    const Reply reply = send_l(hex("1B 24"), 2, 2, patience());
    EXPECT_EQ(reply.result, 2);
    EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + 3), hex("42 00 23"));
    // On HID the filler of the report counts.
    const int size = GetParam() == Link::hid ? 62 : 4;
    desk_->expect(1, hex("1B 5D"), hex("1B 73 3F 1C"));
    EXPECT_EQ(send_c(hex("1B 5D"), size, read_mark).result, size);
    desk_->expect(1, hex("1B 5D"), hex("1B 73 3F 1C"));
    EXPECT_EQ(send_c(hex("1B 5D"), size - 1, read_mark).result, -22);
}

TEST_P(Escape, ReplyWithoutAnEndStopsAt1024Bytes) {
    desk_->expect(1, hex("1B 5D"), Bytes(1100, 0x31));
    const Reply reply = send_c(hex("1B 5D"), 2048, read_mark);
    EXPECT_EQ(reply.result, 1024);
    EXPECT_EQ(Bytes(reply.out.begin(), reply.out.begin() + 1024), Bytes(1024, 0x31));
    EXPECT_EQ(reply.out[1024], '#');
    EXPECT_EQ(log_.messages().back(), [] {
        std::string line = "Info:Read Pack(len=1024): ";
        for (int i = 0; i < 1024; ++i)
            line += "31";
        return line + "\r\n";
    }());
}

TEST_P(Escape, AnOpenDeviceStaysOpen) {
    ASSERT_EQ(COMM_Open(&context), 0);
    desk_->expect_silence(1, hex("1B 53"));
    EXPECT_EQ(send_l(hex("1B 53"), 256, 0).result, 2);
    desk_->expect(1, hex("1B 5D"), hex("3F 1C"));
    EXPECT_GE(send_c(hex("1B 5D"), 256, read_mark).result, 2);
    EXPECT_EQ(context.nRefCnt, 1u);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    COMM_Close(&context);
}

TEST_P(Escape, OpenFailureIsReturned) {
    DC_Init(&context);
    EXPECT_EQ(send_l(hex("1B 53"), 256, 0).result, -19);
    EXPECT_EQ(send_c(hex("1B 53"), 256, read_mark).result, -19);
    EXPECT_TRUE(log_.messages().empty());
    unsigned char out[4];
    EXPECT_EQ(RAWL_SendCmd(nullptr, hex("1B 53").data(), 2, out, 4, 0, 1), -19);
    EXPECT_EQ(RAWC_SendCmd(nullptr, hex("1B 53").data(), 2, out, 4, read_mark, 1), -19);
}

// What goes wrong on a USB bus, with the clock in the test's hand.
class EscapeOnABadBus : public testing::Test {
  protected:
    EscapeOnABadBus() { kit::prepare_hid(&context); }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(EscapeOnABadBus, ShortWriteIsReturnedAndNothingRead) {
    const Bytes command(130, 0x31);
    clock_.tick(std::chrono::milliseconds(60));
    reader_.expect(1, Bytes(62, 0x31), hex("42 00"));
    const Reply reply = send_l(command, 256, 2, 100);
    EXPECT_EQ(reply.result, 62);
    EXPECT_EQ(reply.out[0], '#');
    EXPECT_EQ(log_.messages().size(), 1u) << "no trace of a read";
    EXPECT_EQ(context.nRefCnt, 0u);
    reader_.expect(1, Bytes(62, 0x31), hex("3F 1C"));
    EXPECT_EQ(send_c(command, 256, read_mark, 100).result, 62);
    reader_.expect_silence(1, command);
    EXPECT_EQ(send_c(command, 256, "?", 0).result, 130) << "without a limit all goes out";
}

TEST_F(EscapeOnABadBus, ReadErrorIsReturned) {
    reader_.break_with(-5);
    const Reply known = send_l(hex("1B 24 42 30"), 256, 2);
    EXPECT_EQ(known.result, -5) << "as the bus gave it";
    EXPECT_EQ(known.out[0], '#');
    EXPECT_EQ(log_.messages().back(), "Info:Read Pack(len=0): \r\n");
    const Reply until = send_c(hex("1B 5D"), 256, read_mark);
    EXPECT_EQ(until.result, -1) << "a read with an end test knows one error";
    EXPECT_EQ(until.out[0], '#');
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_F(EscapeOnABadBus, TimeLimitGoesDownAsItIs) {
    auto begin = clock_.monotonic_ms();
    reader_.expect_silence(1, hex("1B 24"));
    EXPECT_EQ(send_l(hex("1B 24"), 256, 2, 1234).result, -62);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 1234u);
    begin = clock_.monotonic_ms();
    reader_.expect_silence(1, hex("1B 5D"));
    EXPECT_EQ(send_c(hex("1B 5D"), 256, read_mark, 1230).result, -62);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 1230u);
}

TEST_F(EscapeOnABadBus, ModeIdIsSetEvenIfTheReaderIsGone) {
    kit::hid_bus::unplug(reader_);
    EXPECT_EQ(send_l(hex("1B 53"), 256, 0).result, -2);
    EXPECT_EQ(DC_GetModeId(&context), 1);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_F(EscapeOnABadBus, RefusedArgumentsLeaveTheModeId) {
    EXPECT_EQ(send_l(hex("1B 53"), 1, 2).result, -22);
    EXPECT_EQ(DC_GetModeId(&context), 0);
    EXPECT_TRUE(reader_.reports().empty());
}

TEST(EscapeOnALostLine, WriteErrorIsReturned) {
    const kit::ConfigFile config;
    const kit::LogFile log;
    auto line = std::make_unique<kit::ScriptedSerial>();
    kit::prepare_serial(&context, *line);
    ASSERT_EQ(COMM_Open(&context), 0);
    line.reset();
    EXPECT_EQ(send_l(hex("1B 24"), 256, 2).result, -1);
    EXPECT_EQ(send_c(hex("1B 5D"), 256, read_mark).result, -1);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"Info:Send Cmd: \x1B$\r\n", "Info:Send Cmd: \x1B]\r\n"}));
    EXPECT_EQ(context.nRefCnt, 1u);
    COMM_Close(&context);
}

TEST(EscapeModeId, IsOneUnlessDevtypeSaysOtherwise) {
    const kit::ConfigFile config("[devcfg]\ndevtype=7\n");
    kit::ScriptedDesk desk(Link::hid);
    desk->expect_silence(0, hex("1B 53"));
    EXPECT_EQ(send_l(hex("1B 53"), 256, 0).result, 2);
    EXPECT_EQ(DC_GetModeId(&context), 0);
    config.write("");
    desk->expect_silence(1, hex("1B 53"));
    EXPECT_EQ(send_l(hex("1B 53"), 256, 0).result, 2);
    EXPECT_EQ(DC_GetModeId(&context), 1) << "it stays in the context";
}

TEST(EndTests, FindTheirPairsAnywhere) {
    const auto ask = [](auto test, const char* text) {
        Bytes bytes = hex(text);
        return test(bytes.data(), static_cast<unsigned>(bytes.size()));
    };
    EXPECT_EQ(ask(MsrPacketIsEnd, "1B 73 3F 1C"), 1);
    EXPECT_EQ(ask(MsrPacketIsEnd, "3F 1C 00 00"), 1);
    EXPECT_EQ(ask(MsrPacketIsEnd, "3F 00 1C"), 0);
    EXPECT_EQ(ask(MsrPacketIsEnd, "3F 3F 1C"), 1);
    EXPECT_EQ(ask(MsrPacketIsEnd, "1C"), 0);
    EXPECT_EQ(ask(MsrPacketIsEnd, "3F"), 0);
    EXPECT_EQ(ask(MsrPacketIsEnd, ""), 0);
    EXPECT_EQ(ask(MsrWriteIsEnd, "1B 42 72 70"), 1);
    EXPECT_EQ(ask(MsrWriteIsEnd, "1B 72 71"), 1);
    EXPECT_EQ(ask(MsrWriteIsEnd, "72 72 71 00"), 1);
    EXPECT_EQ(ask(MsrWriteIsEnd, "72 73"), 0);
    EXPECT_EQ(ask(MsrWriteIsEnd, "72"), 0);
    EXPECT_EQ(ask(MsrWriteIsEnd, "70"), 0);
    EXPECT_EQ(ask(MsrWriteIsEnd, ""), 0);
}

}  // namespace
