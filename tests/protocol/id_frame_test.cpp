// The ID frame: its parts as functions of bytes, and whole exchanges over both links.
#include "protocol/id_frame.h"

#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Link;
namespace id_frame = deskreader::id_frame;

// What a function made of its output, '#' where nothing was written.
struct Result {
    int number;
    Bytes bytes;
};

Result build(const Bytes& command, int room) {
    Bytes frame(static_cast<std::size_t>(room) + 1, '#');
    const int number =
        ID_MakeCmdPackage(command.data(), static_cast<int>(command.size()), frame.data(), room);
    EXPECT_EQ(frame.back(), '#') << "written past the room";
    frame.pop_back();
    return {number, frame};
}

Bytes front(const Bytes& bytes, std::size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

int is_end(Bytes bytes) {
    return VexoIdPacketIsEnd(bytes.data(), static_cast<unsigned>(bytes.size()));
}

TEST(IdFrameBuild, PutsPreambleAndLengthBeforeTheCommandAndTheirXorBehind) {
    const Result find = build(hex("20 01"), 1024);
    EXPECT_EQ(find.number, 10);
    EXPECT_EQ(front(find.bytes, 11), hex("AA AA AA 96 69 00 03 20 01 22 23"));
    const Result read = build(hex("30 10"), 1024);
    EXPECT_EQ(front(read.bytes, 10), hex("AA AA AA 96 69 00 03 30 10 23"));
    EXPECT_EQ(front(build(hex("60"), 1024).bytes, 9), hex("AA AA AA 96 69 00 02 60 62"));
    unsigned char frame[10];
    EXPECT_EQ(ID_MakeCmdPackage(frame, 0, frame, 10), 8) << "a command of no bytes";
    EXPECT_EQ(Bytes(frame, frame + 8), hex("AA AA AA 96 69 00 01 01"));
}

TEST(IdFrameBuild, WritesALongLength) {
    const Result result = build(Bytes(0x0203, 0x00), 2048);
    EXPECT_EQ(result.number, 0x0203 + 8);
    EXPECT_EQ(front(result.bytes, 8), hex("AA AA AA 96 69 02 04 00"));
    EXPECT_EQ(result.bytes[0x0203 + 7], 0x06);
}

TEST(IdFrameBuild, TakesWhatFits) {
    EXPECT_EQ(build(hex("20 01"), 12).number, 10);
    const Result refused = build(hex("20 01"), 11);
    EXPECT_EQ(refused.number, -22);
    EXPECT_EQ(refused.bytes, Bytes(11, '#'));
    EXPECT_EQ(build(Bytes(508, 0x11), 1024).number, 516);
    EXPECT_EQ(build(Bytes(509, 0x11), 1024).number, -22);
    EXPECT_EQ(build(Bytes(1021, 0x11), 4096).number, 1029);
    EXPECT_EQ(build(Bytes(1022, 0x11), 4096).number, -22);
}

TEST(IdFrameBuild, RefusesWhatIsNoCommand) {
    unsigned char bytes[64] = {};
    EXPECT_EQ(ID_MakeCmdPackage(nullptr, 2, bytes, 64), -22);
    EXPECT_EQ(ID_MakeCmdPackage(bytes, 2, nullptr, 64), -22);
    EXPECT_EQ(ID_MakeCmdPackage(bytes, -1, bytes, 64), -22);
    EXPECT_EQ(ID_MakeCmdPackage(bytes, 2, bytes, -1), -22);
}

TEST(IdFrameEnd, ComesWithAllThatTheLengthAnnounces) {
    const Bytes reply = hex("AA AA AA 96 69 00 08 00 00 9F 00 00 00 00 97");
    for (std::size_t count = 0; count < reply.size(); ++count)
        EXPECT_EQ(is_end(front(reply, count)), 0) << count;
    EXPECT_EQ(is_end(reply), 1);
    EXPECT_EQ(is_end(kit::join({reply, hex("00 00")})), 1) << "more than announced";
    EXPECT_EQ(is_end(hex("AA AA AA 96 69 00 00")), 1);
}

TEST(IdFrameEnd, ReadsTheLengthFromItsHighByteOn) {
    const Bytes header = hex("AA AA AA 96 69 05 08");
    EXPECT_EQ(is_end(kit::join({header, Bytes(0x507, 0x00)})), 0);
    EXPECT_EQ(is_end(kit::join({header, Bytes(0x508, 0x00)})), 1);
}

TEST(IdFrameEnd, NeverComesBehindNoise) {
    EXPECT_EQ(is_end(hex("00 AA AA AA 96 69 00 04 00 00 90 94")), 0);
    EXPECT_EQ(is_end(hex("AA AA AA AA 96 69 00 04 00 00 90 94")), 0);
    for (const std::size_t at : {0u, 1u, 2u, 3u, 4u}) {
        Bytes reply = hex("AA AA AA 96 69 00 04 00 00 90 94");
        reply[at] ^= 0x01;
        EXPECT_EQ(is_end(reply), 0) << at;
    }
    EXPECT_EQ(VexoIdPacketIsEnd(nullptr, 10), 0);
}

// What is taken out of a receive buffer, of 32 bytes, and how much room there was for it.
struct Taken {
    bool done;
    Bytes reply;
};

Taken take(Bytes buffer, std::size_t length, std::size_t room) {
    buffer.resize(32);
    Bytes reply(room, '#');
    const bool done = id_frame::take(buffer, length, reply);
    return {done, reply};
}

TEST(IdFrameTake, GivesWhatStandsBetweenLengthAndCheckByte) {
    const Bytes reply = hex("AA AA AA 96 69 00 05 00 00 90 7B EE");
    EXPECT_EQ(take(reply, 12, 6).reply, hex("00 00 90 7B 23 23"));
    EXPECT_EQ(take(reply, 99, 6).reply, hex("00 00 90 7B 23 23"))
        << "the reply's own length counts";
}

TEST(IdFrameTake, WantsMoreRoomThanTheReplyHas) {
    const Bytes reply = hex("AA AA AA 96 69 00 05 00 00 90 7B EE");
    const Taken refused = take(reply, 12, 4);
    EXPECT_FALSE(refused.done);
    EXPECT_EQ(refused.reply, Bytes(4, '#'));
    EXPECT_TRUE(take(reply, 12, 5).done);
}

TEST(IdFrameTake, TakesAReplyOfNoLengthForDone) {
    EXPECT_TRUE(take(hex("AA AA AA 96 69 00 00"), 7, 2).done);
    EXPECT_EQ(take(hex("AA AA AA 96 69 00 00"), 7, 2).reply, Bytes(2, '#'));
    EXPECT_EQ(take(hex("AA AA AA 96 69 00 01 01"), 8, 2).reply, Bytes(2, '#'));
}

TEST(IdFrameTake, CountsWhatWasReceivedWhereThereIsNoPreamble) {
    EXPECT_EQ(take(hex("01 02 03 04 05 06 07 08 09"), 4, 8).reply, hex("08 09 00 23 23 23 23 23"));
}

TEST(IdFrameTake, NeverGoesBeyondTheReceiveBuffer) {
    const Taken taken = take(hex("AA AA AA 96 69 00 80 01 02"), 32, 200);
    EXPECT_TRUE(taken.done);
    EXPECT_EQ(front(taken.reply, 3), hex("01 02 00"));
    EXPECT_EQ(taken.reply[24], 0x00);
    EXPECT_EQ(taken.reply[25], '#') << "32 less the 7 bytes of the header";
    EXPECT_FALSE(take(hex("AA AA AA 96 69 FF FF"), 32, 200).done);
    EXPECT_EQ(take(hex("00"), 32, 200).reply[25], '#');
}

struct Exchange {
    int result;
    Bytes reply;  // the whole room
};

Exchange send(const Bytes& command, int room = 16, int timeout_ms = 100) {
    Bytes reply(static_cast<std::size_t>(room) + 1, '#');
    const int result = ID_SendCmd(&context, command.data(), static_cast<int>(command.size()),
                                  reply.data(), room, timeout_ms);
    EXPECT_EQ(reply.back(), '#') << "written past the room";
    reply.pop_back();
    return {result, reply};
}

const Bytes find_card = hex("AA AA AA 96 69 00 03 20 01 22");
const Bytes card_found = hex("AA AA AA 96 69 00 08 00 00 9F 00 00 00 00 97");

class IdFrame : public testing::TestWithParam<Link> {
  protected:
    // What is read of an answer: input reports come whole.
    int received(int length) const {
        return GetParam() == Link::hid ? (length + 61) / 62 * 62 : length;
    }

    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, IdFrame, testing::Values(Link::hid, Link::serial), kit::link_name);

TEST_P(IdFrame, ExchangeSendsAndTakesTheReply) {
    desk_->expect(2, find_card, card_found);
    const Exchange exchange = send(hex("20 01"), 9);
    EXPECT_EQ(exchange.result, received(15));
    EXPECT_EQ(exchange.reply, hex("00 00 9F 00 00 00 00 23 23"));
    const std::string filling = GetParam() == Link::hid ? std::string(2 * (62 - 15), '0') : "";
    EXPECT_EQ(log_.messages(), (std::vector<std::string>{
                                   "Info:Send szPackage: AAAAAA96690003200122\r\n",
                                   "Info:Read Pack(len=" + std::to_string(received(15)) +
                                       "): AAAAAA9669000800009F0000000097" + filling + "\r\n"}));
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_EQ(DC_IsOpen(&context), 0);
}

TEST_P(IdFrame, ReplyMayBringTheLongestRecord) {
    const Bytes record(0x500, 0x5A);
    desk_->expect(2, hex("AA AA AA 96 69 00 03 30 01 32"),
                  kit::join({hex("AA AA AA 96 69 05 08 00 00 90 01 00 04 00"), record, {0x9D}}));
    const Exchange exchange = send(hex("30 01"), 4096, 3000);
    EXPECT_EQ(exchange.result, received(1295));
    EXPECT_EQ(front(exchange.reply, 0x508),
              kit::join({hex("00 00 90 01 00 04 00"), record, {'#'}}));
    const std::string log = log_.messages().back();
    EXPECT_NE(log.find("5A5A5A5A9D"), std::string::npos) << "the log has it to the end";
}

TEST_P(IdFrame, RoomMustExceedTheReply) {
    desk_->expect(2, find_card, card_found);
    const Exchange refused = send(hex("20 01"), 7);
    EXPECT_EQ(refused.result, -22);
    EXPECT_EQ(refused.reply, Bytes(7, '#'));
    desk_->expect(2, find_card, card_found);
    EXPECT_EQ(send(hex("20 01"), 8).result, received(15));
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(IdFrame, CheckByteIsNotVerified) {
    desk_->expect(2, find_card, hex("AA AA AA 96 69 00 04 00 00 80 FF"));
    EXPECT_EQ(front(send(hex("20 01")).reply, 4), hex("00 00 80 23"));
}

TEST_P(IdFrame, SilenceHandsOutZeros) {
    desk_->expect_silence(2, find_card);
    const Exchange silent = send(hex("20 01"), 16, 30);
    EXPECT_EQ(silent.result, -62);
    EXPECT_EQ(silent.reply, kit::join({Bytes(9, 0x00), Bytes(7, '#')}));
    EXPECT_TRUE(log_.has("Info:Read Pack(len=10): 00000000000000000000\r\n"))
        << "the length of what was sent";
    desk_->expect_silence(2, find_card);
    EXPECT_EQ(send(hex("20 01"), 9, 30).result, -22) << "no room for the zeros";
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(IdFrame, NoiseBeforeTheReplyIsNotSkipped) {
    desk_->expect(2, find_card, kit::join({{0x55}, card_found}));
    const Exchange exchange = send(hex("20 01"), 64, 60);
    EXPECT_EQ(exchange.result, received(16)) << "what had come when the limit was over";
    EXPECT_EQ(front(exchange.reply, 9), hex("08 00 00 9F 00 00 00 00 97"));
}

TEST_P(IdFrame, ReplyThatStaysIncompleteEndsWithTheLimit) {
    desk_->expect(2, find_card, hex("AA AA AA 96 69 00 80 00 00 9F"));
    EXPECT_EQ(send(hex("20 01"), 256, 60).result, received(10));
}

TEST_P(IdFrame, ReplyBeyondTheBufferIsRefusedOrCut) {
    const Bytes endless = kit::join({hex("AA AA AA 96 69 FF FF"), Bytes(4089, 0x31)});
    desk_->expect(2, find_card, endless);
    EXPECT_EQ(send(hex("20 01"), 4096, 3000).result, -22);
    desk_->expect(2, find_card, endless);
    const Exchange exchange = send(hex("20 01"), 70'000, 3000);
    EXPECT_EQ(exchange.result, 4096);
    EXPECT_EQ(exchange.reply[4088], 0x31);
    EXPECT_EQ(exchange.reply[4089], '#');
}

TEST_P(IdFrame, CommandsThatAreNone) {
    const Bytes command = hex("20 01");
    unsigned char out[16];
    EXPECT_EQ(ID_SendCmd(&context, nullptr, 2, out, 16, 100), -22);
    EXPECT_EQ(ID_SendCmd(&context, command.data(), 2, nullptr, 16, 100), -22);
    EXPECT_EQ(ID_SendCmd(&context, command.data(), 0, out, 16, 100), -22);
    EXPECT_EQ(ID_SendCmd(&context, command.data(), -1, out, 16, 100), -22);
    EXPECT_EQ(ID_SendCmd(&context, command.data(), 2, out, 0, 100), -22);
    EXPECT_EQ(ID_SendCmd(&context, command.data(), 2, out, -1, 100), -22);
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr) << "nothing was opened";
    EXPECT_EQ(send(Bytes(509, 0x20)).result, -22);
    EXPECT_EQ(context.nRefCnt, 0u);
    EXPECT_TRUE(log_.messages().empty());
}

TEST_P(IdFrame, LongestCommand) {
    // The XOR of the length 01FD and an even number of equal bytes.
    desk_->expect(2, kit::join({hex("AA AA AA 96 69 01 FD"), Bytes(508, 0x20), {0xFC}}),
                  hex("AA AA AA 96 69 00 04 00 00 90 94"));
    EXPECT_EQ(front(send(Bytes(508, 0x20), 16, 2000).reply, 4), hex("00 00 90 23"));
}

TEST_P(IdFrame, OpenFailureIsReturned) {
    DC_Init(&context);
    EXPECT_EQ(send(hex("20 01")).result, -19);
    DC_SetInterfaceType(&context, "com");
    DC_SetCOMParams(&context, 12, 9600);
    EXPECT_EQ(send(hex("20 01")).result, -2);
    unsigned char out[16];
    EXPECT_EQ(ID_SendCmd(nullptr, hex("20 01").data(), 2, out, 16, 100), -19);
}

TEST_P(IdFrame, AnOpenDeviceStaysOpen) {
    COMM_Open(&context);
    desk_->expect(2, find_card, card_found);
    EXPECT_EQ(send(hex("20 01")).result, received(15));
    EXPECT_EQ(context.nRefCnt, 1u);
    COMM_Close(&context);
}

TEST(IdFrameOnSerial, ReplyInPiecesIsGathered) {
    const kit::ConfigFile config;
    kit::ScriptedSerial reader;
    kit::prepare_serial(&context, reader);
    reader.set_pause(std::chrono::milliseconds(20));
    reader.expect_pieces(0, find_card,
                         {hex("AA AA"), hex("AA 96 69 00"), hex("08 00 00 9F 00 00"), hex("00 00"),
                          hex("97 11 12")});
    const Exchange exchange = send(hex("20 01"), 16, 2000);
    EXPECT_EQ(exchange.result, 17) << "the last piece counts whole";
    EXPECT_EQ(front(exchange.reply, 8), hex("00 00 9F 00 00 00 00 23"));
}

class IdFrameOnHid : public testing::Test {
  protected:
    IdFrameOnHid() { kit::prepare_hid(&context); }

    kit::ConfigFile config_;
    kit::FakeClock clock_;
    kit::ScriptedHid reader_{&clock_};
};

TEST_F(IdFrameOnHid, OtherReadersTakeModeIdNought) {
    config_.write("[devcfg]\ndevtype=1\n");
    reader_.expect(0, find_card, card_found);
    EXPECT_EQ(send(hex("20 01")).result, 62);
    config_.write("[devcfg]\ndevtype=0\n");
    reader_.expect(2, find_card, card_found);
    EXPECT_EQ(send(hex("20 01")).result, 62);
}

TEST_F(IdFrameOnHid, BrokenBusIsReported) {
    COMM_Open(&context);
    reader_.break_with(-1);
    const Exchange exchange = send(hex("20 01"));
    EXPECT_EQ(exchange.result, -1);
    EXPECT_EQ(front(exchange.reply, 10), kit::join({Bytes(9, 0x00), {'#'}}));
    COMM_Close(&context);
}

}  // namespace
