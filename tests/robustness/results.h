// The numbers that functions may give.
#pragma once

#include <algorithm>
#include <iterator>

namespace robustness {

inline bool is_defined(int result, bool is_terminal) {
    constexpr struct {
        int first, last;
    } api[] = {{-1000, -1014}, {-2000, -2007}, {-2100, -2111}, {-3000, -3004},
               {-4000, -4006}, {-4100, -4117}, {-5001, -5016}, {-5105, -5106}},
      terminal[] = {{0, 0}, {-1, -32}, {-99, -99}};
    const auto within = [result](const auto& row) {
        return result <= row.first && result >= row.last;
    };
    if (is_terminal) return std::ranges::any_of(terminal, within);
    constexpr int internal[] = {-1, -2, -3, -5, -16, -19, -22, -62, -74, -99, -125};
    constexpr int most = 4096;  // some functions count bytes
    return (result >= 0 && result <= most) ||
           std::ranges::find(internal, result) != std::end(internal) ||
           std::ranges::any_of(api, within);
}

}  // namespace robustness
