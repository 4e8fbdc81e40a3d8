// Body, both ways:
//
//   LEN, 2 bytes, big-endian | LEN bytes | check: XOR of those bytes
//
// A command begins with class and code, a reply with a two-byte status.
//
// On the wire 02 begins the frame, each body byte is two characters '0' + nibble (so ':' to '?' for
// A to F), and 03 ends it. Of a received character only the low nibble counts, and the reply's
// check byte is not verified.
#include "protocol/union_frame.h"

#include <algorithm>
#include <array>

#include "status.h"
#include "support/checksum.h"

namespace deskreader::union_frame {
namespace {

constexpr std::uint8_t begin_of_frame = 0x02;
constexpr std::size_t length_size = 2;
constexpr std::size_t overhead = length_size + 1;
constexpr std::size_t max_body = 2048;

constexpr protocol::FrameFormat format{
    .max_command = 0,
    .max_frame = 2048,
    .logs_command = true,
    .build = build,
    .trim = trim,
    .parse = parse,
};

void split(Bytes body, Buffer out) noexcept {
    for (std::size_t i = 0; i < body.size(); ++i) {
        out[2 * i] = static_cast<std::uint8_t>('0' + (body[i] >> 4));
        out[2 * i + 1] = static_cast<std::uint8_t>('0' + (body[i] & 0x0F));
    }
}

void join(Bytes characters, Buffer out) noexcept {
    const std::size_t count = std::min(characters.size() / 2, out.size());
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<std::uint8_t>(characters[2 * i] << 4 | (characters[2 * i + 1] & 0x0F));
    }
}

}  // namespace

int build(Bytes command, Buffer frame) noexcept {
    const std::size_t size = command.size() + overhead;
    if (2 * (size + 1) > frame.size() || size > max_body) return status::invalid_argument;
    std::array<std::uint8_t, max_body> body;
    body[0] = static_cast<std::uint8_t>(command.size() >> 8);
    body[1] = static_cast<std::uint8_t>(command.size());
    std::ranges::copy(command, body.begin() + length_size);
    body[size - 1] = checksum::xor_of(command);
    frame[0] = begin_of_frame;
    split(std::span(body).first(size), frame.subspan(1));
    frame[2 * size + 1] = protocol::end_of_frame;
    return static_cast<int>(2 * size + 2);
}

int trim(Bytes received, Buffer out) noexcept {
    const auto begin = std::ranges::find(received, begin_of_frame);
    if (begin == received.end()) return 0;
    return protocol::copy_frame({begin, received.end()}, out);
}

int parse(Bytes frame, Buffer reply) noexcept {
    if (frame.size() < 2 || frame.front() != begin_of_frame ||
        frame.back() != protocol::end_of_frame) {
        return status::bad_message;
    }
    std::array<std::uint8_t, protocol::max_decoded> joined{};
    join(frame.subspan(1, frame.size() - 2), joined);
    const auto length = static_cast<std::size_t>(joined[0] << 8 | joined[1]);
    if (length > std::min(reply.size(), joined.size() - length_size))
        return status::invalid_argument;
    std::ranges::copy(std::span(joined).subspan(length_size, length), reply.begin());
    return static_cast<int>(length);
}

}  // namespace deskreader::union_frame

int Union_SendCmd(DEVCONTEXT* target, const unsigned char* command, int command_length,
                  unsigned char* out, int out_size, int timeout_ms) {
    return deskreader::protocol::exchange(deskreader::union_frame::format, target, command,
                                          command_length, out, out_size, timeout_ms);
}
