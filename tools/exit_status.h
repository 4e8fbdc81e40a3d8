// How the tool ends, as scripts see it.
#pragma once

#include <string>

namespace desk_tool {

enum ExitStatus {
    succeeded = 0,
    failed = 1,
    misused = 2,
    interrupted_waiting = 3,
    unhealthy = 4,
    strayed = 5,
    not_executable = 126,
    not_found = 127,
    ended_by_signal = 128,  // and the signal's number
};

// The table of them all, a line each.
std::string exit_table();

}  // namespace desk_tool
