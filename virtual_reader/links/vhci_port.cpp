#include "links/vhci_port.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace virtual_reader {
namespace {

constexpr int first_device = 1 << 16 | 1;  // bus 1, device 1 of the far end, as if there were one
constexpr int full_speed = 2;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

// The first free port for devices below SuperSpeed, from the table in `status`:
//
//   hub port sta spd dev      sockfd local_busid
//   hs  0000 004 000 00000000 000000 0-0
std::optional<int> free_port(std::istream& table) {
    constexpr int is_free = 4;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string hub;
        int port = 0;
        int state = 0;
        if (fields >> hub >> port >> state && hub == "hs" && state == is_free) return port;
    }
    return std::nullopt;
}

int choose_port(const std::string& directory) {
    std::ifstream table(directory + "/status");
    if (!table) {
        fail("there is no " + directory +
             ": a USB reader needs the kernel module vhci-hcd (modprobe vhci-hcd, as root)");
    }
    const std::optional<int> port = free_port(table);
    if (!port) fail("all ports of " + directory + " are in use");
    return *port;
}

struct Stream {
    Stream() {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            fail(std::string("no stream to the controller: ") + std::strerror(errno));
    }
    ~Stream() {
        for (const int end : ends) {
            if (end >= 0) close(end);
        }
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    std::array<int, 2> ends{-1, -1};
};

// The kernel takes a reference of its own to the stream.
void attach(const std::string& path, const std::string& words) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0 && (errno == EACCES || errno == EPERM)) fail("only root may write to " + path);
    const ssize_t count = file < 0 ? -1 : write(file, words.data(), words.size());
    const int error = errno;
    if (file >= 0) close(file);
    if (count < 0) fail(path + ": " + std::strerror(error));
}

}  // namespace

int plug_into_vhci(const std::string& directory) {
    const int port = choose_port(directory);
    Stream stream;
    std::ostringstream words;
    words << port << ' ' << stream.ends[0] << ' ' << first_device << ' ' << full_speed;
    attach(directory + "/attach", words.str());
    return std::exchange(stream.ends[1], -1);
}

}  // namespace virtual_reader
