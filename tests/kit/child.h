// Runs code in a child process with a time limit, for what must hang, crash or exit.
#pragma once

#include <chrono>
#include <functional>

namespace kit {

struct ChildEnd {
    bool timed_out = false;  // still running at the limit, and then killed
    int signal = 0;          // the signal that ended it, 0 if it exited
    int exit_status = -1;    // its exit status, -1 if it did not exit
};

// Ends the child from within its body.
[[noreturn]] void leave_child(int exit_status);

ChildEnd run_in_child(std::chrono::milliseconds limit, const std::function<void()>& body);

}  // namespace kit
