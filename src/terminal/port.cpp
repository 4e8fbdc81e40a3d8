#include "terminal/port.h"

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "status.h"

namespace deskreader::terminal {
namespace {

constexpr int usb_port = 0;
constexpr int serial_port = 1;
constexpr std::size_t device_room = 64;  // what a port's name may take, see GSetComName
constexpr char no_extend_port = '0';

bool is_given(const char* text) noexcept {
    return text != nullptr && text[0] != '\0';
}

int open_serial(const char* name, int baud, char extend_port) noexcept {
    std::array<char, device_room> device;
    const int length = std::snprintf(device.data(), device.size(), "/dev/%s", name);
    // A name that had to be cut could be another device's.
    if (length < 0 || static_cast<std::size_t>(length) >= device.size())
        return RD_GetErrorCode(status::not_found);
    GSetComName(serial_port, device.data());
    return RD_Open(serial_port, baud, extend_port);
}

}  // namespace

void log_extend_port(const char* extend_port) noexcept {
    if (is_given(extend_port)) GLogI("extendPort = %s\r\n", extend_port);
}

PortScope::PortScope(const char* port, const char* extend_port, int baud) noexcept {
    const char character = is_given(extend_port) ? extend_port[0] : no_extend_port;
    status_ = std::string_view(port) == "USB" ? RD_Open(usb_port, baud, character)
                                              : open_serial(port, baud, character);
}

PortScope::~PortScope() {
    if (status_ == status::ok) RD_Close();
}

}  // namespace deskreader::terminal
