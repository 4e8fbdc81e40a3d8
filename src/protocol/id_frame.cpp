// Both ways:
//
//   AA AA AA 96 69 | LEN, 2 bytes, big-endian | LEN - 1 bytes | check
//
// The check byte of a command is the XOR of its length and its bytes, without the preamble; that of
// a reply is not verified. A reply's first three bytes are its status.
#include "protocol/id_frame.h"

#include <algorithm>
#include <array>

#include "status.h"
#include "support/checksum.h"

namespace deskreader::id_frame {
namespace {

constexpr std::array<std::uint8_t, 5> preamble{0xAA, 0xAA, 0xAA, 0x96, 0x69};
constexpr std::size_t length_size = 2;
constexpr std::size_t header = preamble.size() + length_size;
constexpr std::size_t check_size = 1;
constexpr std::size_t max_body = 1024;  // length, command and check byte

bool has_preamble(Bytes bytes) noexcept {
    return bytes.size() >= preamble.size() &&
           std::ranges::equal(bytes.first(preamble.size()), preamble);
}

// What the length field says; only for bytes that have one.
std::size_t length_of(Bytes bytes) noexcept {
    return static_cast<std::size_t>(bytes[preamble.size()] << 8 | bytes[preamble.size() + 1]);
}

int build(Bytes command, Buffer frame) noexcept {
    const std::size_t body = length_size + command.size() + check_size;
    // kept: the room is counted as if the frame went out as text.
    if (2 * (body + 1) > frame.size() || body > max_body) return status::invalid_argument;
    const std::size_t length = command.size() + check_size;
    std::ranges::copy(preamble, frame.begin());
    frame[preamble.size()] = static_cast<std::uint8_t>(length >> 8);
    frame[preamble.size() + 1] = static_cast<std::uint8_t>(length);
    std::ranges::copy(command, frame.subspan(header).begin());
    const Bytes checked = frame.subspan(preamble.size(), length_size + command.size());
    frame[header + command.size()] = checksum::xor_of(checked);
    return static_cast<int>(preamble.size() + body);
}

int receive(const protocol::FrameFormat&, DEVCONTEXT* target, Buffer reply, int timeout_ms,
            std::size_t sent) noexcept {
    std::array<std::uint8_t, max_received> received{};
    const protocol::Received got =
        protocol::read(target, received, max_received, timeout_ms, VexoIdPacketIsEnd, sent);
    // kept: after a failed read as many zeros are handed out as the command's frame has room for.
    return take(received, got.length, reply) ? got.result : status::invalid_argument;
}

constexpr protocol::FrameFormat format{
    .max_command = 0,
    .max_frame = 1024,
    .logs_command = false,
    .build = build,
    .receive = receive,
};

}  // namespace

bool take(Bytes buffer, std::size_t length, Buffer reply) noexcept {
    // kept: what has no preamble is a reply too; its status will tell.
    const std::size_t counted = has_preamble(buffer) ? length_of(buffer) : length;
    if (counted == 0) return true;
    const std::size_t size = counted - check_size;
    if (reply.size() <= size) return false;
    std::ranges::copy(buffer.subspan(header, std::min(size, buffer.size() - header)),
                      reply.begin());
    return true;
}

}  // namespace deskreader::id_frame

using namespace deskreader;

int ID_MakeCmdPackage(const unsigned char* command, int command_length, unsigned char* frame,
                      int frame_size) {
    if (command == nullptr || frame == nullptr || command_length < 0 || frame_size < 0)
        return status::invalid_argument;
    return id_frame::build({command, static_cast<std::size_t>(command_length)},
                           {frame, static_cast<std::size_t>(frame_size)});
}

int VexoIdPacketIsEnd(unsigned char* received, unsigned length) {
    if (received == nullptr) return 0;
    const protocol::Bytes bytes(received, length);
    if (bytes.size() < id_frame::header || !id_frame::has_preamble(bytes)) return 0;
    return bytes.size() - id_frame::header >= id_frame::length_of(bytes) ? 1 : 0;
}

int ID_SendCmd(DEVCONTEXT* target, const unsigned char* command, int command_length,
               unsigned char* out, int out_size, int timeout_ms) {
    return protocol::exchange(id_frame::format, target, command, command_length, out, out_size,
                              timeout_ms);
}
