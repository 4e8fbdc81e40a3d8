#include "system_calls.h"

#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <sys/ioctl.h>

namespace {

struct Notes {
    std::vector<system_calls::Opened> opens;
    std::vector<unsigned long> terminal_requests;
    bool opens_refused = false;
    int failing_ioctl = 0;  // calls ahead, 0 for none
};

// Never destroyed: where coverage is measured, files are opened even after the destructors.
Notes& notes() {
    static Notes& all = *new Notes;
    return all;
}

}  // namespace

namespace system_calls {

void reset() {
    notes() = {};
}

const std::vector<Opened>& opens() {
    return notes().opens;
}

const std::vector<unsigned long>& terminal_requests() {
    return notes().terminal_requests;
}

void refuse_opens() {
    notes().opens_refused = true;
}

void fail_ioctl(int calls_ahead) {
    notes().failing_ioctl = calls_ahead;
}

}  // namespace system_calls

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
int __real_open(const char* path, int flags, ...);
int __real_ioctl(int file, unsigned long request, ...);

int __wrap_open(const char* path, int flags, ...) {
    notes().opens.push_back({path, flags});
    if (notes().opens_refused) {
        errno = ENOENT;
        return -1;
    }
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return __real_open(path, flags, mode);
}

int __wrap_ioctl(int file, unsigned long request, ...) {
    std::va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    notes().terminal_requests.push_back(request);
    if (notes().failing_ioctl > 0 && --notes().failing_ioctl == 0) {
        errno = EIO;
        return -1;
    }
    return __real_ioctl(file, request, argument);
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
