// The parts of the IC frame as functions of bytes.
#include "protocol/ic_frame.h"

#include <algorithm>

#include "frame_functions.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
namespace ic_frame = deskreader::ic_frame;

Bytes wire(const char* text) {
    return kit::join({ascii(text), {0x03}});
}

TEST(IcFrameBuild, IsBodyAsTextAndEnd) {
    EXPECT_EQ(first(run(ic_frame::build, hex("E1 01"), 1024)), wire("6002E10182"));
    EXPECT_EQ(first(run(ic_frame::build, hex("D1"), 1024)), wire("6001D1B0"));
}

TEST(IcFrameBuild, TakesUpTo255Bytes) {
    const FrameResult result = run(ic_frame::build, Bytes(255, 0x11), 1024);
    EXPECT_EQ(result.number, 517);
    EXPECT_EQ(Bytes(result.bytes.begin(), result.bytes.begin() + 6), ascii("60FF11"));
    EXPECT_EQ(Bytes(result.bytes.begin() + 512, result.bytes.begin() + 518),
              kit::join({ascii("118E"), {0x03}, {'#'}}));
}

TEST(IcFrameBuild, WritesTheLowByteOfALongerLength) {
    const FrameResult result = run(ic_frame::build, Bytes(300, 0x00), 1024);
    EXPECT_EQ(result.number, 607);
    EXPECT_EQ(Bytes(result.bytes.begin(), result.bytes.begin() + 6), ascii("602C00"));
    EXPECT_EQ(Bytes(result.bytes.begin() + 604, result.bytes.begin() + 607),
              kit::join({ascii("4C"), {0x03}}));
}

TEST(IcFrameBuild, RefusesWhatDoesNotFit) {
    EXPECT_EQ(run(ic_frame::build, hex("E1 01"), 10).number, -22);
    EXPECT_EQ(run(ic_frame::build, hex("E1 01"), 11).number, 11);
    EXPECT_EQ(run(ic_frame::build, Bytes(508, 0x11), 1024).number, 1023);
    EXPECT_EQ(run(ic_frame::build, Bytes(509, 0x11), 1024).number, -22);
    EXPECT_EQ(run(ic_frame::build, Bytes(1021, 0x11), 4096).number, 2049);
    EXPECT_EQ(run(ic_frame::build, Bytes(1022, 0x11), 4096).number, -22);
}

TEST(IcFrameTrim, SkipsNoiseAndDropsWhatFollows) {
    const Bytes frame = wire("6003009000F3");
    EXPECT_EQ(first(run(ic_frame::trim, kit::join({ascii("xx"), frame, ascii("yy")}), 2048)),
              frame);
    EXPECT_EQ(first(run(ic_frame::trim, kit::join({ascii("6"), frame}), 2048)), frame);
    EXPECT_EQ(first(run(ic_frame::trim, kit::join({frame, frame}), 2048)), frame);
}

TEST(IcFrameTrim, ClearsItsOutput) {
    const FrameResult result = run(ic_frame::trim, wire("60"), 8);
    EXPECT_EQ(result.number, 3);
    EXPECT_EQ(result.bytes, hex("36 30 03 00 00 00 00 00"));
}

TEST(IcFrameTrim, WithoutALeadLeavesItsOutput) {
    const FrameResult result = run(ic_frame::trim, ascii("6x06"), 4);
    EXPECT_EQ(result.number, 0);
    EXPECT_EQ(result.bytes, ascii("####"));
    EXPECT_EQ(run(ic_frame::trim, {}, 4).number, 0);
    EXPECT_EQ(run(ic_frame::trim, hex("03"), 4).number, 0);
}

TEST(IcFrameTrim, EndsWithTheInputOrTheRoom) {
    EXPECT_EQ(first(run(ic_frame::trim, ascii("6012"), 2048)), ascii("6012"));
    EXPECT_EQ(first(run(ic_frame::trim, wire("601234"), 4)), ascii("6012"));
    EXPECT_EQ(run(ic_frame::trim, wire("601234"), 0).number, 0);
}

TEST(IcFrameTrim, TakesAnEarlierEndForNoise) {
    EXPECT_EQ(first(run(ic_frame::trim, kit::join({hex("03"), wire("6001")}), 2048)), wire("6001"));
}

TEST(IcFrameParse, GivesTheReply) {
    EXPECT_EQ(first(run(ic_frame::parse, wire("6003009000F3"), 256)), hex("00 90 00"));
}

TEST(IcFrameParse, DoesNotVerifyTheCheckByte) {
    EXPECT_EQ(first(run(ic_frame::parse, wire("600300900000"), 256)), hex("00 90 00"));
    EXPECT_EQ(first(run(ic_frame::parse, wire("6003009000"), 256)), hex("00 90 00"));
}

TEST(IcFrameParse, ReadsDigitsOfEitherCaseAndOthersAsNought) {
    EXPECT_EQ(first(run(ic_frame::parse, wire("6003abCdxF"), 256)), hex("AB CD 0F"));
}

TEST(IcFrameParse, RefusesWhatIsNoFrame) {
    for (const Bytes& frame : {Bytes{}, hex("03"), hex("36"), hex("36 30"), ascii("6003009000F3"),
                               wire("7003009000F3"), wire("x6003009000F3"), wire("6")}) {
        EXPECT_EQ(run(ic_frame::parse, frame, 256).number, -74) << kit::to_hex(frame);
    }
}

TEST(IcFrameParse, RefusesAReplyBeyondTheRoom) {
    EXPECT_EQ(run(ic_frame::parse, wire("6003009000F3"), 2).number, -22);
    EXPECT_EQ(run(ic_frame::parse, wire("6003009000F3"), 3).number, 3);
}

TEST(IcFrameParse, GivesZerosWhereTheLengthLies) {
    EXPECT_EQ(first(run(ic_frame::parse, wire("600500AA"), 256)), hex("00 AA 00 00 00"));
    EXPECT_EQ(run(ic_frame::parse, wire("60"), 256).number, 0);
    EXPECT_EQ(run(ic_frame::parse, wire("6000"), 256).number, 0);
}

TEST(IcFrameParse, LongReplyComesBehindAZeroByteAndLosesItsLast) {
    Bytes reply(257);
    for (std::size_t i = 0; i < reply.size(); ++i)
        reply[i] = static_cast<std::uint8_t>(i + 1);
    const Bytes frame =
        kit::join({ascii("60FFB2"), ascii(kit::to_hex(reply)), ascii("00"), {0x03}});
    const FrameResult result = run(ic_frame::parse, frame, 1024);
    EXPECT_EQ(result.number, 257);
    Bytes expected = kit::join({{0x00}, reply});
    expected.resize(257);
    EXPECT_EQ(first(result), expected);
}

TEST(IcFrameParse, LongReplyIsCountedInSignedArithmetic) {
    EXPECT_EQ(run(ic_frame::parse, wire("60FFB0"), 1024).number, 255);
    EXPECT_EQ(run(ic_frame::parse, wire("60FFFF"), 1024).number, 334);
    EXPECT_EQ(run(ic_frame::parse, wire("60FF00"), 1024).number, 79);
    EXPECT_EQ(run(ic_frame::parse, wire("60FF"), 1024).number, 79);
}

TEST(IcFrameParse, EveryThirdByteOfALongReplyGivesItsLength) {
    for (std::size_t third = 0; third <= 0xFF; ++third) {
        const Bytes head = {0x60, 0xFF, static_cast<std::uint8_t>(third)};
        const Bytes frame = wire(kit::to_hex(head).c_str());
        const std::size_t length = 0xFF + third - 0xB0;
        EXPECT_EQ(run(ic_frame::parse, frame, length).number, static_cast<int>(length));
        EXPECT_EQ(run(ic_frame::parse, frame, length - 1).number, -22);
    }
}

TEST(IcFrameParse, EveryLengthNeedsItsRoom) {
    for (std::size_t length = 1; length < 0xFF; ++length) {
        const Bytes head = {0x60, static_cast<std::uint8_t>(length), 0xA5};
        const Bytes frame = wire(kit::to_hex(head).c_str());
        const FrameResult exact = run(ic_frame::parse, frame, length);
        EXPECT_EQ(exact.number, static_cast<int>(length));
        EXPECT_EQ(exact.bytes[0], 0xA5);
        EXPECT_EQ(run(ic_frame::parse, frame, length - 1).number, -22);
    }
}

TEST(IcFrameParse, TextBeyondTheDecodedBufferIsLeftOut) {
    const Bytes frame = kit::join({ascii("6003"), Bytes(9000, '7'), {0x03}});
    EXPECT_EQ(first(run(ic_frame::parse, frame, 256)), hex("77 77 77"));
}

TEST(IcFrameParse, LongReplyStaysWithinTheRoom) {
    EXPECT_EQ(run(ic_frame::parse, wire("60FFB2"), 256).number, -22);
    const FrameResult exact = run(ic_frame::parse, wire("60FF00AA"), 79);
    EXPECT_EQ(exact.number, 79);
    EXPECT_EQ(exact.bytes[1], 0xAA);
}

}  // namespace
