// The parts of the Union frame as functions of bytes.
#include "protocol/union_frame.h"

#include "frame_functions.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
namespace union_frame = deskreader::union_frame;

Bytes wire(const char* text) {
    return kit::join({{0x02}, ascii(text), {0x03}});
}

TEST(UnionFrameBuild, SplitsLengthCommandAndCheck) {
    EXPECT_EQ(first(run(union_frame::build, hex("32 22 00 00 00"), 2048)),
              wire("0005322200000010"));
    EXPECT_EQ(first(run(union_frame::build, hex("AB"), 2048)), wire("0001:;:;"));
}

TEST(UnionFrameBuild, WritesALongLength) {
    const FrameResult result = run(union_frame::build, Bytes(0x0102, 0x00), 2048);
    EXPECT_EQ(result.number, 2 * (0x0102 + 3) + 2);
    EXPECT_EQ(Bytes(result.bytes.begin(), result.bytes.begin() + 5),
              kit::join({{0x02}, ascii("0102")}));
}

TEST(UnionFrameBuild, TakesWhatFits) {
    EXPECT_EQ(run(union_frame::build, Bytes(300, 0x11), 2048).number, 608);
    EXPECT_EQ(run(union_frame::build, Bytes(1020, 0x11), 2048).number, 2048);
    EXPECT_EQ(run(union_frame::build, Bytes(1021, 0x11), 2048).number, -22);
    EXPECT_EQ(run(union_frame::build, Bytes(2045, 0x11), 8192).number, 4098);
    EXPECT_EQ(run(union_frame::build, Bytes(2046, 0x11), 8192).number, -22);
    EXPECT_EQ(run(union_frame::build, hex("AB"), 9).number, -22);
    EXPECT_EQ(run(union_frame::build, hex("AB"), 10).number, 10);
}

TEST(UnionFrameBuild, ChecksTheCommandAloneAndNotItsLength) {
    EXPECT_EQ(first(run(union_frame::build, hex("0F F0"), 2048)), wire("00020?\?0?\?"));
    EXPECT_EQ(first(run(union_frame::build, hex("12 34 56 78 9A BC DE F0"), 2048)),
              wire("0008123456789:;<=>?000"));
}

TEST(UnionFrameTrim, RunsFromTheFirstBeginningToTheNextEnd) {
    const Bytes frame = wire("000400003;003;");
    EXPECT_EQ(first(run(union_frame::trim, kit::join({hex("FF 03 41"), frame, frame}), 2048)),
              frame);
    EXPECT_EQ(first(run(union_frame::trim, hex("02 30 31"), 2048)), hex("02 30 31"));
    EXPECT_EQ(first(run(union_frame::trim, frame, 4)), Bytes(frame.begin(), frame.begin() + 4));
}

TEST(UnionFrameTrim, ClearsItsOutputOnlyIfThereIsAFrame) {
    EXPECT_EQ(run(union_frame::trim, hex("02 03"), 4).bytes, hex("02 03 00 00"));
    const FrameResult nothing = run(union_frame::trim, hex("03 41"), 4);
    EXPECT_EQ(nothing.number, 0);
    EXPECT_EQ(nothing.bytes, ascii("####"));
}

TEST(UnionFrameParse, GivesTheReply) {
    EXPECT_EQ(first(run(union_frame::parse, wire("000400003;003;"), 256)), hex("00 00 3B 00"));
    EXPECT_EQ(run(union_frame::parse, wire("000000"), 256).number, 0);
}

TEST(UnionFrameParse, CountsLowNibblesOnly) {
    EXPECT_EQ(first(run(union_frame::parse, wire("@@@BAKCd"), 256)), hex("1B 34"));
}

TEST(UnionFrameParse, AnOddCharacterIsHalfAByteAndDropped) {
    EXPECT_EQ(first(run(union_frame::parse, wire("0001AB5"), 256)), hex("12"));
    EXPECT_EQ(first(run(union_frame::parse, wire("0002AB5"), 256)), hex("12 00"));
}

TEST(UnionFrameParse, ControlBytesInsideAreCharactersToo) {
    const Bytes frame = kit::join({{0x02}, ascii("0001"), hex("02 03"), {0x03}});
    EXPECT_EQ(first(run(union_frame::parse, frame, 256)), hex("23"));
}

TEST(UnionFrameParse, TextBeyondTheJoinedBufferIsLeftOut) {
    const Bytes frame = kit::join({{0x02}, ascii("0003"), Bytes(9000, '7'), {0x03}});
    EXPECT_EQ(first(run(union_frame::parse, frame, 256)), hex("77 77 77"));
}

TEST(UnionFrameParse, DoesNotVerifyTheCheckByte) {
    EXPECT_EQ(first(run(union_frame::parse, wire("0001AB"), 256)), hex("12"));
}

TEST(UnionFrameParse, RefusesWhatIsNoFrame) {
    for (const Bytes& frame :
         {Bytes{}, hex("02"), hex("03"), ascii("0001AB"), kit::join({ascii("0001AB"), {0x03}}),
          kit::join({{0x02}, ascii("0001AB")})}) {
        EXPECT_EQ(run(union_frame::parse, frame, 256).number, -74) << kit::to_hex(frame);
    }
}

TEST(UnionFrameParse, RefusesAReplyBeyondTheRoom) {
    EXPECT_EQ(run(union_frame::parse, wire("0003112233"), 2).number, -22);
    EXPECT_EQ(run(union_frame::parse, wire("0003112233"), 3).number, 3);
    EXPECT_EQ(run(union_frame::parse, wire("?\?\?\?"), 4096).number, -22);
    EXPECT_EQ(run(union_frame::parse, wire("?\?\?\?"), 100'000).number, -22);
}

TEST(UnionFrameParse, GivesZerosWhereTheLengthLies) {
    EXPECT_EQ(first(run(union_frame::parse, wire("000311"), 256)), hex("11 00 00"));
    EXPECT_EQ(run(union_frame::parse, hex("02 03"), 256).number, 0);
    EXPECT_EQ(run(union_frame::parse, wire("0?\?="), 4096).number, 4093);
}

}  // namespace
