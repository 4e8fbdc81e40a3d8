// Connecting to the reader and looking after it, on the one context of the library.
#include <deskreader.h>

#include <array>
#include <cstring>

#include "api/cancel.h"
#include "device/context.h"
#include "device/turn.h"
#include "status.h"
#include "support/config.h"
#include "support/pointers.h"

long long g_DevBaud = 9600;
int g_IsCancelWait = 0;

using namespace deskreader;

namespace {

constexpr int init_info_limit_ms = 500;
constexpr int command_limit_ms = 1000;
constexpr int reset_limit_ms = 100;
constexpr int default_baud = 9600;

constexpr int change_by_command = 1;  // values of "IdChange"
constexpr int change_by_library = 2;
constexpr std::size_t serial_number_offset = 32;
constexpr std::size_t serial_number_size = 32;

signed char port_character(int value) noexcept {
    return static_cast<signed char>(value);
}

unsigned char* as_bytes(char* text) noexcept {
    return reinterpret_cast<unsigned char*>(text);
}

// Reads the device information over a connection that then closes.
int read_info_and_close(char* info, int* info_length, bool wanted) noexcept {
    int result = status::ok;
    if (wanted &&
        IC_GetDevInfo(&context, as_bytes(info), info_length, init_info_limit_ms) != status::ok) {
        GLogE("GetDevInfo Error!\r\n");
        result = status::connect_failed;
    }
    Ovan_Close(&context);
    return result;
}

// Closes the port for real and opens it anew, under the references that others hold.
int reopen() noexcept {
    GLogI("context.refCnt = %d\r\n", static_cast<int>(context.nRefCnt));
    const unsigned references = context.nRefCnt;
    context.nRefCnt = 1;
    COMM_Close(&context);
    const int result = COMM_Open(&context);
    context.nRefCnt = references;
    return result;
}

}  // namespace

int RD_InitConnect(int port, int baud, int bp_port, int no_info, int, char* info,
                   int* info_length) {
    if (no_info == 0 && any_null(info, info_length)) return status::invalid_parameter;
    const device::Turn turn;
    int result = Ovan_Open(&context, port, baud, port_character(bp_port));
    if (result != status::ok) {
        GLogE("OpenDevice Error!\r\n");
    } else {
        result = read_info_and_close(info, info_length, no_info == 0);
    }
    return RD_GetErrorCode(result);
}

int RD_InitConnect_PID(int vid, int pid, int, char* info, int* info_length) {
    if (any_null(info, info_length)) return status::invalid_parameter;
    const device::Turn turn;
    int result = Ovan_Open_PID(&context, vid, pid);
    if (result != status::ok) {
        GLogE("OpenDevice Error!\r\n");
    } else {
        result = read_info_and_close(info, info_length, true);
    }
    return RD_GetErrorCode(result);
}

int RD_Open(int port, int baud, int bp_port) {
    const device::Turn turn;
    const int result = Ovan_Open(&context, port, baud, port_character(bp_port));
    if (result != status::ok) GLogE("OpenDevice Error!\r\n");
    const int device_baud = config::integer("devcfg", "DevBaud", default_baud);
    RD_SetDevBaud(device_baud);
    RD_ChangeBaud(device_baud, &g_DevBaud);
    return RD_GetErrorCode(result);
}

int RD_Open_PID(int vid, int pid) {
    const int result = Ovan_Open_PID(&context, vid, pid);
    if (result != status::ok) GLogE("OpenDevice Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_Close(void) {
    cancel_wait::request();
    Ovan_Cancel();
    const device::CancellingTurn turn;
    RD_SetDevBaud(static_cast<int>(g_DevBaud));
    context.nRefCnt = 1;
    Ovan_Close(&context);
    DC_Init(&context);
    return RD_GetErrorCode(status::ok);
}

int RD_DisConnect(void) {
    // kept: forgets the connection without closing the device or turning its baud rate back.
    cancel_wait::request();
    Ovan_Cancel();
    const device::CancellingTurn turn;
    DC_Init(&context);
    return RD_GetErrorCode(status::ok);
}

int RD_GetDevInfo(int no_info, char* info, int* info_length) {
    if (no_info == 0 && any_null(info, info_length)) return status::invalid_parameter;
    int result = status::ok;
    if (no_info == 0) {
        result = IC_GetDevInfo(&context, as_bytes(info), info_length, command_limit_ms);
        if (result != status::ok) GLogE("OpenDevice Error!\r\n");  // kept: this very text
    }
    return RD_GetErrorCode(result);
}

int RD_Cancel(void) {
    const int result = Ovan_Cancel();
    if (result != status::ok) GLogE("Cancel Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_CancelWait(void) {
    cancel_wait::request();
    return status::ok;
}

int RD_Reset(void) {
    cancel_wait::request();
    Ovan_Cancel();
    const device::CancellingTurn turn;
    const int result = Ovan_Reset(&context, reset_limit_ms);
    if (result != status::ok) GLogE("Reset Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_SetBpPort(int bp_port) {
    const int result = Ovan_SetBpPort(&context, port_character(bp_port));
    if (result != status::ok) GLogE("SetBpPort Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_ChangeMode(int mode) {
    int result = status::ok;
    const int way = config::integer("devcfg", "IdChange", change_by_command);
    if (way == change_by_command) {
        result = Ovan_ChangeMode(&context, static_cast<signed char>(mode));
        if (result != status::ok) GLogE("ChangeMode Error!\r\n");
    } else if (way == change_by_library) {
        result = ID_ChangeSDT(mode);
    }
    return RD_GetErrorCode(result);
}

int RD_ChangeBaud(int baud, long long* old_baud) {
    if (any_null(old_baud)) return status::invalid_parameter;
    const device::Turn turn;
    const bool serial = device::is_serial(context);
    if (serial) {
        *old_baud = static_cast<int>(DC_GetCOMBaud(&context));
        DC_SetCOMParams(&context, DC_GetCOMPort(&context), static_cast<unsigned>(baud));
    }
    GLogI("iBaud = %d, iDevBaud = %d\r\n", baud, static_cast<int>(*old_baud));
    const bool needs_reopen = DC_IsOpen(&context) != 0 && serial && *old_baud != baud;
    return RD_GetErrorCode(needs_reopen ? reopen() : status::ok);
}

int RD_SetDevBaud(int baud) {
    const device::Turn turn;
    const bool differs =
        device::is_serial(context) && static_cast<unsigned>(baud) != DC_GetCOMBaud(&context);
    return differs ? RD_GetErrorCode(IC_SetBaud(&context, baud)) : status::ok;
}

int RD_Beep(int duration, int p1, int p2) {
    return RD_GetErrorCode(IC_Beep(&context, duration, p1, p2, command_limit_ms));
}

void RD_SetSlot(int slot) {
    IC_SetSlot(slot);
}

int RD_GetDevSn(char* serial_number, int* length) {
    if (any_null(serial_number, length)) return status::invalid_parameter;
    std::array<unsigned char, 512> info{};
    int info_length = 0;
    const int result = IC_GetDevAllInfo(&context, info.data(), &info_length, command_limit_ms);
    std::memcpy(serial_number, info.data() + serial_number_offset, serial_number_size);
    serial_number[serial_number_size] = '\0';
    *length = static_cast<int>(std::strlen(serial_number));
    return result;  // kept: an internal number
}

int RD_SetDevSn(const char* serial_number, int length) {
    if (any_null(serial_number)) return status::invalid_parameter;
    const auto* bytes = reinterpret_cast<const unsigned char*>(serial_number);
    return IC_SetDevSn(&context, bytes, length, command_limit_ms);
}
