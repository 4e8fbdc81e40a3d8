// Whole exchanges in both frames over both links.
#include "protocol/exchange.h"

#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using kit::Link;

struct Exchange {
    int result;
    Bytes reply;
};

using Send = decltype(&VexoIc_SendCmd);

Exchange send(Send function, const Bytes& command, int room = 256, int timeout_ms = 100) {
    Bytes reply(static_cast<std::size_t>(room) + 1, '#');
    const int result = function(&context, command.data(), static_cast<int>(command.size()),
                                reply.data(), room, timeout_ms);
    EXPECT_EQ(reply.back(), '#') << "written past the room";
    reply.resize(static_cast<std::size_t>(std::max(result, 0)));
    return {result, reply};
}

Bytes ic_wire(const char* text) {
    return kit::join({ascii(text), {0x03}});
}
Bytes union_wire(const char* text) {
    return kit::join({{0x02}, ascii(text), {0x03}});
}

class Frames : public testing::TestWithParam<Link> {
  protected:
    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, Frames, testing::Values(Link::hid, Link::serial), kit::link_name);

TEST_P(Frames, IcExchangeSendsAndTakesTheReply) {
    desk_->expect(2, hex("36 30 30 32 45 31 30 31 38 32 03"), ic_wire("6003009000F3"));
    const Exchange exchange = send(VexoIc_SendCmd, hex("E1 01"));
    EXPECT_EQ(exchange.result, 3);
    EXPECT_EQ(exchange.reply, hex("00 90 00"));
    EXPECT_TRUE(log_.has("Info:Send szPackage: 3630303245313031383203\r\n"));
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_P(Frames, UnionExchangeSendsAndTakesTheReply) {
    desk_->expect(2, union_wire("0005322200000010"), union_wire("000400003;003;"));
    const Exchange exchange = send(Union_SendCmd, hex("32 22 00 00 00"));
    EXPECT_EQ(exchange.result, 4);
    EXPECT_EQ(exchange.reply, hex("00 00 3B 00"));
    EXPECT_EQ(log_.messages()[0], "Info:Cmd: 2\", CmdSize = 5\r\n")
        << "the command up to its first zero byte";
    EXPECT_TRUE(log_.has("Info:Send szPackage: 023030303533323232303030303030313003\r\n"));
}

TEST_P(Frames, NoiseIsSkippedAndWhatFollowsIsDropped) {
    desk_->expect(2, ic_wire("6002E10182"),
                  kit::join({ascii("xx"), ic_wire("6003009000F3"), ascii("60")}));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).reply, hex("00 90 00"));
    desk_->expect(2, union_wire("0001=1=1"), kit::join({ascii("xx"), union_wire("000200001")}));
    EXPECT_EQ(send(Union_SendCmd, hex("D1")).reply, hex("00 00"));
}

TEST_P(Frames, ReplyInPiecesIsGathered) {
    desk_->expect_pieces(2, ic_wire("6002E10182"),
                         {ascii("600"), ascii("3009"), ascii("000F3"), hex("03")});
    const Exchange exchange = send(VexoIc_SendCmd, hex("E1 01"), 256, 2000);
    // On HID each piece is a report filled with zeros, and "600" with them is a reply of nought
    // bytes.
    EXPECT_EQ(exchange.reply, GetParam() == Link::serial ? hex("00 90 00") : Bytes{});
}

TEST_P(Frames, SilenceIsAMalformedReply) {
    desk_->expect_silence(2, ic_wire("6002E10182"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01"), 256, 30).result, -74);
    EXPECT_TRUE(log_.has("Info:Read Pack(len=11): 0000000000000000000000\r\n"))
        << "the length of what was sent";
    desk_->expect_silence(2, union_wire("0001=1=1"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 256, 30).result, -74);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(Frames, ReplyThatIsNoFrameIsMalformed) {
    for (const Bytes& reply : {hex("03"), ascii("hello\x03")}) {
        desk_->expect(2, ic_wire("6002E10182"), reply);
        EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, -74);
        desk_->expect(2, union_wire("0001=1=1"), reply);
        EXPECT_EQ(send(Union_SendCmd, hex("D1")).result, -74);
    }
}

TEST_P(Frames, WrongCheckByteIsAccepted) {
    desk_->expect(2, ic_wire("6002E10182"), ic_wire("600300900000"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, 3);
}

TEST_P(Frames, RoomIsHeldAgainstTheLengthOfTheText) {
    // A reply of 124 bytes has a text of 255 characters, one of 125 has 257.
    for (const auto& [size, result] :
         {std::pair{124, 124}, std::pair{125, -22}, std::pair{130, -22}}) {
        Bytes body = {0x60, static_cast<std::uint8_t>(size)};
        body.resize(static_cast<std::size_t>(size) + 3, 0x11);
        desk_->expect(2, ic_wire("6002E10182"), ic_wire(kit::to_hex(body).c_str()));
        EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, result) << size;
    }
    desk_->expect(2, ic_wire("6002E10182"), ic_wire("6003009000F3"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01"), 12).result, -22);
    desk_->expect(2, ic_wire("6002E10182"), ic_wire("6003009000F3"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01"), 13).result, 3);
    desk_->expect(2, union_wire("0001=1=1"), union_wire("0003112233"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 11).result, -22);
}

TEST_P(Frames, RoomForTheTextIsEnoughInTheUnionFrameToo) {
    desk_->expect(2, union_wire("0001=1=1"), union_wire("0003112233"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 12).result, 3);
    desk_->expect(2, union_wire("0001=1=1"), union_wire("0003112233"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 2).result, -22) << "shorter than the reply itself";
    desk_->expect(2, ic_wire("6001D1B0"), ic_wire("6003009000F3"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 2).result, -22);
}

TEST_P(Frames, LongReplyComesBehindAZeroByteAndLosesItsLast) {
    Bytes data(257);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<std::uint8_t>(0x10 + i % 16);
    const Bytes body = kit::join({hex("60 FF B2"), data, hex("00")});
    const Bytes answer = ic_wire(kit::to_hex(body).c_str());
    ASSERT_EQ(answer.size(), 523u);
    desk_->expect(2, ic_wire("6001D1B0"), answer);
    const Exchange exchange = send(VexoIc_SendCmd, hex("D1"), 523, 1000);
    EXPECT_EQ(exchange.result, 257);
    EXPECT_EQ(exchange.reply, kit::join({hex("00"), Bytes(data.begin(), data.begin() + 256)}));
    desk_->expect(2, ic_wire("6001D1B0"), answer);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 522, 1000).result, -22);
}

TEST_P(Frames, ReplyWithoutAnEndIsMalformed) {
    desk_->expect(2, ic_wire("6001D1B0"), kit::join({ascii("60"), Bytes(2100, '1')}));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 4096, 1000).result, -74);
    desk_->expect(2, union_wire("0001=1=1"), kit::join({{0x02}, Bytes(2100, '1')}));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 4096, 1000).result, -74);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(Frames, ReplyMayEndWithTheLastByteOfTheBuffer) {
    const Bytes ic = kit::join({ascii("6003009000"), Bytes(2037, '0'), {0x03}});
    ASSERT_EQ(ic.size(), 2048u);
    desk_->expect(2, ic_wire("6001D1B0"), ic);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 4096, 1000).reply, hex("00 90 00"));
    desk_->expect(2, ic_wire("6001D1B0"), ic);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 2047, 1000).result, -22);
}

TEST_P(Frames, UnionReplyOfNoBytesIsNought) {
    desk_->expect(2, union_wire("0001=1=1"), union_wire("000000"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1")).result, 0);
}

TEST_P(Frames, UnionReplyCountsLowNibblesAndNoCheckByte) {
    desk_->expect(2, union_wire("0001=1=1"), union_wire("@@@DPPPPsKc@Zz"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1")).reply, hex("00 00 3B 30"));
}

TEST_P(Frames, UnionReplyLongerThanTheRoomIsRefused) {
    desk_->expect(2, union_wire("0001=1=1"), union_wire("?\?\?\?00"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 4096).result, -22);
}

TEST_P(Frames, LongestUnionCommandFillsItsFrame) {
    // 1020 bytes are 03FC; their XOR is nought.
    const Bytes frame = kit::join({{0x02}, ascii("03?<"), Bytes(2042, '0'), {0x03}});
    ASSERT_EQ(frame.size(), 2048u);
    desk_->expect(2, frame, union_wire("0002000000"));
    EXPECT_EQ(send(Union_SendCmd, Bytes(1020, 0x00), 256, 5000).result, 2);
}

TEST_P(Frames, CommandThatFitsNoFrameIsNotSent) {
    EXPECT_EQ(send(Union_SendCmd, Bytes(1021, 0x41), 4096).result, -22);
    EXPECT_EQ(log_.messages(), std::vector<std::string>{"Info:Cmd: " + std::string(1021, 'A') +
                                                        ", CmdSize = 1021\r\n"});
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_P(Frames, RefusedCommandsLeaveTheContextAlone) {
    const unsigned char mode_before = DC_GetModeId(&context);
    EXPECT_EQ(send(VexoIc_SendCmd, Bytes(256, 0x00)).result, -22);
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr);
    EXPECT_EQ(DC_GetModeId(&context), mode_before);
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(Frames, LongestCommands) {
    const Bytes command(255, 0x00);
    Bytes body = {0x60, 0xFF};
    body.resize(257);
    body.push_back(0x60 ^ 0xFF);
    desk_->expect(2, ic_wire(kit::to_hex(body).c_str()), ic_wire("60010061"));
    EXPECT_EQ(send(VexoIc_SendCmd, command, 256, 1000).result, 1);
    EXPECT_EQ(send(VexoIc_SendCmd, Bytes(256, 0x00)).result, -22) << "before anything is opened";

    Bytes frame = kit::join({{0x02}, ascii("012<")});
    frame.resize(frame.size() + 602, '0');
    frame.push_back(0x03);
    desk_->expect(2, frame, union_wire("0002000000"));
    EXPECT_EQ(send(Union_SendCmd, Bytes(300, 0x00), 256, 1000).result, 2);
    EXPECT_EQ(send(Union_SendCmd, Bytes(1021, 0x00), 256).result, -22);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(Frames, ArgumentsAreCheckedBeforeOpening) {
    unsigned char reply[256];
    const Bytes command = hex("E1 01");
    for (const Send function : {VexoIc_SendCmd, Union_SendCmd}) {
        EXPECT_EQ(function(&context, nullptr, 2, reply, 256, 100), -22);
        EXPECT_EQ(function(&context, command.data(), 2, nullptr, 256, 100), -22);
        EXPECT_EQ(function(&context, command.data(), 0, reply, 256, 100), -22);
        EXPECT_EQ(function(&context, command.data(), -1, reply, 256, 100), -22);
        EXPECT_EQ(function(&context, command.data(), 2, reply, 0, 100), -22);
        EXPECT_EQ(function(&context, command.data(), 2, reply, -1, 100), -22);
    }
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr);
}

TEST_P(Frames, OpenFailureIsReturned) {
    DC_Init(&context);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, -19);
    EXPECT_EQ(send(Union_SendCmd, hex("E1 01")).result, -19);
    DC_SetInterfaceType(&context, "com");
    DC_SetCOMParams(&context, 12, 9600);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, -2);
    EXPECT_EQ(VexoIc_SendCmd(nullptr, hex("E1").data(), 1, hex("00").data(), 1, 1), -19);
}

TEST_P(Frames, AnOpenDeviceStaysOpen) {
    COMM_Open(&context);
    desk_->expect(2, ic_wire("6001D1B0"), ic_wire("60010061"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, 1);
    EXPECT_EQ(context.nRefCnt, 1u);
    EXPECT_EQ(DC_IsOpen(&context), 1);
    COMM_Close(&context);
}

TEST_P(Frames, TracesCostNothingWhenOff) {
    GSetLogLevel(1);
    desk_->expect(2, ic_wire("6001D1B0"), ic_wire("60010061"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, 1);
    EXPECT_TRUE(log_.messages().empty());
}

// What goes wrong on a USB bus, with the clock in the test's hand.
class FramesOnABadBus : public testing::Test {
  protected:
    FramesOnABadBus() { kit::prepare_hid(&context); }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(FramesOnABadBus, ReadErrorIsAMalformedReply) {
    reader_.break_with(-1);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("E1 01")).result, -74);
    EXPECT_EQ(send(Union_SendCmd, hex("D1")).result, -74);
    EXPECT_TRUE(log_.has("Info:Read Pack(len=11): 0000000000000000000000\r\n"));
    EXPECT_TRUE(log_.has("Info:Read Pack(len=10): 00000000000000000000\r\n"));
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_F(FramesOnABadBus, TimeLimitGoesDownAsItIs) {
    const auto begin = clock_.monotonic_ms();
    reader_.expect_silence(2, ic_wire("6001D1B0"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1"), 256, 1230).result, -74);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 1230u);
    reader_.expect_silence(2, union_wire("0001=1=1"));
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 256, 2340).result, -74);
    EXPECT_EQ(clock_.monotonic_ms() - begin, 1230u + 2340u);
}

TEST_F(FramesOnABadBus, ShortWriteIsReturnedAndNothingRead) {
    clock_.tick(std::chrono::milliseconds(60));
    const Bytes command(60, 0x00);
    Bytes frame = ascii("603C");
    frame.resize(62, '0');
    reader_.expect(2, frame, ic_wire("6003009000F3"));
    EXPECT_EQ(send(VexoIc_SendCmd, command, 4096, 100).result, 62);
    EXPECT_EQ(log_.messages().size(), 1u) << "no trace of a read";
    EXPECT_EQ(context.nRefCnt, 0u);
    frame = kit::join({{0x02}, ascii("003<")});
    frame.resize(62, '0');
    reader_.expect(2, frame, union_wire("0002000000"));
    EXPECT_EQ(send(Union_SendCmd, command, 4096, 100).result, 62);
    EXPECT_EQ(log_.messages().size(), 3u);
}

TEST_F(FramesOnABadBus, ModeIdIsSetEvenIfTheReaderIsGone) {
    kit::hid_bus::unplug(reader_);
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, -2);
    EXPECT_EQ(DC_GetModeId(&context), 2);
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_TRUE(log_.messages().empty());
}

// A reader at which the host cancels while it waits.
class Cancelling final : public kit::HidDevice {
  public:
    Cancelling() { kit::hid_bus::plug(*this); }
    ~Cancelling() override { kit::hid_bus::unplug(*this); }

    int write(std::span<const std::uint8_t> report) override {
        return static_cast<int>(report.size());
    }
    int read(std::span<std::uint8_t>, int) override {
        ++reads;
        COMM_cancle();
        return 0;
    }

    int reads = 0;
};

TEST(FrameCancel, IsAMalformedReplyToo) {
    const kit::ConfigFile config;
    for (const Send function : {VexoIc_SendCmd, Union_SendCmd}) {
        Cancelling reader;
        kit::prepare_hid(&context);
        EXPECT_EQ(send(function, hex("D1"), 256, 60'000).result, -74);
        EXPECT_EQ(reader.reads, 1);
        EXPECT_EQ(DC_IsOpen(&context), 0);
    }
}

TEST(FramesOnALostLine, WriteErrorIsReturned) {
    const kit::ConfigFile config;
    auto line = std::make_unique<kit::ScriptedSerial>();
    kit::prepare_serial(&context, *line);
    ASSERT_EQ(COMM_Open(&context), 0);
    line.reset();
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, -1);
    EXPECT_EQ(send(Union_SendCmd, hex("D1")).result, -1);
    EXPECT_EQ(context.nRefCnt, 1u);
    COMM_Close(&context);
}

TEST(FrameEnd, IsAny03AmongTheBytesThatCame) {
    const auto ask = [](const char* text, unsigned length) {
        Bytes bytes = hex(text);
        return deskreader::protocol::has_frame_end(bytes.data(), length);
    };
    EXPECT_EQ(ask("03", 1), 1);
    EXPECT_EQ(ask("36 30 03", 3), 1);
    EXPECT_EQ(ask("36 03 30", 3), 1);
    EXPECT_EQ(ask("36 30 03", 2), 0) << "what stands behind them does not count";
    EXPECT_EQ(ask("36 30 33", 3), 0) << "the digit is none";
    EXPECT_EQ(ask("03", 0), 0);
}

class ModeId : public testing::Test {
  protected:
    kit::ScriptedDesk desk_{Link::hid};
};

TEST_F(ModeId, IsTwoForFramesUnlessDevtypeSaysOtherwise) {
    const kit::ConfigFile config("[devcfg]\ndevtype=0\n");
    desk_->expect(2, ic_wire("6001D1B0"), ic_wire("60010061"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, 1);
    for (const char* other : {"1", "2", "-1"}) {
        config.write(std::string("[devcfg]\ndevtype=") + other + "\n");
        desk_->expect(0, ic_wire("6001D1B0"), ic_wire("60010061"));
        EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, 1);
        desk_->expect(0, union_wire("0001=1=1"), union_wire("0002000000"));
        EXPECT_EQ(send(Union_SendCmd, hex("D1")).result, 2);
    }
}

TEST_F(ModeId, SerialLinesHaveNone) {
    const kit::ConfigFile config;
    kit::ScriptedDesk serial(Link::serial);
    serial->expect(0, ic_wire("6001D1B0"), ic_wire("60010061"));
    EXPECT_EQ(send(VexoIc_SendCmd, hex("D1")).result, 1);
    EXPECT_EQ(DC_GetCOMBaud(&context), 9600u);
}

TEST(FrameTraces, ShowWhatWasSentAndRead) {
    const kit::ConfigFile config;
    const kit::LogFile log;
    kit::ScriptedDesk desk(Link::serial);
    desk->expect(0, ic_wire("6001D1B0"), ic_wire("6003009000F3"));
    send(VexoIc_SendCmd, hex("D1"));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                  "Info:Send szPackage: 363030314431423003\r\n",
                                  "Info:Read Pack(len=13): 36303033303039303030463303\r\n",
                              }));
}

TEST(FrameTraces, OfTheUnionFrameBeginWithTheCommandAsText) {
    const kit::ConfigFile config;
    const kit::LogFile log;
    kit::ScriptedDesk desk(Link::serial);
    desk->expect(0, union_wire("0002003131"), union_wire("000400003;003;"));
    send(Union_SendCmd, hex("00 31"));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                  "Info:Cmd: , CmdSize = 2\r\n",
                                  "Info:Send szPackage: 023030303230303331333103\r\n",
                                  "Info:Read Pack(len=16): 0230303034303030303"
                                  "33B3030333B03\r\n",
                              }));
}

TEST(FrameTraces, ShowAtMost1024BytesOfAReply) {
    const kit::ConfigFile config;
    const kit::LogFile log;
    kit::ScriptedDesk desk(Link::serial);
    Bytes reply = kit::join({{0x02}, ascii("0002000000")});
    reply.resize(1500, '0');
    reply.push_back(0x03);
    desk->expect(0, union_wire("0001=1=1"), reply);
    EXPECT_EQ(send(Union_SendCmd, hex("D1"), 4096, 1000).result, 2);
    EXPECT_EQ(log.messages().back().size(),
              std::string("Info:Read Pack(len=1501): ").size() + 2048 + 2);
}

}  // namespace
