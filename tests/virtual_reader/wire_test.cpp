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
    {"track 2", hex("1B 5D"), {Framing::escape, hex("5D")}},
    {"other tracks", hex("1B 46 5D"), {Framing::escape, hex("46 5D")}},
    {"tracks to write",
     hex("1B 74 31 3D 32 1D 1B 5C 1B 6A"),
     {Framing::escape, hex("74 31 3D 32 1D 1B 5C 1B 6A")}},
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
    for (const char* read : {"A]", "]", "T]", "D]", "E]", "B]", "F]"})
        bodies.push_back(ascii(read));
    for (const std::size_t size : {0u, 1u, 505u})
        bodies.push_back(kit::join({ascii("t"), Bytes(size, '5'), hex("1D 1B 5C 1B 6A")}));
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
        hex("1B 41"),  // no read
    };
    for (const Bytes& wire : broken) {
        RequestStream stream;
        stream.feed(wire);
        stream.feed(hex("1B 53"));
        EXPECT_EQ(requests_of(stream).size(), 1u) << kit::to_hex(wire);
        EXPECT_EQ(stream.rejected(), 1u) << kit::to_hex(wire);
    }
}

TEST(RequestStream, RejectsAWriteWithoutEnd) {
    RequestStream stream;
    stream.feed(kit::join({hex("1B 74"), Bytes(510, '5')}));
    EXPECT_FALSE(stream.next());
    EXPECT_EQ(stream.rejected() + stream.noise(), 0u) << "its end may still come";
    stream.feed(kit::join({hex("35 1D 1B 5C 1B 6A 1B 53")}));
    const std::vector<Request> expected = {{Framing::escape, hex("53")}};
    EXPECT_EQ(requests_of(stream), expected);
    EXPECT_EQ(stream.rejected(), 3u) << "the write, and what looks like escapes in its end";
    EXPECT_EQ(stream.noise(), 512u);
}

TEST(RequestStream, TakesIdFramesInTheirModeOnly) {
    const Bytes frame = hex("AA AA AA 96 69 00 03 20 01 22");
    const std::vector<Request> expected = {{Framing::id_frame, hex("20 01")}};
    RequestStream stream;
    stream.feed(frame);
    EXPECT_TRUE(requests_of(stream).empty());
    EXPECT_EQ(stream.noise(), 10u);
    stream.listen_for_id(true);
    for (std::size_t cut = 0; cut <= frame.size(); ++cut) {
        stream.feed(std::span(frame).first(cut));
        std::vector<Request> all = requests_of(stream);
        stream.feed(std::span(frame).subspan(cut));
        for (Request& request : requests_of(stream))
            all.push_back(std::move(request));
        EXPECT_EQ(all, expected) << "cut at " << cut;
    }
    EXPECT_EQ(stream.noise(), 10u);
    stream.feed(hex("AA AA 96 69 AA 1B 53"));
    const std::vector<Request> escape = {{Framing::escape, hex("53")}};
    EXPECT_EQ(requests_of(stream), escape);
    EXPECT_EQ(stream.noise(), 15u);
    stream.feed(
        kit::join({{0x02}, ascii("0005322200000010"), {0x03}, ascii("6002E10182"), {0x03}}));
    EXPECT_TRUE(requests_of(stream).empty());
    EXPECT_EQ(stream.noise(), 15u + 18 + 11);
    EXPECT_EQ(stream.rejected(), 0u);
}

TEST(RequestStream, RejectsBrokenIdFrames) {
    const std::pair<Bytes, std::size_t> broken[] = {
        {hex("AA AA AA 96 69 00 03 20 01 23"), 0},                        // check byte
        {hex("AA AA AA 96 69 00 01 01"), 1},                              // nothing asked
        {hex("AA AA AA 96 69 00 00"), 0},                                 // no check byte
        {kit::join({hex("AA AA AA 96 69 00 41"), Bytes(65, 0x00)}), 65},  // too long
        {hex("AA AA AA 96 69 FF FF"), 0},
    };
    for (const auto& [wire, noise] : broken) {
        RequestStream stream;
        stream.listen_for_id(true);
        stream.feed(wire);
        stream.feed(hex("AA AA AA 96 69 00 03 20 01 22"));
        EXPECT_EQ(requests_of(stream).size(), 1u) << kit::to_hex(wire);
        EXPECT_EQ(stream.rejected(), 1u) << kit::to_hex(wire);
        EXPECT_EQ(stream.noise(), noise) << kit::to_hex(wire);
    }
    RequestStream stream;
    stream.listen_for_id(true);
    stream.feed(kit::join({hex("AA AA AA 96 69 00 40"), Bytes(63, 0x11), hex("51")}));
    const std::vector<Request> longest = {{Framing::id_frame, Bytes(63, 0x11)}};
    EXPECT_EQ(requests_of(stream), longest);
}

TEST(IdReply, HasAPreambleAndALengthWithTheCheckByte) {
    EXPECT_EQ(id_reply(hex("00 00 9F 00 00 00 00")),
              hex("AA AA AA 96 69 00 08 00 00 9F 00 00 00 00 97"));
    EXPECT_EQ(id_reply(Bytes(0x1FF, 0x10)),
              kit::join({hex("AA AA AA 96 69 02 00"), Bytes(0x1FF, 0x10), {0x12}}));
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
