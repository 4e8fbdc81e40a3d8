#include <stdexcept>

#include "kit/frames.h"
#include "wire/reply.h"
#include "wire/request_stream.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using namespace virtual_reader;

std::vector<Request> requests_of(RequestStream& stream) {
    std::vector<Request> all;
    while (auto request = stream.next())
        all.push_back(*request);
    return all;
}

struct Row {
    const char* name;
    Bytes wire;
    Request request;
};

const Row rows[] = {
    {"reset", hex("1B 53"), {Framing::escape, hex("53")}},
    {"magnetic reset", hex("1B 30"), {Framing::escape, hex("30")}},
    {"pass-through", hex("1B 25 35"), {Framing::escape, hex("25 35")}},
    {"mode", hex("1B 24 42 30"), {Framing::escape, hex("24 42 30")}},
    {"IC frame", kit::join({ascii("6002E10182"), {0x03}}), {Framing::ic_frame, hex("E1 01")}},
    {"Union frame",
     kit::join({{0x02}, ascii("0005322200000010"), {0x03}}),
     {Framing::union_frame, hex("32 22 00 00 00")}},
};

TEST(RequestStream, TakesEveryKindWhole) {
    for (const Row& row : rows) {
        RequestStream stream;
        stream.feed(row.wire);
        EXPECT_EQ(requests_of(stream), std::vector<Request>{row.request}) << row.name;
        EXPECT_EQ(stream.noise() + stream.rejected(), 0u);
    }
}

TEST(RequestStream, TakesEveryKindByteByByte) {
    for (const Row& row : rows) {
        RequestStream stream;
        for (std::size_t i = 0; i + 1 < row.wire.size(); ++i) {
            stream.feed({&row.wire[i], 1});
            EXPECT_FALSE(stream.next()) << row.name << " at " << i;
        }
        stream.feed({&row.wire.back(), 1});
        EXPECT_EQ(requests_of(stream), std::vector<Request>{row.request}) << row.name;
    }
}

TEST(RequestStream, TakesSeveralAtOnceAndSkipsNoise) {
    RequestStream stream;
    std::vector<Request> expected;
    for (const Row& row : rows) {
        stream.feed(hex("00 FF 41"));
        stream.feed(row.wire);
        expected.push_back(row.request);
    }
    EXPECT_EQ(requests_of(stream), expected);
    EXPECT_EQ(stream.noise(), 3 * std::size(rows));
}

TEST(RequestStream, RejectsBrokenFrames) {
    const Bytes broken[] = {
        kit::join({ascii("6002E10183"), {0x03}}),                // check byte
        kit::join({ascii("6003E10183"), {0x03}}),                // length
        kit::join({ascii("6002E1018"), {0x03}}),                 // odd
        kit::join({ascii("6002x10182"), {0x03}}),                // no digit
        kit::join({ascii("60"), {0x03}}),                        // too short
        kit::join({{0x02}, ascii("0005322200000011"), {0x03}}),  // check byte
        kit::join({{0x02}, ascii("0006322200000010"), {0x03}}),  // length
        kit::join({{0x02}, ascii("000532220000001A"), {0x03}}),  // character
        kit::join({{0x02}, {0x03}}),
        hex("1B 51"),  // unknown escape
    };
    for (const Bytes& wire : broken) {
        RequestStream stream;
        stream.feed(wire);
        stream.feed(hex("1B 53"));
        EXPECT_EQ(requests_of(stream).size(), 1u) << kit::to_hex(wire);
        EXPECT_EQ(stream.rejected(), 1u) << kit::to_hex(wire);
    }
}

TEST(IcReply, IsTextWithCheckAndEnd) {
    EXPECT_EQ(ic_reply(hex("00 90 00")), kit::join({ascii("6003009000F3"), {0x03}}));
}

TEST(IcReply, From255BytesOnHasTheLongLength) {
    EXPECT_EQ(ic_reply(Bytes(254, 0)), kit::ic_frame(Bytes(254, 0)));
    const Bytes long_reply = ic_reply(Bytes(255, 0x11));
    EXPECT_EQ(Bytes(long_reply.begin(), long_reply.begin() + 8), ascii("60FFB011"));
    EXPECT_EQ(long_reply.size(), 2u * (3 + 255 + 1) + 1);
    const Bytes longest = ic_reply(Bytes(334, 0));
    EXPECT_EQ(Bytes(longest.begin(), longest.begin() + 6), ascii("60FFFF"));
    EXPECT_THROW(ic_reply(Bytes(335, 0)), std::length_error);
}

TEST(UnionReply, IsSplitWithCheckAndEnd) {
    EXPECT_EQ(union_reply(hex("00 00 3B 00")),
              kit::join({{0x02}, ascii("000400003;003;"), {0x03}}));
}

TEST(HexText, IsReadInEitherCaseAndRefusedOtherwise) {
    EXPECT_EQ(from_hex("aBcD"), hex("AB CD"));
    EXPECT_EQ(from_hex(""), Bytes{});
    EXPECT_THROW(from_hex("ABC"), std::invalid_argument);
    EXPECT_THROW(from_hex("AG"), std::invalid_argument);
}

}  // namespace
