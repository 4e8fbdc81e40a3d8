// The system calls of a piece of code, counted by the kernel: the code runs in a child process
// under ptrace.
#pragma once

#include <functional>
#include <optional>
#include <vector>

namespace kit {

// The numbers (SYS_...) of the calls that `action` makes in this thread, in their order; nothing
// where the kernel lets nobody trace. What the action changes stays in the child.
std::optional<std::vector<long>> system_calls_of(const std::function<void()>& action);

}  // namespace kit
