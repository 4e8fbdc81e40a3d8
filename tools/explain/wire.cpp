#include "wire.h"

#include <algorithm>
#include <array>

namespace explain {
namespace {

constexpr std::uint8_t end_of_frame = 0x03;
constexpr std::uint8_t begin_of_union = 0x02;
constexpr std::uint8_t escape = 0x1B;
constexpr std::array<std::uint8_t, 2> ic_begin{'6', '0'};
constexpr std::array<std::uint8_t, 5> id_preamble{0xAA, 0xAA, 0xAA, 0x96, 0x69};

constexpr std::uint8_t long_reply = 0xFF;
constexpr std::size_t long_reply_base = 0xB0;
constexpr std::size_t longest_short = 255;
constexpr std::size_t longest_text = 8192;  // more than any frame has, to look through

std::uint8_t xor_of(View bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum ^= byte;
    return sum;
}

// The value of a character that stands for four bits. What is no digit of the frame counts as what
// its low bits say, as the reader's own arithmetic has it.
std::uint8_t nibble(FrameKind kind, std::uint8_t character) {
    if (kind == FrameKind::union_frame) return character & 0x0F;
    const int value = digit_value(static_cast<char>(character));
    return static_cast<std::uint8_t>(value < 0 ? 0 : value);
}

std::uint8_t character(FrameKind kind, int value) {
    if (kind == FrameKind::union_frame) return static_cast<std::uint8_t>('0' + value);
    return static_cast<std::uint8_t>("0123456789ABCDEF"[value]);
}

Bytes joined(FrameKind kind, View characters) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < characters.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(nibble(kind, characters[i]) << 4 |
                                                  nibble(kind, characters[i + 1])));
    }
    return bytes;
}

// Where the body begins and what the length says, for what was decoded.
void read_ic_length(Frame& frame) {
    const Bytes& bytes = frame.decoded;
    frame.body_at = std::min<std::size_t>(2, bytes.size());
    frame.has_length = bytes.size() >= 2;
    if (!frame.has_length) return;
    frame.said = bytes[1];
    // A command of 255 bytes has the same length byte as a long reply, and is a byte shorter.
    constexpr std::size_t longest_command = longest_short + 3;
    if (bytes[1] != long_reply || bytes.size() == longest_command || bytes.size() < 3) return;
    if (bytes[2] < long_reply_base) return;
    frame.body_at = 3;
    frame.said = longest_short + (bytes[2] - long_reply_base);
}

void read_two_byte_length(Frame& frame) {
    frame.body_at = std::min<std::size_t>(2, frame.decoded.size());
    frame.has_length = frame.decoded.size() >= 2;
    if (frame.has_length) frame.said = word_at(frame.decoded, 0);
}

void read_length(Frame& frame) {
    if (frame.kind == FrameKind::ic_frame) {
        read_ic_length(frame);
    } else {
        read_two_byte_length(frame);
    }
}

// What the check byte covers: the IC frame's all before it, the Union frame's the body, the ID
// frame's length and body.
View checked(const Frame& frame) {
    const std::size_t begin = frame.kind == FrameKind::union_frame ? frame.body_at : 0;
    return part(View(frame.decoded), begin, frame.body_at + frame.body_size - begin);
}

// Body and check byte of a frame whose end is known: the last byte is the check, however long the
// body says it is.
void divide(Frame& frame) {
    const std::size_t rest = frame.decoded.size() - frame.body_at;
    frame.has_check = frame.has_end && rest > 0;
    frame.body_size = frame.has_check ? rest - 1 : rest;
    if (!frame.has_check) return;
    frame.check = frame.decoded.back();
    frame.right_check = xor_of(checked(frame));
}

Frame text_frame(FrameKind kind, View bytes, std::size_t begin) {
    const std::size_t lead = kind == FrameKind::union_frame ? 1 : 0;
    const auto end = std::find(bytes.begin() + static_cast<std::ptrdiff_t>(begin + lead),
                               bytes.end(), end_of_frame);
    const auto stop = static_cast<std::size_t>(end - bytes.begin());
    Frame frame;
    frame.kind = kind;
    frame.begin = begin;
    frame.has_end = end != bytes.end();
    frame.size = stop - begin + (frame.has_end ? 1 : 0);
    frame.decoded = joined(kind, bytes.subspan(begin + lead, stop - begin - lead));
    read_length(frame);
    divide(frame);
    return frame;
}

Frame id_frame(View bytes, std::size_t begin) {
    constexpr std::size_t length_size = 2;
    Frame frame;
    frame.kind = FrameKind::id_frame;
    frame.begin = begin;
    View rest = bytes.subspan(begin + id_preamble.size());
    std::size_t size = rest.size();
    if (rest.size() >= length_size) {
        const std::size_t asked = length_size + word_at(rest, 0);
        frame.has_end = asked > length_size && rest.size() >= asked;
        size = std::min(size, asked);
    }
    frame.decoded = copy_of(rest.first(size));
    frame.size = id_preamble.size() + size;
    read_length(frame);
    divide(frame);
    if (frame.said > 0) --frame.said;  // the length counts the check byte
    return frame;
}

Frame escape_sequence(View bytes, std::size_t begin) {
    Frame frame;
    frame.begin = begin;
    frame.size = bytes.size() - begin;
    frame.decoded = copy_of(bytes.subspan(begin));
    frame.body_size = frame.decoded.size();
    frame.said = frame.body_size;
    frame.has_end = true;
    return frame;
}

template <std::size_t Size>
bool begins(View bytes, const std::array<std::uint8_t, Size>& with) {
    return bytes.size() >= Size && std::ranges::equal(bytes.first(Size), with);
}

bool is_hex_digit(std::uint8_t byte) {
    return digit_value(static_cast<char>(byte)) >= 0;
}

// Whether text that begins with "60" has what an IC frame has: digits up to 03 or the end.
bool is_ic_frame(View rest) {
    constexpr std::size_t least = 4;
    if (rest.size() < least || !begins(rest, ic_begin)) return false;
    if (!std::ranges::all_of(rest.first(least), is_hex_digit)) return false;
    const View near = part(rest, 0, longest_text);
    const auto end = std::ranges::find(near, end_of_frame);
    const auto size = static_cast<std::size_t>(end - near.begin());
    const auto digits = std::ranges::count_if(near.first(size), is_hex_digit);
    // One that was spoiled on its way has some other characters among its digits.
    return 4 * static_cast<std::size_t>(digits) >= 3 * size;
}

bool is_union_frame(View rest) {
    if (rest.size() < 5 || rest[0] != begin_of_union) return false;
    return std::ranges::all_of(rest.subspan(1, 4),
                               [](std::uint8_t byte) { return byte >= '0' && byte <= '?'; });
}

}  // namespace

std::optional<Frame> find_frame(View bytes, std::size_t from) {
    for (std::size_t at = from; at < bytes.size(); ++at) {
        const View rest = bytes.subspan(at);
        if (begins(rest, id_preamble)) return id_frame(bytes, at);
        if (rest[0] == escape) return escape_sequence(bytes, at);
        if (is_union_frame(rest)) return text_frame(FrameKind::union_frame, bytes, at);
        if (is_ic_frame(rest)) return text_frame(FrameKind::ic_frame, bytes, at);
    }
    return std::nullopt;
}

void put_back(Frame frame, Room bytes) {
    if (frame.has_check)
        frame.decoded.back() = frame.check ^ frame.right_check ^ xor_of(checked(frame));
    const bool is_text = frame.kind == FrameKind::ic_frame || frame.kind == FrameKind::union_frame;
    const std::size_t lead = frame.kind == FrameKind::union_frame ? 1
                             : frame.kind == FrameKind::id_frame  ? id_preamble.size()
                                                                  : 0;
    Room place = bytes.subspan(frame.begin + lead);
    if (!is_text) {
        std::ranges::copy(frame.decoded, place.begin());
        return;
    }
    const Bytes before = joined(frame.kind, place.first(2 * frame.decoded.size()));
    for (std::size_t i = 0; i < frame.decoded.size(); ++i) {
        const std::uint8_t byte = frame.decoded[i];
        if (byte == before[i]) continue;  // also spoiled characters stay
        place[2 * i] = character(frame.kind, byte >> 4);
        place[2 * i + 1] = character(frame.kind, byte & 0x0F);
    }
}

std::optional<Report> as_report(View bytes) {
    constexpr std::size_t output_size = 65;
    constexpr std::size_t input_size = 64;
    if (bytes.size() == output_size && bytes[0] == 0 && bytes[2] <= report_payload)
        return Report{Direction::to_reader, bytes[1], 3, bytes[2]};
    if (bytes.size() == input_size) return Report{Direction::from_reader, 0, 2, report_payload};
    return std::nullopt;
}

}  // namespace explain
