#include "serial_port.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int file);
int __real_ioctl(int file, unsigned long request, ...);
int __real_ppoll(pollfd* files, nfds_t count, const timespec* limit, const sigset_t* mask);
ssize_t __real_read(int file, void* out, size_t size);
ssize_t __real_write(int file, const void* data, size_t size);

int __wrap_open(const char* path, int flags, ...);
int __wrap_close(int file);
int __wrap_ioctl(int file, unsigned long request, ...);
int __wrap_ppoll(pollfd* files, nfds_t count, const timespec* limit, const sigset_t* mask);
ssize_t __wrap_read(int file, void* out, size_t size);
ssize_t __wrap_write(int file, const void* data, size_t size);
}

namespace fuzzing::serial_port {
namespace {

SerialPeer* current = nullptr;
std::set<int>& lines() {
    static std::set<int> files;
    return files;
}

bool is_line(int file) {
    return current != nullptr && lines().contains(file);
}

// A descriptor like any other, so that one that is not closed is noticed.
int open_line() {
    const int file = __real_open("/dev/null", O_RDWR | O_CLOEXEC);
    if (file >= 0) lines().insert(file);
    return file;
}

bool is_refused(std::string_view path) {
    return path.starts_with("/dev/") && path != "/dev/null" && path != "/dev/urandom";
}

}  // namespace

void connect(SerialPeer* peer) {
    current = peer;
    lines().clear();
}

int open_count() {
    return static_cast<int>(lines().size());
}

}  // namespace fuzzing::serial_port

using namespace fuzzing;
using serial_port::is_line;

int __wrap_open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (serial_port::current == nullptr) return __real_open(path, flags, mode);
    if (std::string_view(path) == serial_port::device) return serial_port::open_line();
    if (serial_port::is_refused(path)) {
        errno = ENOENT;
        return -1;
    }
    return __real_open(path, flags, mode);
}

int __wrap_close(int file) {
    if (serial_port::current != nullptr) serial_port::lines().erase(file);
    return __real_close(file);
}

// Settings are taken and given as those of a line that was just plugged in.
int __wrap_ioctl(int file, unsigned long request, ...) {
    std::va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!is_line(file)) return __real_ioctl(file, request, argument);
    if (request == TCGETA) std::memset(argument, 0, sizeof(termio));
    return 0;
}

int __wrap_ppoll(pollfd* files, nfds_t count, const timespec* limit, const sigset_t* mask) {
    if (count != 1 || !is_line(files->fd)) return __real_ppoll(files, count, limit, mask);
    const bool is_ready = serial_port::current->poll();
    files->revents = is_ready ? POLLIN : short{0};
    return is_ready ? 1 : 0;
}

ssize_t __wrap_read(int file, void* out, size_t size) {
    if (!is_line(file)) return __real_read(file, out, size);
    return static_cast<ssize_t>(
        serial_port::current->read({static_cast<std::uint8_t*>(out), size}));
}

ssize_t __wrap_write(int file, const void* data, size_t size) {
    if (!is_line(file)) return __real_write(file, data, size);
    serial_port::current->write({static_cast<const std::uint8_t*>(data), size});
    return static_cast<ssize_t>(size);
}
