// What the recording companion, inside the recorded host, tells "deskreader record": one message of
// a SOCK_SEQPACKET socket an event, whose path stands in the environment.
#pragma once

#include <cstddef>
#include <cstdint>

namespace desk_tool::record {

inline constexpr const char* socket_variable = "DESKREADER_RECORDER";
inline constexpr const char* companion_name = "libdeskreader_record.so";

enum class Event : std::uint8_t { opened_serial, opened_usb, sent, received, closed };

// Before the bytes: those of the line or report, or the name of the device. The place tells devices
// apart that are open at once.
struct Header {
    std::uint64_t nanoseconds;  // of the monotonic clock
    std::uint64_t place;
    Event event;
};

// Longer chunks are told in pieces.
inline constexpr std::size_t max_bytes = 16384;

}  // namespace desk_tool::record
