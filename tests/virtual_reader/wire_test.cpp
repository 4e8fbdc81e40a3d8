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

TEST(RequestStream, TakesPiecesCutAnywhere) {
    Bytes wire;
    std::vector<Request> expected;
    for (const Row& row : rows) {
        wire = kit::join({wire, row.wire});
        expected.push_back(row.request);
    }
    for (std::size_t cut = 0; cut <= wire.size(); ++cut) {
        RequestStream stream;
        stream.feed(std::span(wire).first(cut));
        std::vector<Request> all = requests_of(stream);
        stream.feed(std::span(wire).subspan(cut));
        for (Request& request : requests_of(stream))
            all.push_back(std::move(request));
        EXPECT_EQ(all, expected) << "cut at " << cut;
        EXPECT_EQ(stream.noise() + stream.rejected(), 0u) << "cut at " << cut;
    }
}

TEST(RequestStream, TakesEveryEscapeForm) {
    std::vector<Bytes> bodies = {hex("53"), hex("30"), hex("25 41")};
    for (std::uint8_t port = 0x31; port <= 0x59; ++port)
        bodies.push_back({0x25, port});
    for (const char* mode : {"$B0", "$B4", "$I0", "$I4", "$S0", "$S4"})
        bodies.push_back(ascii(mode));
    for (const Bytes& body : bodies) {
        RequestStream stream;
        stream.feed(kit::join({{0x1B}, body}));
        const std::vector<Request> expected = {{Framing::escape, body}};
        EXPECT_EQ(requests_of(stream), expected) << kit::to_hex(body);
        EXPECT_EQ(stream.noise() + stream.rejected(), 0u) << kit::to_hex(body);
    }
}

TEST(RequestStream, TakesEveryOtherByteForNoise) {
    for (unsigned value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        if (byte == 0x1B || byte == 0x02 || byte == '6') continue;
        RequestStream stream;
        stream.feed({&byte, 1});
        EXPECT_FALSE(stream.next());
        EXPECT_EQ(stream.noise(), 1u) << value;
    }
}

TEST(RequestStream, TakesAnotherLeadByteForNoise) {
    RequestStream stream;
    stream.feed(kit::join({ascii("6102E10183"), {0x03}, ascii("666002E10182"), {0x03}}));
    const std::vector<Request> expected = {{Framing::ic_frame, hex("E1 01")}};
    EXPECT_EQ(requests_of(stream), expected);
    EXPECT_EQ(stream.noise(), 13u);
    EXPECT_EQ(stream.rejected(), 0u);
}

TEST(RequestStream, TakesTheLongestFrames) {
    RequestStream stream;
    Bytes wire = kit::join({ascii("60FF"), Bytes(510, '1'), ascii("8E"), {0x03}});
    ASSERT_EQ(wire.size(), 517u);
    stream.feed(wire);
    const std::vector<Request> ic = {{Framing::ic_frame, Bytes(255, 0x11)}};
    EXPECT_EQ(requests_of(stream), ic);
    wire = kit::join({{0x02}, ascii("012<"), Bytes(600, ':'), ascii("00"), {0x03}});
    stream.feed(wire);
    const std::vector<Request> united = {{Framing::union_frame, Bytes(300, 0xAA)}};
    EXPECT_EQ(requests_of(stream), united);
    EXPECT_EQ(stream.noise() + stream.rejected(), 0u);
}

TEST(RequestStream, RejectsBrokenFrames) {
    const Bytes broken[] = {
        kit::join({ascii("6002E10183"), {0x03}}),                // check byte
        kit::join({ascii("6003E10183"), {0x03}}),                // length
        kit::join({ascii("6002E1018"), {0x03}}),                 // odd
        kit::join({ascii("6002x10182"), {0x03}}),                // no digit
        kit::join({ascii("6002e10182"), {0x03}}),                // lower case
        kit::join({ascii("600060"), {0x03}}),                    // nothing asked
        kit::join({ascii("60"), {0x03}}),                        // too short
        kit::join({{0x02}, ascii("0005322200000011"), {0x03}}),  // check byte
        kit::join({{0x02}, ascii("0006322200000010"), {0x03}}),  // length
        kit::join({{0x02}, ascii("000532220000001A"), {0x03}}),  // character
        kit::join({{0x02}, ascii("000532220000001"), {0x03}}),   // odd
        kit::join({{0x02}, ascii("000000"), {0x03}}),            // nothing asked
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

// What stands before the body and behind it: the length, and the check byte with the end.
struct LongReply {
    std::size_t size;
    std::uint8_t filler;
    const char* begin;
    const char* check;
};

TEST(IcReply, From255BytesOnHasTheLongLength) {
    const LongReply replies[] = {
        {1, 0x00, "6001", "61"},     {253, 0x11, "60FD", "8C"},   {254, 0x00, "60FE", "9E"},
        {254, 0x11, "60FE", "9E"},   {255, 0x11, "60FFB0", "3E"}, {256, 0x11, "60FFB1", "2E"},
        {334, 0x00, "60FFFF", "60"},
    };
    for (const LongReply& reply : replies) {
        const Bytes body(reply.size, reply.filler);
        const Bytes expected =
            kit::join({ascii(reply.begin), ascii(kit::to_hex(body)), ascii(reply.check), {0x03}});
        EXPECT_EQ(ic_reply(body), expected) << reply.size;
    }
    EXPECT_THROW(ic_reply(Bytes(335, 0)), std::length_error);
}

TEST(UnionReply, IsSplitWithCheckAndEnd) {
    EXPECT_EQ(union_reply(hex("00 00 3B 00")),
              kit::join({{0x02}, ascii("000400003;003;"), {0x03}}));
}

TEST(UnionReply, HasALengthOfTwoBytes) {
    EXPECT_EQ(union_reply(Bytes(258, 0xAA)),
              kit::join({{0x02}, ascii("0102"), Bytes(516, ':'), ascii("00"), {0x03}}));
}

TEST(HexText, IsReadInEitherCaseAndRefusedOtherwise) {
    EXPECT_EQ(from_hex("aBcD"), hex("AB CD"));
    EXPECT_EQ(from_hex(""), Bytes{});
    EXPECT_THROW(from_hex("ABC"), std::invalid_argument);
    EXPECT_THROW(from_hex("AG"), std::invalid_argument);
}

}  // namespace
