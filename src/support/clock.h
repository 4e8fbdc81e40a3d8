// The one door through which the library reads the time and sleeps, so that tests can let a minute
// pass in no time.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace deskreader::clock {

// Milliseconds of the monotonic clock.
std::uint64_t monotonic_ms() noexcept;

// Calendar time in seconds.
std::time_t wall_time() noexcept;

void sleep(std::chrono::microseconds duration) noexcept;

// What stands behind the door. A source must outlive its use.
class Source {
  public:
    virtual std::uint64_t monotonic_ms() noexcept = 0;
    virtual std::time_t wall_time() noexcept = 0;
    virtual void sleep(std::chrono::microseconds duration) noexcept = 0;

  protected:
    ~Source() = default;
};

// Puts `source` behind the door; null puts the system's clock back.
void use(Source* source) noexcept;

}  // namespace deskreader::clock
