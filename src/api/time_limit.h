// Time limits as hosts give them to RD_ functions.
#pragma once

#include <limits>

namespace deskreader::api {

// Seconds, not negative, as milliseconds; more than an int holds stay at its end, 24 days.
constexpr int milliseconds_of(int seconds) noexcept {
    constexpr int longest = std::numeric_limits<int>::max();
    return seconds > longest / 1000 ? longest : seconds * 1000;
}

}  // namespace deskreader::api
