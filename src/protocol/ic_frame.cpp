// Body, both ways:
//
//   60 | LEN | LEN bytes | check: XOR of all before it
//
// A command has 1 to 255 bytes. A reply's first byte is the reader's status. A reply of 255 bytes
// or more has LEN FF and then one byte more: 60 | FF | B0 + (length - FF) | bytes | check.
//
// On the wire each body byte is two upper-case hexadecimal digits, and 03 ends the frame. The
// reply's check byte is not verified: what the line may have done to a frame, the card's own
// protocol detects.
#include "protocol/ic_frame.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "status.h"
#include "support/checksum.h"
#include "support/text.h"

namespace deskreader::ic_frame {
namespace {

constexpr std::uint8_t lead = 0x60;
constexpr std::string_view lead_text = "60";
constexpr std::size_t overhead = 3;  // lead, length, check
constexpr std::size_t max_command = 255;
constexpr std::size_t max_body = 1024;
constexpr std::uint8_t long_reply = 0xFF;
constexpr int long_reply_base = 0xB0;

constexpr protocol::FrameFormat format{
    .max_command = max_command,
    .max_frame = 1024,
    .logs_command = false,
    .build = build,
    .trim = trim,
    .parse = parse,
};

std::string_view as_text(Bytes bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

int copy_reply(Bytes bytes, Buffer reply) noexcept {
    if (reply.size() < bytes.size()) return status::invalid_argument;
    std::ranges::copy(bytes, reply.begin());
    return static_cast<int>(bytes.size());
}

// kept: a 00 stands before the bytes of a long reply and the length does not count it, so the last
// byte falls out of the count.
int copy_long_reply(Bytes decoded, Buffer reply) noexcept {
    const int counted = long_reply + (decoded[2] - long_reply_base);
    const auto length = static_cast<std::size_t>(counted);
    if (reply.size() < length) return status::invalid_argument;
    reply[0] = 0x00;
    std::ranges::copy(decoded.subspan(overhead, std::min(length, reply.size() - 1)),
                      reply.begin() + 1);
    return counted;
}

}  // namespace

int build(Bytes command, Buffer frame) noexcept {
    const std::size_t size = command.size() + overhead;
    if (2 * size + 1 > frame.size() || size > max_body) return status::invalid_argument;
    std::array<std::uint8_t, max_body> body;
    body[0] = lead;
    body[1] = static_cast<std::uint8_t>(command.size());
    std::ranges::copy(command, body.begin() + 2);
    body[size - 1] = checksum::xor_of(std::span(body).first(size - 1));
    const std::span<char> text(reinterpret_cast<char*>(frame.data()), frame.size());
    const std::size_t length = text::to_hex(std::span(body).first(size), text);
    frame[length] = protocol::end_of_frame;
    return static_cast<int>(length + 1);
}

int trim(Bytes received, Buffer out) noexcept {
    const std::size_t begin = as_text(received).find(lead_text);
    if (begin == std::string_view::npos) return 0;
    return protocol::copy_frame(received.subspan(begin), out);
}

int parse(Bytes frame, Buffer reply) noexcept {
    if (!as_text(frame).starts_with(lead_text) || frame.back() != protocol::end_of_frame)
        return status::bad_message;
    std::array<std::uint8_t, protocol::max_received / 2> decoded{};
    text::from_hex(as_text(frame.first(frame.size() - 1)), decoded);
    const std::uint8_t length = decoded[1];
    if (length == long_reply) return copy_long_reply(decoded, reply);
    return copy_reply(std::span(decoded).subspan(2, length), reply);
}

}  // namespace deskreader::ic_frame

int VexoIc_SendCmd(DEVCONTEXT* target, const unsigned char* command, int command_length,
                   unsigned char* out, int out_size, int timeout_ms) {
    return deskreader::protocol::exchange(deskreader::ic_frame::format, target, command,
                                          command_length, out, out_size, timeout_ms);
}
