#include "terminal/port.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "status.h"

namespace deskreader::terminal {
namespace {

constexpr int usb_port = 0;
constexpr int serial_port = 1;

// Registers the device's name for the serial port and gives the number to open.
int port_number(const char* name) noexcept {
    if (std::string_view(name) == "USB") return usb_port;
    std::array<char, 256> path;
    std::snprintf(path.data(), path.size(), "/dev/%s", name);
    GSetComName(serial_port, path.data());
    return serial_port;
}

}  // namespace

char extend_character(const char* extend_port) noexcept {
    if (extend_port == nullptr || *extend_port == '\0') return '0';
    GLogI("extendPort = %s\r\n", extend_port);
    return *extend_port;
}

Port::Port(const char* name, char extend_character, int baud) noexcept
    : result_(RD_Open(port_number(name), baud, extend_character)),
      is_open_(result_ == status::ok) {}

void Port::close() noexcept {
    if (is_open_) RD_Close();
    is_open_ = false;
}

}  // namespace deskreader::terminal
