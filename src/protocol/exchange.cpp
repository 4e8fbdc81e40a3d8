#include "protocol/exchange.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "device/transport.h"
#include "device/turn.h"
#include "protocol/module.h"
#include "status.h"
#include "support/log.h"

namespace deskreader::protocol {
namespace {

bool acceptable(const FrameFormat& format, const unsigned char* command, int command_length,
                const unsigned char* out, int out_size) noexcept {
    if (command == nullptr || out == nullptr || command_length <= 0 || out_size <= 0) return false;
    return format.max_command == 0 ||
           static_cast<std::size_t>(command_length) <= format.max_command;
}

// Sends the frame. Returns what was written, all of it or a failure.
int send(const FrameFormat& format, DEVCONTEXT* target, Bytes command, int timeout_ms,
         std::size_t& sent) noexcept {
    if (format.logs_command && log::enabled(log::Severity::information)) {
        const int shown = static_cast<int>(command.size());
        GLogI("Cmd: %.*s, CmdSize = %d\r\n", shown, reinterpret_cast<const char*>(command.data()),
              shown);
    }
    std::array<std::uint8_t, 2048> frame;
    const int length = format.build(command, std::span(frame).first(format.max_frame));
    if (length <= 0) return length;
    sent = static_cast<std::size_t>(length);
    GLogI("Send szPackage: %s\r\n", log::HexText<2048>(std::span(frame).first(sent)).c_str());
    return COMM_Write(target, frame.data(), static_cast<unsigned>(sent),
                      static_cast<unsigned>(timeout_ms));
}

}  // namespace

int has_frame_end(unsigned char* received, unsigned length) noexcept {
    return std::memchr(received, end_of_frame, length) != nullptr ? 1 : 0;
}

int copy_frame(Bytes rest, Buffer out) noexcept {
    const void* end = std::memchr(rest.data(), end_of_frame, rest.size());
    const std::size_t length =
        end == nullptr
            ? rest.size()
            : static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - rest.data()) + 1;
    const std::size_t count = std::min(length, out.size());
    std::memcpy(out.data(), rest.data(), count);
    std::ranges::fill(out.subspan(count), std::uint8_t{0});
    return static_cast<int>(count);
}

Received read(DEVCONTEXT* target, Buffer buffer, std::size_t shown, int timeout_ms,
              COMM_PacketIsEnd is_end, std::size_t sent) noexcept {
    const int result = COMM_Read(target, buffer.data(), static_cast<unsigned>(buffer.size()),
                                 static_cast<unsigned>(timeout_ms), is_end);
    const std::size_t got = result > 0 ? static_cast<std::size_t>(result) : sent;
    const Bytes logged = buffer.first(std::min({got, shown, buffer.size()}));
    GLogI("Read Pack(len=%d): %s\r\n", static_cast<int>(got), log::HexText<8192>(logged).c_str());
    return {result, got};
}

int receive_text(const FrameFormat& format, DEVCONTEXT* target, Buffer reply, int timeout_ms,
                 std::size_t sent) noexcept {
    std::array<std::uint8_t, max_received> received{};
    const std::size_t length =
        read(target, received, max_shown, timeout_ms, has_frame_end, sent).length;

    // kept: a failed read leaves zeros here, which are no frame: whatever failed, the caller sees
    // -74.
    std::array<std::uint8_t, max_received> trimmed;
    const Bytes bytes = std::span(received).first(std::min(length, received.size()));
    const auto count = static_cast<std::size_t>(format.trim(bytes, trimmed));
    const int result = format.parse(std::span(trimmed).first(count), reply);
    // kept: the room is held against the length of the text, not of the reply.
    if (result >= 0 && reply.size() < count) return status::invalid_argument;
    return result;
}

int exchange(const FrameFormat& format, DEVCONTEXT* target, const unsigned char* command,
             int command_length, unsigned char* out, int out_size, int timeout_ms) noexcept {
    if (!acceptable(format, command, command_length, out, out_size))
        return status::invalid_argument;
    const device::Turn turn;
    address(target, Module::cards);
    const device::Session session(target);
    if (session.status() != status::ok) return session.status();
    std::size_t sent = 0;
    const int written =
        send(format, target, {command, static_cast<std::size_t>(command_length)}, timeout_ms, sent);
    if (written < 0 || static_cast<std::size_t>(written) != sent) return written;
    return format.receive(format, target, {out, static_cast<std::size_t>(out_size)}, timeout_ms,
                          sent);
}

}  // namespace deskreader::protocol
