// The time of a link: when it is, and how long bytes are on their way over a real wire.
#pragma once

#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>

namespace virtual_reader {

using Time = std::chrono::nanoseconds;

// The time of a link, from any beginning.
using Now = std::function<Time()>;

inline Time steady_now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

enum class Timing {
    at_once,       // answers are there as soon as the request is
    true_to_wire,  // they come when they would over a wire
};

// One input or output report of a full-speed interrupt endpoint.
inline constexpr Time report_time = std::chrono::milliseconds(1);

// Bytes at a rate in baud, with a start bit and a stop bit each.
constexpr Time serial_time(std::size_t bytes, int rate) {
    constexpr std::size_t bits_per_byte = 10;
    return rate <= 0 ? Time(0)
                     : Time(static_cast<Time::rep>(bytes * bits_per_byte * 1'000'000'000) / rate);
}

inline timespec as_timespec(Time time) {
    constexpr Time::rep per_second = 1'000'000'000;
    return {static_cast<std::time_t>(time.count() / per_second), time.count() % per_second};
}

}  // namespace virtual_reader
