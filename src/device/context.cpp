#include "device/context.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "status.h"

// Hosts read and write the record itself, so its layout is part of the interface.
static_assert(offsetof(DEVCONTEXT, pDevice) == 0);
static_assert(offsetof(DEVCONTEXT, iOpen) == 8);
static_assert(offsetof(DEVCONTEXT, nRefCnt) == 12);
static_assert(offsetof(DEVCONTEXT, szReserved) == 16);
static_assert(offsetof(DEVCONTEXT, szType) == 32);
static_assert(offsetof(DEVCONTEXT, params) == 48);
static_assert(offsetof(DEVCONTEXT, llOutputBufSize) == 88);
static_assert(offsetof(DEVCONTEXT, llInputBufSize) == 96);
static_assert(offsetof(DEVCONTEXT, pOps) == 104);
static_assert(sizeof(DEVCONTEXT) == 112);

// The two views share their first eight bytes.
static_assert(offsetof(DEVCONTEXT, params.com.nBaud) == offsetof(DEVCONTEXT, params.hid.nModeId));
static_assert(offsetof(DEVCONTEXT, params.com.iPort) == offsetof(DEVCONTEXT, params.hid.iUsbCount));

DEVCONTEXT context;

namespace deskreader::device {
namespace {

// The handle that was closed last; there is one reader.
constinit const void* closed_handle = nullptr;

bool has_usb_entry(const DEVCONTEXT& target, int index) noexcept {
    return index >= 0 && index < target.params.hid.iUsbCount && index < max_usb_ids;
}

}  // namespace

std::string_view interface_type(const DEVCONTEXT& target) noexcept {
    return {target.szType, strnlen(target.szType, sizeof target.szType)};
}

bool has_closed_handle(const DEVCONTEXT& target) noexcept {
    return target.iOpen == 0 && target.pDevice != nullptr && target.pDevice == closed_handle;
}

}  // namespace deskreader::device

using namespace deskreader;

void DC_Init(DEVCONTEXT* target) {
    std::memset(target, 0, sizeof *target);
}

void DC_SetInterfaceType(DEVCONTEXT* target, const char* type) {
    // Fills the field with zero bytes; a text of 16 characters stands without a terminator.
    std::memset(target->szType, 0, sizeof target->szType);
    std::memcpy(target->szType, type, strnlen(type, sizeof target->szType));
}

const char* DC_GetInterfaceType(DEVCONTEXT* target) {
    return target->szType;
}

void DC_SetInterfaceOps(DEVCONTEXT* target, const COMM_OPS* ops) {
    target->pOps = ops;
}

const COMM_OPS* DC_GetInterfaceOps(DEVCONTEXT* target) {
    return target->pOps;
}

void DC_SetCOMParams(DEVCONTEXT* target, int port, unsigned baud) {
    target->params.com.nBaud = baud;
    target->params.com.iPort = port;
}

int DC_GetCOMPort(DEVCONTEXT* target) {
    return target->params.com.iPort;
}

unsigned DC_GetCOMBaud(DEVCONTEXT* target) {
    return target->params.com.nBaud;
}

void DC_AddUsbParams(DEVCONTEXT* target, int vid, unsigned pid) {
    auto& hid = target->params.hid;
    if (hid.iUsbCount < 0 || hid.iUsbCount >= device::max_usb_ids) return;
    hid.nVid[hid.iUsbCount] = static_cast<unsigned short>(vid);
    hid.nPid[hid.iUsbCount] = static_cast<unsigned short>(pid);
    ++hid.iUsbCount;
}

int DC_GetUsbListSize(DEVCONTEXT* target) {
    return target->params.hid.iUsbCount;
}

unsigned short DC_GetUsbVid(DEVCONTEXT* target, int index) {
    return device::has_usb_entry(*target, index) ? target->params.hid.nVid[index] : 0;
}

unsigned short DC_GetUsbPid(DEVCONTEXT* target, int index) {
    return device::has_usb_entry(*target, index) ? target->params.hid.nPid[index] : 0;
}

void DC_SetDevice(DEVCONTEXT* target, void* handle) {
    // A device opened since may stand at the address of the closed one.
    if (handle == device::closed_handle) device::closed_handle = nullptr;
    target->pDevice = handle;
}

void* DC_GetDevice(DEVCONTEXT* target) {
    return target->pDevice;
}

void DC_AddDeviceRef(DEVCONTEXT* target) {
    ++target->nRefCnt;
}

unsigned DC_ReleaseDeviceRef(DEVCONTEXT* target) {
    if (target->nRefCnt == 0) return 0;
    if (--target->nRefCnt > 0) return target->nRefCnt;
    if (target->pOps == nullptr || target->pOps->close == nullptr) return 0;
    if (device::has_closed_handle(*target)) return 0;
    target->pOps->close(target->pDevice);
    device::closed_handle = target->pDevice;
    DC_SwitchOpenStatus(target);
    return 0;
}

int DC_IsOpen(DEVCONTEXT* target) {
    return target->iOpen;
}

DEVCONTEXT* DC_SwitchOpenStatus(DEVCONTEXT* target) {
    target->iOpen = target->iOpen == 0 ? 1 : 0;
    return target;
}

void DC_SetOutputBufSize(DEVCONTEXT* target, long long size) {
    target->llOutputBufSize = size;
}

long long DC_GetOutputBufSize(DEVCONTEXT* target) {
    return target->llOutputBufSize;
}

void DC_SetInputBufSize(DEVCONTEXT* target, long long size) {
    target->llInputBufSize = size;
}

long long DC_GetInputBufSize(DEVCONTEXT* target) {
    return target->llInputBufSize;
}

void DC_SetModeId(DEVCONTEXT* target, int id) {
    if (device::is_hid(*target)) target->params.hid.nModeId = static_cast<unsigned char>(id);
}

unsigned char DC_GetModeId(DEVCONTEXT* target) {
    return target->params.hid.nModeId;
}
