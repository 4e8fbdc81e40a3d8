#include "kit/child.h"

#include <csignal>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

// Where line coverage is measured, writes down what this process reached.
extern "C" void __gcov_dump() __attribute__((weak));

namespace kit {

void leave_child(int exit_status) {
    if (__gcov_dump != nullptr) __gcov_dump();
    _exit(exit_status);
}

ChildEnd run_in_child(std::chrono::milliseconds limit, const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        leave_child(0);
    }
    ChildEnd end;
    int state = 0;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (waitpid(child, &state, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            end.timed_out = true;
            kill(child, SIGKILL);
            waitpid(child, &state, 0);
            return end;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (WIFEXITED(state)) end.exit_status = WEXITSTATUS(state);
    if (WIFSIGNALED(state)) end.signal = WTERMSIG(state);
    return end;
}

}  // namespace kit
