// Series of measurements of one call, taken in rounds.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

namespace bench {

using Nanoseconds = std::int64_t;

inline Nanoseconds now(clockid_t clock = CLOCK_MONOTONIC) {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * Nanoseconds{1'000'000'000} + time.tv_nsec;
}

// The value below which this share of the sorted or unsorted values lies.
template <class Value>
Value quantile(std::vector<Value> values, double share) {
    if (values.empty()) return 0;
    const auto at = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(at);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

// Wall time of single calls, and this thread's processor time of all of a round.
class Series {
  public:
    template <class Call>
    void round(int calls, Call call) {
        std::vector<Nanoseconds> times;
        times.reserve(static_cast<std::size_t>(calls));
        const Nanoseconds cpu_begin = now(CLOCK_THREAD_CPUTIME_ID);
        for (int i = 0; i < calls; ++i) {
            const Nanoseconds begin = now();
            call();
            times.push_back(now() - begin);
        }
        cpu_.push_back((now(CLOCK_THREAD_CPUTIME_ID) - cpu_begin) / calls);
        medians_.push_back(quantile(times, 0.5));
        tails_.push_back(quantile(times, 0.99));
    }

    // Medians of the rounds.
    Nanoseconds median() const { return quantile(medians_, 0.5); }
    Nanoseconds tail() const { return quantile(tails_, 0.5); }
    Nanoseconds cpu() const { return quantile(cpu_, 0.5); }

  private:
    std::vector<Nanoseconds> medians_;
    std::vector<Nanoseconds> tails_;
    std::vector<Nanoseconds> cpu_;
};

}  // namespace bench
