// Recording companion: loaded into a host before all other libraries, it stands between the reader
// library and what that calls, hidapi and the descriptor of the serial port, and tells the recorder
// what goes through.
//
// Why here, and not on a pseudo-terminal between host and reader: one way serves USB and serial
// lines, the host keeps the device it names, rates and times stay those of the real line, and
// nothing has to be configured in the host. What the library calls is open to be stood before: see
// "the library's edge" in docs/architecture.md.
//
// It must never disturb the host: without a recorder it only passes calls on, errno stays what the
// real call left, and it uses no memory but its own.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string_view>

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/un.h>

#include "record_protocol.h"

struct hid_device_;
using hid_device = hid_device_;

// Declared once more as they are defined here, those of the C library's checked calls included.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-redundant-declaration)
extern "C" {
int open(const char* path, int flags, ...);
int open64(const char* path, int flags, ...);
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
ssize_t read(int file, void* buffer, size_t count);
ssize_t __read_chk(int file, void* buffer, size_t count, size_t room);
ssize_t write(int file, const void* data, size_t count);
int close(int file);
int isatty(int file);
hid_device* hid_open(unsigned short vendor, unsigned short product, const wchar_t* serial);
int hid_write(hid_device* device, const unsigned char* data, size_t length);
int hid_read_timeout(hid_device* device, unsigned char* data, size_t length, int milliseconds);
void hid_close(hid_device* device);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-redundant-declaration)

namespace {

using desk_tool::record::Event;
using desk_tool::record::Header;

constexpr std::string_view reader_library = "libdeskreader.so";
constexpr const char* hid_library = "libhidapi-libusb.so.0";

// The function that would have been called without this library, looked up once. A host may have
// loaded the reader library, and hidapi with it, for itself alone: then hidapi is asked for by its
// name.
template <class Function>
class Next {
  public:
    explicit constexpr Next(const char* name) : name_(name) {}

    // Null if there is none.
    Function* get() {
        if (found_.load() == nullptr) found_.store(find());
        return reinterpret_cast<Function*>(found_.load());
    }

  private:
    void* find() const {
        void* found = dlsym(RTLD_NEXT, name_);
        if (found != nullptr || !std::string_view(name_).starts_with("hid_")) return found;
        void* hidapi = dlopen(hid_library, RTLD_NOW | RTLD_NOLOAD);
        return hidapi == nullptr ? nullptr : dlsym(hidapi, name_);
    }

    const char* name_;
    std::atomic<void*> found_{nullptr};
};

constinit Next<int(const char*, int, ...)> next_open("open");
constinit Next<int(const char*, int, ...)> next_open64("open64");
constinit Next<int(const char*, int)> next_open_2("__open_2");
constinit Next<int(const char*, int)> next_open64_2("__open64_2");
constinit Next<ssize_t(int, void*, size_t)> next_read("read");
constinit Next<ssize_t(int, void*, size_t, size_t)> next_read_chk("__read_chk");
constinit Next<ssize_t(int, const void*, size_t)> next_write("write");
constinit Next<int(int)> next_close("close");
constinit Next<hid_device*(unsigned short, unsigned short, const wchar_t*)> next_hid_open(
    "hid_open");
constinit Next<int(hid_device*, const unsigned char*, size_t)> next_hid_write("hid_write");
constinit Next<int(hid_device*, unsigned char*, size_t, int)> next_hid_read("hid_read_timeout");
constinit Next<void(hid_device*)> next_hid_close("hid_close");

class KeptErrno {
  public:
    KeptErrno() : value_(errno) {}
    ~KeptErrno() { errno = value_; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

  private:
    int value_;
};

bool is_reader_library(const void* code) {
    Dl_info info{};
    if (dladdr(code, &info) == 0 || info.dli_fname == nullptr) return false;
    const std::string_view path = info.dli_fname;
    return path.substr(path.rfind('/') + 1).starts_with(reader_library);
}

// The way to the recorder, made when there is something to tell.
class Recorder {
  public:
    void tell(Event event, std::uint64_t place, const void* data, std::size_t count) {
        const KeptErrno kept;
        const std::lock_guard lock(mutex_);
        if (!connect_once()) return;
        const auto* bytes = static_cast<const char*>(data);
        do {
            const std::size_t part =
                count < desk_tool::record::max_bytes ? count : desk_tool::record::max_bytes;
            send_part(event, place, bytes, part);
            bytes += part;
            count -= part;
        } while (count > 0);
    }

    // A host may close descriptors that it never opened: the next one with this number is its own.
    void forget(int file) {
        const std::lock_guard lock(mutex_);
        if (file == socket_) socket_ = -1;
    }

  private:
    bool connect_once() {
        if (tried_) return socket_ >= 0;
        tried_ = true;
        const char* path = std::getenv(desk_tool::record::socket_variable);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path == nullptr || std::strlen(path) >= sizeof address.sun_path) return false;
        std::strcpy(address.sun_path, path);
        const int opened = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        if (opened < 0) return false;
        if (connect(opened, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            socket_ = opened;
            return true;
        }
        next_close.get()(opened);
        return false;
    }

    void send_part(Event event, std::uint64_t place, const char* bytes, std::size_t count) const {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        Header header{};
        header.nanoseconds = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u +
                             static_cast<std::uint64_t>(now.tv_nsec);
        header.place = place;
        header.event = event;
        std::array<iovec, 2> parts{{{&header, sizeof header}, {const_cast<char*>(bytes), count}}};
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        sendmsg(socket_, &message, MSG_NOSIGNAL);
    }

    std::mutex mutex_;
    bool tried_ = false;
    int socket_ = -1;
};

constinit Recorder recorder;

// What the reader library has open: descriptors, or handles of hidapi. 0 is a free place.
class OpenPlaces {
  public:
    void add(std::uint64_t place) {
        for (auto& one : places_) {
            std::uint64_t free = 0;
            if (one.compare_exchange_strong(free, place)) return;
        }
    }
    bool holds(std::uint64_t place) const {
        for (const auto& one : places_) {
            if (one.load() == place) return true;
        }
        return false;
    }
    bool remove(std::uint64_t place) {
        for (auto& one : places_) {
            std::uint64_t wanted = place;
            if (one.compare_exchange_strong(wanted, 0)) return true;
        }
        return false;
    }

  private:
    std::array<std::atomic<std::uint64_t>, 8> places_{};
};

constinit OpenPlaces open_places;

std::uint64_t place_of(int file) {
    return static_cast<std::uint64_t>(file) + 1;
}

std::uint64_t place_of(const hid_device* device) {
    return reinterpret_cast<std::uintptr_t>(device);
}

void note_opened(int file, const char* path, const void* caller) {
    const KeptErrno kept;
    if (file < 0 || !is_reader_library(caller) || isatty(file) != 1) return;
    open_places.add(place_of(file));
    recorder.tell(Event::opened_serial, place_of(file), path, std::strlen(path));
}

void note_received(int file, const void* data, ssize_t count) {
    if (count <= 0 || !open_places.holds(place_of(file))) return;
    recorder.tell(Event::received, place_of(file), data, static_cast<std::size_t>(count));
}

int open_by(Next<int(const char*, int, ...)>& next, const char* path, int flags, mode_t mode,
            const void* caller) {
    const int file = next.get()(path, flags, mode);
    note_opened(file, path, caller);
    return file;
}

int open_by(Next<int(const char*, int)>& next, const char* path, int flags, const void* caller) {
    const int file = next.get()(path, flags);
    note_opened(file, path, caller);
    return file;
}

}  // namespace

// The mode is there if the flags ask for it; passing on what is not there does no harm.
int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return open_by(next_open, path, flags, mode, __builtin_return_address(0));
}

int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return open_by(next_open64, path, flags, mode, __builtin_return_address(0));
}

int __open_2(const char* path, int flags) {
    return open_by(next_open_2, path, flags, __builtin_return_address(0));
}

int __open64_2(const char* path, int flags) {
    return open_by(next_open64_2, path, flags, __builtin_return_address(0));
}

ssize_t read(int file, void* buffer, size_t count) {
    const ssize_t got = next_read.get()(file, buffer, count);
    note_received(file, buffer, got);
    return got;
}

ssize_t __read_chk(int file, void* buffer, size_t count, size_t room) {
    const ssize_t got = next_read_chk.get()(file, buffer, count, room);
    note_received(file, buffer, got);
    return got;
}

// Told before it is done: the answer must not come first.
ssize_t write(int file, const void* data, size_t count) {
    if (count > 0 && open_places.holds(place_of(file)))
        recorder.tell(Event::sent, place_of(file), data, count);
    return next_write.get()(file, data, count);
}

int close(int file) {
    if (file >= 0) recorder.forget(file);
    if (open_places.remove(place_of(file)))
        recorder.tell(Event::closed, place_of(file), nullptr, 0);
    return next_close.get()(file);
}

hid_device* hid_open(unsigned short vendor, unsigned short product, const wchar_t* serial) {
    auto* const real = next_hid_open.get();
    hid_device* device = real == nullptr ? nullptr : real(vendor, product, serial);
    if (device == nullptr || !is_reader_library(__builtin_return_address(0))) return device;
    open_places.add(place_of(device));
    constexpr char digits[] = "0123456789ABCDEF";
    std::array<char, 9> name{};
    for (unsigned i = 0; i < 4; ++i) {
        name[i] = digits[vendor >> (12 - 4 * i) & 0xF];
        name[5 + i] = digits[product >> (12 - 4 * i) & 0xF];
    }
    name[4] = ':';
    recorder.tell(Event::opened_usb, place_of(device), name.data(), name.size());
    return device;
}

int hid_write(hid_device* device, const unsigned char* data, size_t length) {
    if (open_places.holds(place_of(device)))
        recorder.tell(Event::sent, place_of(device), data, length);
    auto* const real = next_hid_write.get();
    return real == nullptr ? -1 : real(device, data, length);
}

int hid_read_timeout(hid_device* device, unsigned char* data, size_t length, int milliseconds) {
    auto* const real = next_hid_read.get();
    const int got = real == nullptr ? -1 : real(device, data, length, milliseconds);
    if (got > 0 && open_places.holds(place_of(device)))
        recorder.tell(Event::received, place_of(device), data, static_cast<std::size_t>(got));
    return got;
}

void hid_close(hid_device* device) {
    if (open_places.remove(place_of(device)))
        recorder.tell(Event::closed, place_of(device), nullptr, 0);
    auto* const real = next_hid_close.get();
    if (real != nullptr) real(device);
}
