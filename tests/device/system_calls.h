// The calls of open and ioctl that this test program makes, noted and, where a test wants it, made
// to fail. The linker puts these in the way (--wrap).
#pragma once

#include <string>
#include <vector>

namespace system_calls {

struct Opened {
    std::string path;
    int flags;
};

// Forgets what was noted and lets all calls through.
void reset();

const std::vector<Opened>& opens();
const std::vector<unsigned long>& terminal_requests();

// From now on open fails with ENOENT.
void refuse_opens();

// The ioctl so many calls ahead fails with EIO: 1 is the next one.
void fail_ioctl(int calls_ahead);

}  // namespace system_calls
