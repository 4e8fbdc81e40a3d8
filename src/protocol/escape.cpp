// Escape commands: ESC (1B) and one or more printable characters, written as they stand, for the
// base unit and the magnetic module. What answers, and with what:
//
//   1B 25 c                      pass-through port                      no reply
//   1B 53                        reset                                  no reply
//   1B 24 42|49|53 30|34         mode                                   2 bytes
//   1B 30                        reset of the magnetic module           no reply
//   1B 41|44|45|42|46|54 5D, 1B 5D   read tracks                        1B 73 characters 3F 1C
//   1B 74 data 1D 1B 5C 1B 6A    write tracks                           1B [42|54] 72 70|71
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "device/transport.h"
#include "device/turn.h"
#include "protocol/module.h"
#include "status.h"
#include "support/log.h"
#include "support/pointers.h"

using namespace deskreader;

namespace {

constexpr unsigned max_reply = 1024;
constexpr std::string_view track_read_mark = "\x3F\x1C";
constexpr std::string_view track_write_mark = "rp/q";

// What a command waits for.
struct Expected {
    bool any;                 // whether a reply is read at all
    bool mark_is_known;       // if not, the bytes written stand for the bytes received
    unsigned length;          // bytes asked for
    COMM_PacketIsEnd is_end;  // null: until they are there
};

int send_and_receive(DEVCONTEXT* target, std::span<const unsigned char> command,
                     std::span<unsigned char> out, const Expected& expected,
                     unsigned timeout_ms) noexcept {
    const device::Turn turn;
    protocol::address(target, protocol::Module::base);
    std::array<unsigned char, max_reply> reply{};
    int received = 0;
    int result = 0;
    {
        const device::Session session(target);
        if (session.status() != status::ok) return session.status();
        const auto length = static_cast<int>(command.size());
        GLogI("Send Cmd: %.*s\r\n", length, reinterpret_cast<const char*>(command.data()));
        result =
            COMM_Write(target, command.data(), static_cast<unsigned>(command.size()), timeout_ms);
        if (result == length && expected.any) {
            if (expected.mark_is_known) {
                result =
                    COMM_Read(target, reply.data(), expected.length, timeout_ms, expected.is_end);
            }
            received = std::max(result, 0);
            const auto shown = std::min(static_cast<std::size_t>(received), reply.size());
            GLogI("Read Pack(len=%d): %s\r\n", received,
                  log::HexText<2048>(std::span(reply).first(shown)).c_str());
        }
    }
    if (result < 0) return result;
    if (static_cast<std::size_t>(received) > out.size()) return status::invalid_argument;
    const auto copied = std::min(static_cast<std::size_t>(received), reply.size());
    std::ranges::copy(std::span(reply).first(copied), out.begin());
    std::ranges::fill(out.subspan(copied, static_cast<std::size_t>(received) - copied),
                      static_cast<unsigned char>(0));
    return result;
}

Expected expected_until(std::string_view mark) noexcept {
    if (mark == track_read_mark) return {true, true, max_reply, MsrPacketIsEnd};
    if (mark == track_write_mark) return {true, true, max_reply, MsrWriteIsEnd};
    return {true, false, 0, nullptr};  // kept: nothing is read, and the reply is zeros
}

std::span<const unsigned char> command_bytes(const unsigned char* command, int length) noexcept {
    return {command, static_cast<std::size_t>(length)};
}

std::span<unsigned char> room(unsigned char* out, int size) noexcept {
    return {out, static_cast<std::size_t>(size)};
}

// Whether `first` is followed at once by one of `second` anywhere in the bytes.
int has_pair(std::span<const unsigned char> bytes, unsigned char first,
             std::string_view second) noexcept {
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == first &&
            second.find(static_cast<char>(bytes[i + 1])) != std::string_view::npos)
            return 1;
    }
    return 0;
}

}  // namespace

int RAWL_SendCmd(DEVCONTEXT* target, const unsigned char* command, int command_length,
                 unsigned char* out, int out_size, int expected_length, int timeout_ms) {
    if (command == nullptr || out == nullptr || expected_length > out_size || command_length < 1 ||
        out_size <= 0 || expected_length < 0) {
        return status::invalid_argument;
    }
    const Expected expected{expected_length != 0, true,
                            std::min(static_cast<unsigned>(expected_length), max_reply), nullptr};
    return send_and_receive(target, command_bytes(command, command_length), room(out, out_size),
                            expected, static_cast<unsigned>(timeout_ms));
}

int RAWC_SendCmd(DEVCONTEXT* target, const unsigned char* command, int command_length,
                 unsigned char* out, int out_size, const char* end_mark, int timeout_ms) {
    if (command == nullptr || out == nullptr || end_mark == nullptr || command_length < 1 ||
        out_size <= 0) {
        return status::invalid_argument;
    }
    return send_and_receive(target, command_bytes(command, command_length), room(out, out_size),
                            expected_until(end_mark), static_cast<unsigned>(timeout_ms));
}

int MsrPacketIsEnd(unsigned char* received, unsigned length) {
    if (any_null(received)) return 0;
    return has_pair({received, length}, 0x3F, "\x1C");
}

int MsrWriteIsEnd(unsigned char* received, unsigned length) {
    if (any_null(received)) return 0;
    return has_pair({received, length}, 'r', "qp");
}
