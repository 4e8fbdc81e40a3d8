#include "waiting.h"

#include <deskreader.h>

#include <atomic>
#include <csignal>
#include <mutex>
#include <string>
#include <thread>

#include <pthread.h>
#include <unistd.h>

#include "exit_status.h"
#include "live_line.h"

namespace desk_tool {
namespace {

using namespace std::chrono_literals;

constexpr auto shown_after = 300ms;  // most cards are there by then

std::atomic<bool> was_interrupted{false};
std::mutex waiting_lock;
const Waiting* under_way = nullptr;
std::jthread watcher;

sigset_t watched_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

void take_signal() {
    if (was_interrupted) _exit(interrupted_waiting);
    was_interrupted = true;
}

void watch(const std::stop_token& stop) {
    constexpr timespec slice{0, 50'000'000};
    const sigset_t signals = watched_signals();
    while (!stop.stop_requested()) {
        if (sigtimedwait(&signals, nullptr, &slice) > 0) take_signal();
        const std::lock_guard lock(waiting_lock);
        if (under_way == nullptr) continue;
        under_way->show();
        // A wait that begins just now would take back an earlier cancel.
        if (was_interrupted) under_way->cancel();
    }
}

}  // namespace

Interruption::Interruption() {
    const sigset_t signals = watched_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    watcher = std::jthread(watch);
}

Interruption::~Interruption() {
    watcher = {};
}

bool interrupted() {
    return was_interrupted;
}

Waiting::Waiting(int timeout_s, const char* what, By by)
    : timeout_s_(timeout_s), what_(what), by_(by) {
    const std::lock_guard lock(waiting_lock);
    under_way = this;
}

Waiting::~Waiting() {
    const std::lock_guard lock(waiting_lock);
    under_way = nullptr;
    live_line::clear();
}

void Waiting::show() const {
    const auto waited = std::chrono::steady_clock::now() - begin_;
    if (waited < shown_after) return;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited).count();
    const std::string left =
        timeout_s_ > seconds ? std::to_string(timeout_s_ - seconds) + " s left, " : "";
    live_line::show("waiting for " + std::string(what_) + ", " + left + "Ctrl-C ends");
}

void Waiting::cancel() const {
    RD_CancelWait();
    if (by_ == By::reader) COMM_cancle();
}

}  // namespace desk_tool
