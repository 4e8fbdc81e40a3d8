// The reader's own commands for contact and contactless IC cards, and for the device itself.
#include <deskreader.h>

#include <algorithm>
#include <array>

#include "cards/bytes.h"
#include "cards/reader_command.h"
#include "status.h"
#include "support/pointers.h"

int g_Slot = 0;

using namespace deskreader;
using cards::Bytes;
using cards::CommandRow;
using cards::low_byte;
using cards::mapped_slot;
using cards::plain_slot;
using cards::Reply;
using cards::run_for_data;
using cards::run_only;
using cards::StatusRow;

namespace {

constexpr int fixed_limit_ms = 100;
constexpr std::size_t serial_number_size = 32;
constexpr std::size_t max_apdu_response = 1024;  // no frame really carries as many

// Statuses, one list a command and frame: the reader's byte or bytes, the number.
constexpr StatusRow set_baud_ic[] = {{0xA2, status::power_off_failed}};
constexpr StatusRow set_baud_union[] = {{0x1001, status::power_off_failed}};
constexpr StatusRow power_on_ic[] = {{0xA2, status::power_on_failed}, {0xFB, status::card_absent}};
constexpr StatusRow power_on_union[] = {{0x1001, status::power_on_failed},
                                        {0x1002, status::card_absent},
                                        {0x1005, status::power_on_failed}};
constexpr StatusRow rf_power_on_union[] = {{0x3008, status::power_on_failed},
                                           {0x3005, status::card_absent}};
constexpr StatusRow power_off_ic[] = {{0xA2, status::power_off_failed},
                                      {0xFB, status::card_absent}};
constexpr StatusRow power_off_union[] = {{0x1001, status::power_off_failed}};
constexpr StatusRow rf_power_off_union[] = {{0x3001, status::power_off_failed},
                                            {0x3004, status::card_not_powered},
                                            {0x3006, status::card_absent},
                                            {0x3007, status::power_off_failed}};
constexpr StatusRow apdu_ic[] = {{0xA2, status::apdu_failed}, {0xFB, status::card_absent}};
constexpr StatusRow apdu_union[] = {{0x1001, status::apdu_failed},
                                    {0x1002, status::card_absent},
                                    {0x1004, status::card_not_powered},
                                    {0x1006, status::card_absent},
                                    {0x1007, status::apdu_failed}};
constexpr StatusRow rf_apdu_union[] = {{0x3001, status::apdu_failed},
                                       {0x3004, status::card_not_powered},
                                       {0x3006, status::card_absent},
                                       {0x3007, status::apdu_failed}};
constexpr StatusRow dev_info_ic[] = {{0xA2, status::power_on_failed}};

// The commands. Arguments follow the bytes given here.
constexpr CommandRow set_baud{
    .default_frame = cards::frame_ic,
    .ic = {0xBB},
    .ic_errors = set_baud_ic,
    .union_ = {0x30, 0x01, 0x00},
    .union_errors = set_baud_union,
};
constexpr CommandRow power_on{
    .default_frame = cards::frame_ic,
    .ic = {0xE1, mapped_slot},
    .ic_errors = power_on_ic,
    .ic_other = cards::OtherStatus::returns_length,
    .union_ = {0x32, 0x22, 0x00, 0x00, plain_slot},
    .union_errors = power_on_union,
};
constexpr CommandRow rf_power_on{
    .default_frame = cards::frame_ic,
    .ic = {0xD1},
    .ic_errors = power_on_ic,
    .ic_other = cards::OtherStatus::returns_length,
    .union_ = {0x32, 0x24, 0x00, 0x00},
    .union_errors = rf_power_on_union,
};
constexpr CommandRow power_off{
    .default_frame = cards::frame_ic,
    .ic = {0xE2, mapped_slot},
    .ic_errors = power_off_ic,
    .union_ = {0x32, 0x23, plain_slot},
    .union_errors = power_off_union,
};
constexpr CommandRow rf_power_off{
    .default_frame = cards::frame_ic,
    .ic = {0xD2},
    .ic_errors = power_off_ic,
    .union_ = {0x32, 0x25, 0x00, 0x00},
    .union_errors = rf_power_off_union,
};
constexpr CommandRow apdu{
    .default_frame = cards::frame_ic,
    .ic = {0xE3, mapped_slot},
    .ic_errors = apdu_ic,
    .union_ = {0x32, 0x26, plain_slot},
    .union_errors = apdu_union,
    .reply_room = cards::long_reply,
};
constexpr CommandRow rf_apdu{
    .default_frame = cards::frame_ic,
    .ic = {0xD3},
    .ic_errors = apdu_ic,
    .union_ = {0x32, 0x26, 0xFF},
    .union_errors = rf_apdu_union,
    .reply_room = cards::long_reply,
};
constexpr CommandRow dev_info{
    .default_frame = cards::frame_ic,
    .ic = {0x81, 0x00},
    .ic_errors = dev_info_ic,
    .ic_other = cards::OtherStatus::returns_length,
    .union_ = {0x31, 0x11, 0x00},
    .union_errors = {},
};
constexpr CommandRow beep{
    .default_frame = cards::frame_union,
    .ic = {},
    .ic_errors = {},
    .union_ = {0x31, 0x13},
    .union_errors = {},
};
constexpr CommandRow card_detect{
    .default_frame = cards::frame_ic,  // kept: without "Iccmd" the command is not supported
    .ic = {},
    .ic_errors = {},
    .union_ = {0x32, 0x21},
    .union_errors = {},
};
constexpr CommandRow dev_reset{
    .default_frame = cards::frame_union,
    .forced_frame = cards::frame_union,
    .ic = {},
    .ic_errors = {},
    .union_ = {0xF8, 0x00, 0xAA, 0xBB, 0x55, 0x44},
    .union_errors = {},
};
constexpr CommandRow all_info{
    .default_frame = cards::frame_union,
    .forced_frame = cards::frame_ic,
    .ic = {0xF1},
    .ic_errors = {},
    .union_ = {0xF1, 0x00},
    .union_errors = {},
};
constexpr CommandRow set_serial_number{
    .default_frame = cards::frame_union,
    .forced_frame = cards::frame_ic,
    .ic = {0xF2},
    .ic_errors = {},
    .union_ = {0xF2, 0x00},
    .union_errors = {},
};

std::uint8_t baud_code(int baud) noexcept {
    switch (baud) {
        case 19200:
            return 1;
        case 38400:
            return 2;
        case 57600:
            return 3;
        case 115200:
            return 4;
        default:
            return 0;
    }
}

int exchange_apdu(const CommandRow& row, DEVCONTEXT* device, const unsigned char* command,
                  int length, unsigned char* response, int* response_length,
                  int timeout_ms) noexcept {
    if (length < 0) return status::invalid_argument;
    const Bytes bytes(command, static_cast<std::size_t>(length));
    return run_for_data(row, device, bytes, timeout_ms, max_apdu_response, response,
                        response_length);
}

// A reader that answers 06 10 after the status has its information from byte 18 on.
// kept: of that form the first byte is taken for the length, and as many bytes are copied as the
// whole reply had after its status.
void copy_long_information(const Reply& reply, unsigned char* out, int* out_length) noexcept {
    constexpr std::size_t begin = 18;
    const Bytes from_there = std::span(reply.bytes).first(cards::short_reply).subspan(begin);
    std::ranges::copy(from_there.first(std::min(reply.data().size(), from_there.size())), out);
    *out_length = reply.bytes[begin];
}

bool is_long_information(const Reply& reply) noexcept {
    return reply.frame == cards::frame_union && reply.bytes[2] == 0x06 && reply.bytes[3] == 0x10;
}

int card_state(const Reply& reply) noexcept {
    if (reply.bytes[2] == 0x11) return 1;
    if (reply.bytes[2] == 0x12) return 2;
    if (reply.bytes[3] == 0x12) return 3;
    return 0;
}

}  // namespace

int IC_SetSlot(int slot) {
    g_Slot = slot;
    return status::ok;
}

int IC_SetBaud(DEVCONTEXT* device, int baud) {
    const std::uint8_t code[] = {baud_code(baud)};
    return run_only(set_baud, device, code, fixed_limit_ms);
}

int IC_PowerOn(DEVCONTEXT* device, unsigned char* answer, int* answer_length, int timeout_ms) {
    if (any_null(answer, answer_length)) return status::invalid_argument;
    return run_for_data(power_on, device, {}, timeout_ms, cards::short_reply, answer,
                        answer_length);
}

int IC_RFPowerOn(DEVCONTEXT* device, unsigned char* answer, int* answer_length, int timeout_ms) {
    if (any_null(answer, answer_length)) return status::invalid_argument;
    return run_for_data(rf_power_on, device, {}, timeout_ms, cards::short_reply, answer,
                        answer_length);
}

int IC_PowerOff(DEVCONTEXT* device, int timeout_ms) {
    return run_only(power_off, device, {}, timeout_ms);
}

int IC_RFPowerOff(DEVCONTEXT* device, int timeout_ms) {
    return run_only(rf_power_off, device, {}, timeout_ms);
}

int IC_APDU(DEVCONTEXT* device, const unsigned char* command, int length, unsigned char* response,
            int* response_length, int timeout_ms) {
    if (any_null(command, response, response_length)) return status::invalid_argument;
    return exchange_apdu(apdu, device, command, length, response, response_length, timeout_ms);
}

int IC_RFAPDU(DEVCONTEXT* device, const unsigned char* command, int length, unsigned char* response,
              int* response_length, int timeout_ms) {
    if (any_null(command, response, response_length)) return status::invalid_argument;
    return exchange_apdu(rf_apdu, device, command, length, response, response_length, timeout_ms);
}

int IC_GetDevInfo(DEVCONTEXT* device, unsigned char* info, int* info_length, int timeout_ms) {
    if (any_null(info, info_length)) return status::invalid_argument;
    Reply reply;
    const int result = cards::run(dev_info, device, {}, timeout_ms, reply);
    if (result != status::ok || !reply.has_status()) return result;
    if (is_long_information(reply)) {
        copy_long_information(reply, info, info_length);
    } else {
        std::ranges::copy(reply.data(), info);
        *info_length = static_cast<int>(reply.data().size());
    }
    return status::ok;
}

int IC_Beep(DEVCONTEXT* device, int duration, int p1, int p2, int timeout_ms) {
    const std::uint8_t arguments[] = {low_byte(duration <= 99 ? duration / 10 : duration / 100),
                                      low_byte(p1), low_byte(p2)};
    return run_only(beep, device, arguments, timeout_ms);
}

int IC_CardDetect(DEVCONTEXT* device, int parameter, int* state, int timeout_ms) {
    if (any_null(state)) return status::invalid_argument;
    const std::uint8_t arguments[] = {low_byte(parameter)};
    Reply reply;
    const int result = cards::run(card_detect, device, arguments, timeout_ms, reply);
    if (result == status::ok) *state = card_state(reply);
    return result;
}

int IC_DevReset(DEVCONTEXT* device) {
    run_only(dev_reset, device, {}, fixed_limit_ms);
    return status::ok;
}

int IC_GetDevAllInfo(DEVCONTEXT* device, unsigned char* info, int* info_length, int timeout_ms) {
    if (any_null(info, info_length)) return status::invalid_argument;
    return run_for_data(all_info, device, {}, timeout_ms, cards::short_reply, info, info_length);
}

int IC_SetDevSn(DEVCONTEXT* device, const unsigned char* serial_number, int length,
                int timeout_ms) {
    if (any_null(serial_number)) return status::invalid_argument;
    std::array<std::uint8_t, serial_number_size> field{};
    std::copy_n(serial_number, std::clamp(length, 0, static_cast<int>(field.size())),
                field.begin());
    return run_only(set_serial_number, device, field, timeout_ms);
}
