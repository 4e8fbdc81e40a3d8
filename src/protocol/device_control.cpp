// Opening and closing the reader, its pass-through port, mode and reset.
#include <deskreader.h>

#include <array>
#include <chrono>
#include <cstddef>

#include "device/context.h"
#include "device/transport.h"
#include "device/turn.h"
#include "status.h"
#include "support/clock.h"
#include "support/config.h"
#include "support/log.h"
#include "support/pointers.h"

unsigned int g_Bp = 0;

using namespace deskreader;

namespace {

constexpr int usb_vendor = 0x2E8B;
constexpr int usb_product = 0x0142;
constexpr int last_serial_port = 255;
constexpr int highest_baud = 115200;
constexpr int plain_baud = 9600;
constexpr int fast_baud = 115200;

constexpr signed char first_bp_port = '1';
constexpr signed char last_bp_port = 'Y';
constexpr unsigned char bp_release = 'A';

constexpr unsigned control_limit_ms = 100;
constexpr std::chrono::milliseconds cancel_pause(200);

void send_bp_command(DEVCONTEXT* target, unsigned char port) noexcept {
    const unsigned char command[] = {0x1B, '%', port};
    COMM_Write(target, command, sizeof command, control_limit_ms);
}

void use_usb(DEVCONTEXT* target, int vid, int pid) noexcept {
    DC_SetInterfaceType(target, device::type_hid);
    DC_AddUsbParams(target, vid, static_cast<unsigned>(pid));
}

void use_serial(DEVCONTEXT* target, int port, int baud) noexcept {
    DC_SetInterfaceType(target, device::type_serial);
    DC_SetCOMParams(target, port, static_cast<unsigned>(baud));
}

struct ModeCommand {
    int mode;
    unsigned char letter;
    const char* baud_key;  // of 9600 the command ends in '0', of any other rate in '4'
};

constexpr ModeCommand mode_commands[] = {
    {0, 'B', "IcBaud"},
    {1, 'I', "IcBaud"},  // kept: not "IdBaud"
    {2, 'S', "IdBaud"},
};

int configured_baud(DEVCONTEXT* target, const char* key) noexcept {
    const bool id_over_usb = key[1] == 'd' && !device::is_serial(*target);
    return config::integer("devcfg", key, id_over_usb ? fast_baud : plain_baud);
}

}  // namespace

int Ovan_Open(DEVCONTEXT* target, int port, int baud, int bp_port) {
    if (any_null(target)) return status::invalid_argument;
    const device::Turn turn;
    if (DC_IsOpen(target) != 0) return status::ok;
    DC_Init(target);
    if (port == 0) {
        use_usb(target, usb_vendor, usb_product);
    } else if (port < 1 || port > last_serial_port || baud > highest_baud) {
        return status::invalid_argument;
    } else {
        use_serial(target, port, baud);
    }
    const int result = COMM_Open(target);
    Ovan_SetBpPort(target, bp_port);
    return result;
}

int Ovan_Open_PID(DEVCONTEXT* target, int vid, int pid) {
    if (any_null(target)) return status::invalid_argument;
    const device::Turn turn;
    if (DC_IsOpen(target) != 0) return status::ok;
    DC_Init(target);
    use_usb(target, vid, pid);
    return COMM_Open(target);
}

int Ovan_Close(DEVCONTEXT* target) {
    if (any_null(target)) return status::invalid_argument;
    const device::Turn turn;
    if (g_Bp == 1) send_bp_command(target, bp_release);
    COMM_Close(target);
    return status::ok;
}

int Ovan_SetBpPort(DEVCONTEXT* target, int port) {
    if (any_null(target)) return status::invalid_argument;
    const device::Turn turn;
    g_Bp = 0;
    const auto character = static_cast<signed char>(port);
    if (character >= first_bp_port && character <= last_bp_port) {
        g_Bp = 1;
        send_bp_command(target, static_cast<unsigned char>(character));
    }
    return status::ok;
}

int Ovan_Reset(DEVCONTEXT* target, int timeout_ms) {
    const unsigned char command[] = {0x1B, 'S'};
    unsigned char unused[256];
    const int result =
        RAWL_SendCmd(target, command, sizeof command, unused, sizeof unused, 0, timeout_ms);
    return result >= 1 ? status::ok : result;
}

int Ovan_ChangeMode(DEVCONTEXT* target, int mode) {
    if (any_null(target)) return status::invalid_argument;
    const device::Turn turn;
    for (const ModeCommand& row : mode_commands) {
        if (row.mode != static_cast<signed char>(mode)) continue;
        const bool plain = configured_baud(target, row.baud_key) == plain_baud;
        const unsigned char command[] = {0x1B, '$', row.letter,
                                         static_cast<unsigned char>(plain ? '0' : '4')};
        unsigned char reply[256];
        constexpr int reply_length = 2;  // its meaning is the reader's own
        RAWL_SendCmd(target, command, sizeof command, reply, sizeof reply, reply_length,
                     control_limit_ms);
    }
    return status::ok;
}

int Ovan_Cancel(void) {
    COMM_cancle();
    clock::sleep(cancel_pause);
    return status::ok;
}

int Ovan_ReadData(DEVCONTEXT* target, int timeout_ms) {
    const device::Turn turn;
    std::array<unsigned char, 4096> data;
    int result = COMM_Open(target);
    if (result == status::ok) {
        result =
            COMM_Read(target, data.data(), data.size(), static_cast<unsigned>(timeout_ms), nullptr);
        if (result > 0) {
            const auto received = std::span(data).first(static_cast<std::size_t>(result));
            GLogI("Read Pack(len=%d): %s\r\n", result, log::HexText<8192>(received).c_str());
        }
    }
    // kept: also after a failed open, where another user's reference may be the one that goes.
    COMM_Close(target);
    return result;
}
