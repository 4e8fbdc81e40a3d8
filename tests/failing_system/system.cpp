#include "failing_system/system.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <new>
#include <set>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <hidapi.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace failing_system {
namespace {

constexpr Manner shorter{"short", 0};
constexpr Manner io_error{"EIO", EIO};
constexpr Manner interrupted{"EINTR", EINTR};
constexpr Manner no_space{"ENOSPC", ENOSPC};
constexpr Manner no_memory{"ENOMEM", ENOMEM};
constexpr Manner no_rights{"EACCES", EACCES};
constexpr Manner too_many_files{"EMFILE", EMFILE};

constexpr Manner for_opening[] = {too_many_files, no_rights, interrupted};
constexpr Manner for_closing[] = {io_error, interrupted};
constexpr Manner for_reading[] = {io_error, interrupted, shorter};
constexpr Manner for_writing[] = {no_space, io_error, interrupted, shorter};
constexpr Manner for_streams[] = {no_space, io_error};
constexpr Manner for_control[] = {io_error, interrupted};
constexpr Manner for_memory[] = {no_memory};
constexpr Manner for_names[] = {no_rights, io_error};
constexpr Manner for_sizes[] = {no_space, interrupted, io_error};
constexpr Manner for_devices[] = {io_error};
constexpr Manner for_formats[] = {no_memory};
constexpr Manner for_entries[] = {io_error, shorter};

constexpr Function all_functions[] = {
    {"open", for_opening},
    {"close", for_closing},
    {"read", for_reading},
    {"pread", for_reading},
    {"write", for_writing},
    {"pwrite", for_writing},
    {"ioctl", for_control},
    {"ppoll", for_control},
    {"fopen", for_opening},
    {"fclose", for_streams},
    {"fread", for_reading},
    {"fwrite", for_writing},
    {"fputs", for_streams},
    {"fflush", for_streams},
    {"fsync", for_sizes},
    {"ftruncate", for_control},
    {"posix_fallocate", for_sizes},
    {"malloc", for_memory},
    {"calloc", for_memory},
    {"new[]", for_memory},
    {"opendir", for_opening},
    {"readdir", for_entries},
    {"mkdir", for_names},
    {"remove", for_names},
    {"stat", for_names},
    {"fstat", for_devices},
    {"fstatat", for_devices},
    {"dladdr", for_devices},
    {"dlopen", for_memory},
    {"dlsym", for_memory},
    {"dlclose", for_devices},
    {"vsnprintf", for_formats},
    {"hid_init", for_devices},
    {"hid_exit", for_devices},
    {"hid_open", for_memory},
    {"hid_write", for_devices},
    {"hid_read_timeout", for_devices},
};

struct Watch {
    Watched seen;
    Failure failure;
    std::function<void()> at_failure;
    std::set<const void*> allocations, streams, directories, libraries;
    std::set<int> descriptors;
    std::map<pthread_mutex_t*, int> locks;  // taken, and how often
};

// Of this thread; null while nothing is watched, and while the far end of the bus works.
thread_local Watch* current = nullptr;

std::string pretended_library;

// The far end of the bus is not the library.
class Unwatched {
  public:
    Unwatched() : before_(std::exchange(current, nullptr)) {}
    ~Unwatched() { current = before_; }
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;

  private:
    Watch* before_;
};

// How this call fails; null when it does not.
const Manner* failing(std::string_view function) {
    if (current == nullptr) return nullptr;
    Watch& watch = *current;
    const int number = ++watch.seen.calls[function];
    if (function != watch.failure.function || number != watch.failure.number) return nullptr;
    watch.seen.failed = true;
    {
        const Unwatched pause;
        if (watch.at_failure) watch.at_failure();
    }
    errno = watch.failure.manner.error;
    return &watch.failure.manner;
}

template <class Handle>
Handle* noted(std::set<const void*> Watch::*kind, Handle* handle) {
    if (current != nullptr && handle != nullptr) (current->*kind).insert(handle);
    return handle;
}

void given_back(std::set<const void*> Watch::*kind, const void* handle) {
    if (current != nullptr) (current->*kind).erase(handle);
}

std::size_t half(std::size_t count) {
    return count / 2;
}

int count(const auto& set) {
    return static_cast<int>(set.size());
}

}  // namespace

std::span<const Function> functions() {
    return all_functions;
}

void pretend_library_is(const std::string& path) {
    pretended_library = path;
}

Watched watch(const std::function<void()>& flow, const Failure& failure,
              const std::function<void()>& at_failure) {
    Watch watch{{}, failure, at_failure, {}, {}, {}, {}, {}, {}};
    current = &watch;
    flow();
    current = nullptr;
    for (const auto& [lock, times] : watch.locks)
        for (int time = 0; time < times; ++time)
            pthread_mutex_unlock(lock);
    watch.seen.held = {count(watch.allocations), count(watch.descriptors), count(watch.streams),
                       count(watch.directories), count(watch.libraries)};
    return watch.seen;
}

}  // namespace failing_system

using namespace failing_system;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define WRAPPED(result, name, ...)     \
    result __real_##name(__VA_ARGS__); \
    result __wrap_##name(__VA_ARGS__); \
    result __wrap_##name(__VA_ARGS__)

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (failing("open") != nullptr) return -1;
    const int file = __real_open(path, flags, mode);
    if (current != nullptr && file >= 0) current->descriptors.insert(file);
    return file;
}

WRAPPED(int, close, int file) {
    const bool fails = failing("close") != nullptr;
    if (current != nullptr) current->descriptors.erase(file);
    const int before = errno;
    const int result = __real_close(file);
    if (!fails) return result;
    errno = before;
    return -1;
}

WRAPPED(ssize_t, read, int file, void* out, size_t size) {
    const Manner* manner = failing("read");
    if (manner == nullptr) return __real_read(file, out, size);
    return manner->error != 0 ? -1 : __real_read(file, out, std::min<size_t>(size, 1));
}

WRAPPED(ssize_t, pread, int file, void* out, size_t size, off_t place) {
    const Manner* manner = failing("pread");
    if (manner == nullptr) return __real_pread(file, out, size, place);
    return manner->error != 0 ? -1 : __real_pread(file, out, half(size), place);
}

WRAPPED(ssize_t, write, int file, const void* data, size_t size) {
    const Manner* manner = failing("write");
    if (manner == nullptr) return __real_write(file, data, size);
    return manner->error != 0 ? -1 : __real_write(file, data, half(size));
}

WRAPPED(ssize_t, pwrite, int file, const void* data, size_t size, off_t place) {
    const Manner* manner = failing("pwrite");
    if (manner == nullptr) return __real_pwrite(file, data, size, place);
    return manner->error != 0 ? -1 : __real_pwrite(file, data, half(size), place);
}

int __real_ioctl(int file, unsigned long request, ...);
int __wrap_ioctl(int file, unsigned long request, ...);
int __wrap_ioctl(int file, unsigned long request, ...) {
    va_list rest;
    va_start(rest, request);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    return failing("ioctl") != nullptr ? -1 : __real_ioctl(file, request, argument);
}

// Only polls that find something are counted: how many find nothing is a matter of time.
WRAPPED(int, ppoll, pollfd* ports, nfds_t port_count, const timespec* limit, const sigset_t* mask) {
    const int ready = __real_ppoll(ports, port_count, limit, mask);
    if (ready <= 0) return ready;
    return failing("ppoll") != nullptr ? -1 : ready;
}

WRAPPED(std::FILE*, fopen, const char* path, const char* mode) {
    if (failing("fopen") != nullptr) return nullptr;
    return noted(&Watch::streams, __real_fopen(path, mode));
}

WRAPPED(int, fclose, std::FILE* stream) {
    const bool fails = failing("fclose") != nullptr;
    given_back(&Watch::streams, stream);
    const int before = errno;
    const int result = __real_fclose(stream);
    if (!fails) return result;
    errno = before;
    return EOF;
}

WRAPPED(size_t, fread, void* out, size_t size, size_t number, std::FILE* stream) {
    const Manner* manner = failing("fread");
    if (manner == nullptr) return __real_fread(out, size, number, stream);
    return manner->error != 0 ? 0 : __real_fread(out, size, half(number), stream);
}

WRAPPED(size_t, fwrite, const void* data, size_t size, size_t number, std::FILE* stream) {
    const Manner* manner = failing("fwrite");
    if (manner == nullptr) return __real_fwrite(data, size, number, stream);
    return manner->error != 0 ? 0 : __real_fwrite(data, size, half(number), stream);
}

WRAPPED(int, fputs, const char* text, std::FILE* stream) {
    return failing("fputs") != nullptr ? EOF : __real_fputs(text, stream);
}

WRAPPED(int, fflush, std::FILE* stream) {
    return failing("fflush") != nullptr ? EOF : __real_fflush(stream);
}

// A disk that is waited for would make up most of a run.
WRAPPED(int, fsync, int file) {
    if (failing("fsync") != nullptr) return -1;
    return current != nullptr ? 0 : __real_fsync(file);
}

WRAPPED(int, ftruncate, int file, off_t size) {
    return failing("ftruncate") != nullptr ? -1 : __real_ftruncate(file, size);
}

WRAPPED(int, posix_fallocate, int file, off_t place, off_t size) {
    const Manner* manner = failing("posix_fallocate");
    return manner != nullptr ? manner->error : __real_posix_fallocate(file, place, size);
}

WRAPPED(void*, malloc, size_t size) {
    if (failing("malloc") != nullptr) return nullptr;
    return noted(&Watch::allocations, __real_malloc(size));
}

WRAPPED(void*, calloc, size_t number, size_t size) {
    if (failing("calloc") != nullptr) return nullptr;
    return noted(&Watch::allocations, __real_calloc(number, size));
}

WRAPPED(void, free, void* memory) {
    given_back(&Watch::allocations, memory);
    __real_free(memory);
}

// new (std::nothrow) T[n] and delete[].
WRAPPED(void*, _ZnamRKSt9nothrow_t, size_t size, const std::nothrow_t& tag) {
    if (failing("new[]") != nullptr) return nullptr;
    return noted(&Watch::allocations, __real__ZnamRKSt9nothrow_t(size, tag));
}

WRAPPED(void, _ZdaPv, void* memory) {
    given_back(&Watch::allocations, memory);
    __real__ZdaPv(memory);
}

WRAPPED(DIR*, opendir, const char* path) {
    if (failing("opendir") != nullptr) return nullptr;
    return noted(&Watch::directories, __real_opendir(path));
}

WRAPPED(int, closedir, DIR* directory) {
    given_back(&Watch::directories, directory);
    return __real_closedir(directory);
}

// Some file systems do not tell the kind of an entry.
WRAPPED(dirent*, readdir, DIR* directory) {
    const Manner* manner = failing("readdir");
    if (manner != nullptr && manner->error != 0) return nullptr;
    dirent* entry = __real_readdir(directory);
    if (manner != nullptr && entry != nullptr) entry->d_type = DT_UNKNOWN;
    return entry;
}

WRAPPED(int, mkdir, const char* path, mode_t mode) {
    return failing("mkdir") != nullptr ? -1 : __real_mkdir(path, mode);
}

WRAPPED(int, remove, const char* path) {
    return failing("remove") != nullptr ? -1 : __real_remove(path);
}

WRAPPED(int, stat, const char* path, struct stat* out) {
    return failing("stat") != nullptr ? -1 : __real_stat(path, out);
}

WRAPPED(int, fstat, int file, struct stat* out) {
    return failing("fstat") != nullptr ? -1 : __real_fstat(file, out);
}

WRAPPED(int, fstatat, int directory, const char* path, struct stat* out, int flags) {
    return failing("fstatat") != nullptr ? -1 : __real_fstatat(directory, path, out, flags);
}

WRAPPED(int, dladdr, const void* address, Dl_info* out) {
    if (failing("dladdr") != nullptr) return 0;
    const int result = __real_dladdr(address, out);
    if (!pretended_library.empty()) out->dli_fname = pretended_library.c_str();
    return result;
}

WRAPPED(void*, dlopen, const char* path, int flags) {
    if (failing("dlopen") != nullptr) return nullptr;
    return noted(&Watch::libraries, __real_dlopen(path, flags));
}

WRAPPED(void*, dlsym, void* library, const char* name) {
    return __real_dlsym(library, failing("dlsym") != nullptr ? "no function of this name" : name);
}

WRAPPED(int, dlclose, void* library) {
    const bool fails = failing("dlclose") != nullptr;
    given_back(&Watch::libraries, library);
    const int result = __real_dlclose(library);
    return fails ? -1 : result;
}

WRAPPED(int, vsnprintf, char* out, size_t size, const char* format, va_list arguments) {
    return failing("vsnprintf") != nullptr ? -1 : __real_vsnprintf(out, size, format, arguments);
}

// A host that takes a lock which it holds already waits for ever; here that is noted.
WRAPPED(int, pthread_mutex_lock, pthread_mutex_t* lock) {
    if (current == nullptr) return __real_pthread_mutex_lock(lock);
    if (pthread_mutex_trylock(lock) == 0) {
        ++current->locks[lock];
    } else {
        current->seen.would_stop = true;
    }
    return 0;
}

WRAPPED(int, pthread_mutex_unlock, pthread_mutex_t* lock) {
    if (current == nullptr) return __real_pthread_mutex_unlock(lock);
    // One that would have been waited for is not held here.
    if (current->locks[lock] == 0) return 0;
    --current->locks[lock];
    return __real_pthread_mutex_unlock(lock);
}

WRAPPED(int, hid_init, void) {
    if (failing("hid_init") != nullptr) return -1;
    const Unwatched pause;
    return __real_hid_init();
}

WRAPPED(int, hid_exit, void) {
    if (failing("hid_exit") != nullptr) return -1;
    const Unwatched pause;
    return __real_hid_exit();
}

WRAPPED(hid_device*, hid_open, unsigned short vendor, unsigned short product,
        const wchar_t* serial) {
    if (failing("hid_open") != nullptr) return nullptr;
    const Unwatched pause;
    return __real_hid_open(vendor, product, serial);
}

WRAPPED(int, hid_write, hid_device* device, const unsigned char* data, size_t size) {
    if (failing("hid_write") != nullptr) return -1;
    const Unwatched pause;
    return __real_hid_write(device, data, size);
}

WRAPPED(int, hid_read_timeout, hid_device* device, unsigned char* out, size_t size, int limit) {
    if (failing("hid_read_timeout") != nullptr) return -1;
    const Unwatched pause;
    return __real_hid_read_timeout(device, out, size, limit);
}

WRAPPED(void, hid_close, hid_device* device) {
    const Unwatched pause;
    __real_hid_close(device);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
