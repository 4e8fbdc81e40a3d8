#include "terminal/port.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "status.h"

namespace deskreader::terminal {
namespace {

constexpr int usb_port = 0;
constexpr int serial_port = 1;

constexpr std::size_t device_room = 64;  // what the name of a serial port may take

int open(const char* name, char extend_character, int baud) noexcept {
    if (std::string_view(name) == "USB") return RD_Open(usb_port, baud, extend_character);
    std::array<char, device_room> path;
    const int length = std::snprintf(path.data(), path.size(), "/dev/%s", name);
    // Cut, it could be the name of another device.
    if (length < 0 || static_cast<std::size_t>(length) >= path.size())
        return RD_GetErrorCode(status::not_found);
    GSetComName(serial_port, path.data());
    return RD_Open(serial_port, baud, extend_character);
}

}  // namespace

char extend_character(const char* extend_port) noexcept {
    if (extend_port == nullptr || *extend_port == '\0') return '0';
    GLogI("extendPort = %s\r\n", extend_port);
    return *extend_port;
}

Port::Port(const char* name, char extend_character, int baud) noexcept
    : result_(open(name, extend_character, baud)), is_open_(result_ == status::ok) {}

void Port::close() noexcept {
    if (is_open_) RD_Close();
    is_open_ = false;
}

}  // namespace deskreader::terminal
