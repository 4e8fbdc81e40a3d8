#include "device/transport.h"

#include <atomic>
#include <cstring>
#include <string_view>

#include <hidapi.h>

#include "device/context.h"
#include "device/hid.h"
#include "support/pointers.h"

namespace deskreader::device {
namespace {

struct Adapter {
    char name[16];
    COMM_OPS ops;
};

const Adapter adapters[] = {
    {"hid", {HID_open, HID_read, HID_write, HID_close}},
    {"com", {COM_open, COM_read, COM_write, COM_close}},
    {"END", {nullptr, nullptr, nullptr, nullptr}},
};

constinit std::atomic<bool> cancel_requested{false};

const COMM_OPS* find_adapter(std::string_view name) noexcept {
    for (const Adapter& adapter : adapters) {
        if (name == adapter.name) return &adapter.ops;
    }
    return nullptr;
}

// The operations of a context that can be read from and written to.
const COMM_OPS* usable_ops(DEVCONTEXT* target) noexcept {
    const bool usable = DC_GetDevice(target) != nullptr && !has_closed_handle(*target);
    return usable ? DC_GetInterfaceOps(target) : nullptr;
}

bool is_failed_handle(const void* handle) noexcept {
    const auto value = reinterpret_cast<std::intptr_t>(handle);
    return value >= -99 && value <= -1;
}

}  // namespace

namespace cancel_flag {

void raise() noexcept {
    cancel_requested.store(true);
}
void clear() noexcept {
    cancel_requested.store(false);
}
bool take() noexcept {
    return cancel_requested.exchange(false);
}

}  // namespace cancel_flag

int gather(void* handle, std::span<unsigned char> buffer, unsigned timeout_ms,
           COMM_PacketIsEnd is_end, int asks, ReceiveSlice receive) noexcept {
    const std::uint64_t begin = GetTickCount();
    const std::uint64_t limit = limit_of(timeout_ms);
    std::size_t total = 0;
    std::uint64_t elapsed = 0;
    while (elapsed < limit && total < buffer.size()) {
        if (cancel_flag::take()) return status::cancelled;
        const int got = receive(handle, buffer.subspan(total));
        if (got < 0) return status::not_permitted;
        total += static_cast<std::size_t>(got);
        elapsed =
            GetTickCount() - begin;  // before the end test, whose own time counts a pass later
        bool complete = false;
        for (int ask = 0; ask < asks && !complete; ++ask) {
            complete = is_end(buffer.data(), static_cast<unsigned>(total)) != 0;
        }
        if (complete) break;
    }
    return total > 0 ? static_cast<int>(total) : status::timed_out;
}

}  // namespace deskreader::device

using namespace deskreader;

const COMM_OPS* _COMM_FindAdapter(const char* name) {
    return name == nullptr ? nullptr : device::find_adapter(name);
}

int _COMM_ValidateParam(DEVCONTEXT* target) {
    if (any_null(target)) return 0;
    const std::string_view type = device::interface_type(*target);
    const COMM_OPS* ops = device::find_adapter(type);
    if (ops == nullptr) return 0;
    DC_SetInterfaceOps(target, ops);
    if (type == device::type_hid) return DC_GetUsbListSize(target) > 0 ? 1 : 0;
    return type == device::type_serial ? 1 : 0;
}

int COMM_Open(DEVCONTEXT* target) {
    if (_COMM_ValidateParam(target) == 0) return status::no_device;
    if (DC_IsOpen(target) == 0) {
        void* handle = DC_GetInterfaceOps(target)->open(target);
        if (device::is_failed_handle(handle)) return status::not_found;
        DC_SetDevice(target, handle);
        DC_SwitchOpenStatus(target);
    } else if (device::is_hid(*target)) {
        device::hid_mode::set(DC_GetModeId(target));
    }
    DC_AddDeviceRef(target);
    return status::ok;
}

int COMM_Read(DEVCONTEXT* target, unsigned char* buffer, unsigned length, unsigned timeout_ms,
              COMM_PacketIsEnd is_end) {
    if (target == nullptr || buffer == nullptr) return status::invalid_argument;
    const COMM_OPS* ops = device::usable_ops(target);
    if (ops == nullptr || ops->read == nullptr) return status::not_found;
    return ops->read(DC_GetDevice(target), buffer, length, timeout_ms, is_end);
}

int COMM_Write(DEVCONTEXT* target, const unsigned char* data, unsigned length,
               unsigned timeout_ms) {
    if (target == nullptr || data == nullptr) return status::invalid_argument;
    const COMM_OPS* ops = device::usable_ops(target);
    if (ops == nullptr || ops->write == nullptr) return status::not_found;
    return ops->write(DC_GetDevice(target), data, length, timeout_ms);
}

int COMM_Close(DEVCONTEXT* target) {
    if (any_null(target)) return status::invalid_argument;
    return static_cast<int>(DC_ReleaseDeviceRef(target));
}

int COMM_Init(void) {
    return hid_init();
}

int COMM_Exit(void) {
    return hid_exit();
}

void COMM_cancle(void) {
    device::cancel_flag::raise();
}

void COMM_notcancle(void) {
    device::cancel_flag::clear();
}
