// The serial adapter: a port from a table of names, raw 8-N-1 through the System V terminal
// interface. One record of saved settings serves all ports, as there is one reader.
#include <deskreader.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <span>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "device/transport.h"
#include "status.h"
#include "support/bounded.h"
#include "support/descriptor.h"
#include "support/pointers.h"

namespace deskreader::device {
namespace {

constexpr int port_count = 16;
constexpr std::size_t name_size = 64;
constexpr long long output_payload = 266;
constexpr int slice_us = 10;
constexpr int asks_per_pass = 2;  // kept: an end test that says no is asked once more

constinit char port_names[port_count][name_size] = {"/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2",
                                                    "/dev/ttyS3"};

constinit termio saved_settings{};
constinit termio working_settings{};

struct BaudCode {
    int rate;
    unsigned short code;
};

constexpr unsigned short default_baud_code = B9600;

constexpr BaudCode baud_codes[] = {
    {1200, B1200},   {2400, B2400},   {4800, B4800},     {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200},
};

unsigned short baud_code(int rate) noexcept {
    const auto* row = std::ranges::find(baud_codes, rate, &BaudCode::rate);
    return row == std::end(baud_codes) ? default_baud_code : row->code;
}

void change(unsigned short& flags, unsigned clear, unsigned set) noexcept {
    flags = static_cast<unsigned short>((flags & ~clear) | set);
}

// Raw 8-N-1: a read returns what has arrived, after at most a tenth of a second.
void make_raw(termio& settings, int baud) noexcept {
    change(settings.c_iflag, ISTRIP | INLCR | IGNCR | ICRNL | IXON, 0);
    change(settings.c_oflag, OPOST, 0);
    change(settings.c_cflag, CBAUD | CSIZE | CSTOPB | PARENB,
           CS8 | CREAD | CLOCAL | baud_code(baud));
    change(settings.c_lflag, ISIG | ICANON | ECHO | NOFLSH, 0);
    settings.c_cc[VQUIT] = 0x7F;
    settings.c_cc[VTIME] = 1;
    settings.c_cc[VMIN] = 0;
}

// The handle of an opened port: a cell that holds its descriptor.
using Cell = std::unique_ptr<int, Free>;

// -1, which no call takes, for a port that was never opened.
int descriptor_of(void* handle) noexcept {
    return handle == nullptr ? -1 : *static_cast<int*>(handle);
}

int receive_slice(void* handle, std::span<unsigned char> room) {
    return GReadCom(handle, room.data(), room.size(), slice_us);
}

}  // namespace
}  // namespace deskreader::device

using namespace deskreader;

int GSetComName(int index, const char* name) {
    if (any_null(name)) return status::invalid_argument;
    if (index < 0 || index >= device::port_count) return status::failed;
    bounded::copy_text(device::port_names[index], name);
    return status::ok;
}

int GSetTerm_Linux(int file, int baud) {
    if (file < 0) return -1;
    if (ioctl(file, TCGETA, &device::saved_settings) != 0) return -2;
    if (ioctl(file, TCGETA, &device::working_settings) != 0) return -3;
    device::make_raw(device::working_settings, baud);
    return ioctl(file, TCSETAW, &device::working_settings) == 0 ? status::ok : -4;
}

int GReSetTerm_Linux(int file) {
    if (file < 0) return -1;
    const bool restored = ioctl(file, TCSETAW, &device::saved_settings) == 0;
    if (file != STDIN_FILENO) close(file);
    return restored ? status::ok : status::failed;
}

void* GOpenCom(int index, int baud) {
    if (index < 0 || index >= device::port_count) return nullptr;
    device::Cell cell(static_cast<int*>(std::malloc(sizeof(int))));
    if (!cell) return nullptr;
    Descriptor file(open(device::port_names[index], O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!file.is_open() || GSetTerm_Linux(file.get(), baud) != status::ok) return nullptr;
    *cell = file.release();
    return cell.release();
}

int GCloseCom(void* handle) {
    if (handle == nullptr) return -1;
    const device::Cell cell(static_cast<int*>(handle));
    return GReSetTerm_Linux(*cell);
}

int GWriteCom(void* handle, const unsigned char* data, unsigned long length, int) {
    return static_cast<int>(write(device::descriptor_of(handle), data, length));
}

int GReadCom(void* handle, unsigned char* buffer, unsigned long length, int wait_us) {
    pollfd port{device::descriptor_of(handle), POLLIN, 0};
    if (port.fd < 0 || wait_us < 0) return status::not_permitted;
    const timespec limit{wait_us / 1'000'000, wait_us % 1'000'000 * 1000L};
    const int ready = ppoll(&port, 1, &limit, nullptr);
    // A signal in the meantime is no failure of the port: nothing has come yet.
    if (ready < 0) return errno == EINTR ? 0 : status::not_permitted;
    if (ready == 0) return 0;
    if ((port.revents & POLLNVAL) != 0) return status::not_permitted;
    return static_cast<int>(read(port.fd, buffer, length));
}

void* COM_open(DEVCONTEXT* target) {
    if (any_null(target)) return device::failed_handle(status::invalid_argument);
    void* handle = GOpenCom(DC_GetCOMPort(target), static_cast<int>(DC_GetCOMBaud(target)));
    if (handle == nullptr) return device::failed_handle(status::not_found);
    DC_SetOutputBufSize(target, device::output_payload);
    return handle;
}

int COM_read(void* handle, unsigned char* buffer, unsigned length, unsigned timeout_ms,
             COMM_PacketIsEnd is_end) {
    if (any_null(buffer)) return status::invalid_argument;
    device::cancel_flag::clear();
    if (is_end != nullptr) {
        return device::gather(handle, {buffer, length}, timeout_ms, is_end, device::asks_per_pass,
                              device::receive_slice);
    }
    // kept: the limit goes down as it is, though the port counts in microseconds.
    const auto wait_us =
        static_cast<int>(std::min<std::uint64_t>(device::limit_of(timeout_ms), INT_MAX));
    const int result = GReadCom(handle, buffer, length, wait_us);
    return result != 0 ? result : status::timed_out;
}

int COM_write(void* handle, const unsigned char* data, unsigned length, unsigned timeout_ms) {
    if (any_null(data)) return status::invalid_argument;
    const auto limit =
        static_cast<int>(std::min<std::uint64_t>(device::limit_of(timeout_ms), INT_MAX));
    const int result = GWriteCom(handle, data, length, limit);
    return result != 0 ? result : status::timed_out;
}

int COM_close(void* handle) {
    return GCloseCom(handle);
}
