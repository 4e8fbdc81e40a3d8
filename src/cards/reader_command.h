// What every command of the reader's card modules has in common: the frame is chosen by "Iccmd",
// the command's bytes stand in a row, and the reply's status is mapped by the row.
#pragma once

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "cards/bytes.h"
#include "status.h"

namespace deskreader::cards {

// A byte of a command as its row gives it: itself, or one of the two forms of the slot number.
using Token = std::uint16_t;
inline constexpr Token mapped_slot = 0x100;
inline constexpr Token plain_slot = 0x101;

// The bytes of a command up to its arguments; none where the frame does not know the command.
struct Pattern {
    std::array<Token, 6> tokens{};
    std::size_t size = 0;

    constexpr Pattern() = default;
    constexpr Pattern(std::initializer_list<Token> list) : size(list.size()) {
        std::size_t at = 0;
        for (const Token token : list)
            tokens[at++] = token;
    }
};

// A status of the reader and the number that stands for it. One byte in the IC frame, two in the
// Union frame.
struct StatusRow {
    std::uint16_t status;
    int result;
};

enum class OtherStatus {
    fails,           // with the row's number
    returns_length,  // kept: the length of the reply, a positive result
};

inline constexpr int frame_ic = 0;
inline constexpr int frame_union = 1;
inline constexpr int not_forced = -1;

inline constexpr std::size_t short_reply = 256;
inline constexpr std::size_t long_reply = 4096;

struct CommandRow {
    int default_frame;              // where config.ini has no "Iccmd"
    int forced_frame = not_forced;  // used whatever config.ini has
    Pattern ic;
    std::span<const StatusRow> ic_errors{};
    OtherStatus ic_other = OtherStatus::fails;
    Pattern union_;
    std::span<const StatusRow> union_errors{};
    int failure = status::failed;  // for a status that no list has
    std::size_t reply_room = short_reply;
};

struct Reply {
    int frame = frame_ic;
    std::array<std::uint8_t, long_reply> bytes;
    std::size_t length = 0;  // status included

    // False for a reply of the IC frame without even a status, which passes for done but brings
    // nothing.
    bool has_status() const noexcept { return frame == frame_union || length > 0; }

    std::size_t status_size() const noexcept { return frame == frame_ic ? 1 : 2; }

    // What follows the status.
    Bytes data() const noexcept {
        return std::span(bytes).first(length).subspan(length < status_size() ? length
                                                                             : status_size());
    }
};

// Sends the row's command with these arguments. 0 for success; otherwise what the row makes of the
// status, the result of the frame, or -1008 when the frame chosen does not know the command.
int run(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms,
        Reply& reply) noexcept;

// The same for a command whose arguments differ between the frames.
int run(const CommandRow& row, DEVCONTEXT* device, Bytes ic_arguments, Bytes union_arguments,
        int timeout_ms, Reply& reply) noexcept;

// The same for commands that bring nothing back.
int run_only(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms) noexcept;

// The same for commands whose data go to the caller: -74 for more than `room` bytes.
int run_for_data(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms,
                 std::size_t room, unsigned char* out, int* out_length) noexcept;

}  // namespace deskreader::cards
