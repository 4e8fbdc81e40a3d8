#include "support/clock.h"

#include <atomic>

#include <unistd.h>

namespace deskreader::clock {
namespace {

constinit std::atomic<Source*> replacement{nullptr};

}  // namespace

std::uint64_t monotonic_ms() noexcept {
    if (Source* source = replacement.load()) return source->monotonic_ms();
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

std::time_t wall_time() noexcept {
    if (Source* source = replacement.load()) return source->wall_time();
    return std::time(nullptr);
}

void sleep(std::chrono::microseconds duration) noexcept {
    if (Source* source = replacement.load()) return source->sleep(duration);
    usleep(static_cast<useconds_t>(duration.count()));
}

void use(Source* source) noexcept {
    replacement.store(source);
}

}  // namespace deskreader::clock
