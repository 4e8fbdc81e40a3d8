// Reports, as hidapi takes and gives them (the reader uses no report ids):
//
//   output, 65 bytes:  00 (report id) | mode id | n | n payload bytes, at most 62 | zeros
//   input, 64 bytes:   2 bytes nobody looks at | 62 payload bytes, filler included
//
// The mode id tells the reader which of its modules the payload is for. A request longer than 62
// bytes goes out as several reports; the payload of input reports is gathered until the frame layer
// knows that its frame is complete, so the length byte that the reader sends is not needed.
#include "device/hid.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <span>

#include <hidapi.h>

#include "device/context.h"
#include "device/transport.h"
#include "status.h"
#include "support/clock.h"
#include "support/pointers.h"

namespace deskreader::device {
namespace {

constexpr std::size_t report_size = 65;
constexpr std::size_t output_header = 3;
constexpr std::size_t input_header = 2;
constexpr std::size_t max_payload = report_size - output_header;
constexpr int slice_ms = 10;

constinit std::atomic<std::uint8_t> mode_id{0};

hid_device* as_hid(void* handle) noexcept {
    return static_cast<hid_device*>(handle);
}

int receive_slice(void* handle, std::span<unsigned char> room) {
    return hid_read_modeid(handle, room.data(), room.size(), slice_ms);
}

}  // namespace

void hid_mode::set(std::uint8_t id) noexcept {
    mode_id.store(id);
}

}  // namespace deskreader::device

using namespace deskreader;

int hid_get_output_report_length(void* handle) {
    return handle == nullptr ? 0 : static_cast<int>(device::report_size);
}

int hid_get_input_report_length(void* handle) {
    return handle == nullptr ? 0 : static_cast<int>(device::report_size);
}

int hid_write_modeid(void* handle, const void* data, size_t length, int mode_id) {
    if (any_null(data)) return status::invalid_argument;
    if (hid_get_output_report_length(handle) < static_cast<int>(device::output_header))
        return status::not_permitted;
    const std::size_t count = std::min(length, device::max_payload);
    std::array<unsigned char, device::report_size> report{};
    report[1] = static_cast<unsigned char>(mode_id);
    report[2] = static_cast<unsigned char>(count);
    std::memcpy(report.data() + device::output_header, data, count);
    // kept: what became of the report is not examined; a lost one shows as a missing answer.
    hid_write(device::as_hid(handle), report.data(), report.size());
    return static_cast<int>(count);
}

int hid_read_modeid(void* handle, void* buffer, size_t room, int timeout_ms) {
    if (any_null(buffer)) return status::invalid_argument;
    if (hid_get_input_report_length(handle) < static_cast<int>(device::output_header))
        return status::not_permitted;
    std::array<unsigned char, device::report_size> report{};
    const int result =
        hid_read_timeout(device::as_hid(handle), report.data(), report.size(), timeout_ms);
    if (result <= 0) return result;
    const std::size_t received = std::min(static_cast<std::size_t>(result), report.size());
    if (received <= device::input_header) return status::not_permitted;
    const std::size_t count = std::min(received - device::input_header, room);
    std::memcpy(buffer, report.data() + device::input_header, count);
    return static_cast<int>(count);
}

void* HID_open(DEVCONTEXT* target) {
    if (any_null(target)) return device::failed_handle(status::invalid_argument);
    const int entries = std::min(DC_GetUsbListSize(target), device::max_usb_ids);
    for (int entry = 0; entry < entries; ++entry) {
        hid_device* opened =
            hid_open(DC_GetUsbVid(target, entry), DC_GetUsbPid(target, entry), nullptr);
        if (opened == nullptr) continue;
        DC_SetOutputBufSize(
            target, hid_get_output_report_length(opened) - static_cast<int>(device::output_header));
        DC_SetInputBufSize(
            target, hid_get_input_report_length(opened) - static_cast<int>(device::output_header));
        device::hid_mode::set(DC_GetModeId(target));
        return opened;
    }
    return device::failed_handle(status::no_device);
}

int HID_read(void* handle, unsigned char* buffer, unsigned length, unsigned timeout_ms,
             COMM_PacketIsEnd is_end) {
    if (any_null(buffer)) return status::invalid_argument;
    device::cancel_flag::clear();
    if (is_end != nullptr) {
        return device::gather(handle, {buffer, length}, timeout_ms, is_end, 1,
                              device::receive_slice);
    }
    const auto limit =
        static_cast<int>(std::min<std::uint64_t>(device::limit_of(timeout_ms), INT_MAX));
    const int result = hid_read_modeid(handle, buffer, length, limit);
    return result != 0 ? result : status::timed_out;
}

int HID_write(void* handle, const unsigned char* data, unsigned length, unsigned timeout_ms) {
    if (any_null(data)) return status::invalid_argument;
    const std::uint64_t begin = GetTickCount();
    const std::uint64_t limit = device::limit_of(timeout_ms);
    unsigned sent = 0;
    while (GetTickCount() - begin < limit && sent < length) {
        const int count =
            hid_write_modeid(handle, data + sent, length - sent, device::mode_id.load());
        if (count < 0) return status::not_permitted;
        sent += static_cast<unsigned>(count);
    }
    return sent > 0 ? static_cast<int>(sent) : status::timed_out;
}

int HID_close(void* handle) {
    hid_close(device::as_hid(handle));
    return status::ok;
}

unsigned long long GetTickCount(void) {
    return clock::monotonic_ms();
}
