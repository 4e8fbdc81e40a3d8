// A clock that the test moves. While one stands, the library's time is its time.
#pragma once

#include <atomic>
#include <functional>
#include <vector>

#include "support/clock.h"

namespace kit {

class FakeClock final : public deskreader::clock::Source {
  public:
    FakeClock() { deskreader::clock::use(this); }
    ~FakeClock() { deskreader::clock::use(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void advance(std::chrono::microseconds duration) { microseconds_ += duration.count(); }

    // Calendar time at this moment; it then moves with the rest.
    void set_wall_time(std::time_t now) { wall_origin_ = now - microseconds_ / 1'000'000; }

    // Lets this much pass at every reading of the monotonic clock, so that polling loops end.
    void tick(std::chrono::microseconds duration) { tick_ = duration.count(); }

    // Called after each sleep with the number of sleeps so far: insert a card, cancel, ...
    void on_sleep(std::function<void(int)> action) { on_sleep_ = std::move(action); }

    const std::vector<std::chrono::microseconds>& sleeps() const { return sleeps_; }
    void forget_sleeps() { sleeps_.clear(); }

    std::uint64_t monotonic_ms() noexcept override {
        microseconds_ += tick_;
        return static_cast<std::uint64_t>(microseconds_ / 1000);
    }
    std::time_t wall_time() noexcept override { return wall_origin_ + microseconds_ / 1'000'000; }
    void sleep(std::chrono::microseconds duration) noexcept override {
        advance(duration);
        sleeps_.push_back(duration);
        if (on_sleep_) on_sleep_(static_cast<int>(sleeps_.size()));
    }

  private:
    std::atomic<std::int64_t> microseconds_{1'000'000'000};
    std::atomic<std::int64_t> tick_{0};
    std::time_t wall_origin_ = 1'700'000'000;
    std::function<void(int)> on_sleep_;
    std::vector<std::chrono::microseconds> sleeps_;
};

}  // namespace kit
