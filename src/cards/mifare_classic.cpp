// The reader's commands for MIFARE Classic cards: the reader itself talks to the card, and each
// operation is one letter with its parameters.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "cards/bytes.h"
#include "cards/reader_command.h"
#include "status.h"

using namespace deskreader;
using cards::Bytes;
using cards::CommandRow;
using cards::Reply;

namespace {

constexpr std::size_t max_parameters = 1024;  // more than any frame carries
constexpr std::size_t value_size = 4;
constexpr std::size_t max_block_data = 1024;  // no frame really carries as many

constexpr std::uint8_t key_a = 0x60;
constexpr std::uint8_t key_b = 0x61;

// The command of a letter: both frames have the same, the Union frame behind its class.
constexpr CommandRow letter(std::uint8_t code, int failure) noexcept {
    return {.default_frame = cards::frame_ic,
            .ic = {code},
            .union_ = {0x32, code},
            .failure = failure,
            .reply_room = cards::long_reply};
}

constexpr CommandRow power_on{
    .default_frame = cards::frame_ic,
    .ic = {0x41},
    .union_ = {0x32, 0x41, 0x00, 0x00},
    .failure = status::m1_power_on_failed,
};
constexpr CommandRow power_off{
    .default_frame = cards::frame_ic,
    .ic = {0x4B},
    .union_ = {0x32, 0x25},
    .failure = status::m1_power_off_failed,
};
constexpr CommandRow verify = letter(0x42, status::m1_verify_failed);
constexpr CommandRow read_block = letter(0x43, status::m1_read_block_failed);
constexpr CommandRow write_block = letter(0x44, status::m1_write_block_failed);
constexpr CommandRow read_value = letter(0x45, status::m1_read_value_failed);
constexpr CommandRow write_value = letter(0x46, status::m1_write_value_failed);
constexpr CommandRow increment = letter(0x47, status::m1_increment_failed);
constexpr CommandRow decrement = letter(0x48, status::m1_decrement_failed);

// What follows a command's letter: some bytes, then data.
class Parameters {
  public:
    // False for more than any frame carries.
    bool set(std::initializer_list<std::uint8_t> head, Bytes data) noexcept {
        size_ = head.size() + data.size();
        if (size_ > bytes_.size()) return false;
        std::ranges::copy(data, std::ranges::copy(head, bytes_.begin()).out);
        return true;
    }

    Bytes bytes() const noexcept { return std::span(bytes_).first(size_); }

  private:
    std::array<std::uint8_t, max_parameters> bytes_;
    std::size_t size_ = 0;
};

int run_with(const CommandRow& row, DEVCONTEXT* device, std::uint8_t block, Bytes data,
             int timeout_ms) noexcept {
    Parameters parameters;
    if (!parameters.set({block}, data)) return status::invalid_argument;
    return cards::run_only(row, device, parameters.bytes(), timeout_ms);
}

int run_with_value(const CommandRow& row, DEVCONTEXT* device, std::uint8_t block,
                   const unsigned char* value, int timeout_ms) noexcept {
    if (device == nullptr || value == nullptr) return status::invalid_argument;
    return run_with(row, device, block, {value, value_size}, timeout_ms);
}

int run_with_number(const CommandRow& row, DEVCONTEXT* device, std::uint8_t block, unsigned value,
                    int timeout_ms) noexcept {
    std::array<unsigned char, value_size> bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
    return run_with_value(row, device, block, bytes.data(), timeout_ms);
}

int read(const CommandRow& row, DEVCONTEXT* device, std::uint8_t block, unsigned char* out,
         int* out_length, int timeout_ms) noexcept {
    if (device == nullptr || out == nullptr || out_length == nullptr)
        return status::invalid_argument;
    const std::uint8_t parameters[] = {block};
    return cards::run_for_data(row, device, parameters, timeout_ms, max_block_data, out,
                               out_length);
}

}  // namespace

int M1_PowerOn(DEVCONTEXT* device, unsigned char* answer, int* answer_length, int timeout_ms) {
    if (device == nullptr || answer == nullptr || answer_length == nullptr)
        return status::invalid_argument;
    Reply reply;
    const int result = cards::run(power_on, device, {}, timeout_ms, reply);
    if (result != status::ok || !reply.has_status()) return result;
    // kept: in the Union frame the status bytes count as part of the answer.
    const Bytes given = reply.frame == cards::frame_union
                            ? std::span(std::as_const(reply.bytes)).first(reply.length)
                            : reply.data();
    std::ranges::copy(given, answer);
    *answer_length = static_cast<int>(given.size());
    return status::ok;
}

int M1_PowerOff(DEVCONTEXT* device, int timeout_ms) {
    if (device == nullptr) return status::invalid_argument;
    return cards::run_only(power_off, device, {}, timeout_ms);
}

int M1_Verify(DEVCONTEXT* device, unsigned char sector, unsigned char key_type,
              const unsigned char* key, int timeout_ms) {
    if (device == nullptr || key == nullptr) return status::invalid_argument;
    // kept: the key is taken for a text, so one with a 00 byte goes out cut short.
    const Bytes text(key, strnlen(reinterpret_cast<const char*>(key), max_parameters));
    Parameters in_ic;
    Parameters in_union;
    // kept: only the IC frame translates the key's type.
    if (!in_ic.set({sector, key_type == 0 ? key_a : key_b}, text) ||
        !in_union.set({sector, key_type}, text)) {
        return status::invalid_argument;
    }
    Reply reply;
    return cards::run(verify, device, in_ic.bytes(), in_union.bytes(), timeout_ms, reply);
}

int M1_ReadBlock(DEVCONTEXT* device, unsigned char block, unsigned char* out, int* out_length,
                 int timeout_ms) {
    return read(read_block, device, block, out, out_length, timeout_ms);
}

int M1_WriteBlock(DEVCONTEXT* device, unsigned char block, const unsigned char* data, int length,
                  int timeout_ms) {
    if (device == nullptr || data == nullptr || length < 0) return status::invalid_argument;
    return run_with(write_block, device, block, cards::bytes_of(data, length), timeout_ms);
}

int M1_ReadValue(DEVCONTEXT* device, unsigned char block, unsigned char* out, int* out_length,
                 int timeout_ms) {
    return read(read_value, device, block, out, out_length, timeout_ms);
}

int M1_WriteValue(DEVCONTEXT* device, unsigned char block, const unsigned char* value, int,
                  int timeout_ms) {
    return run_with_value(write_value, device, block, value, timeout_ms);
}

int M1_Increment(DEVCONTEXT* device, unsigned char block, const unsigned char* value, int,
                 int timeout_ms) {
    return run_with_value(increment, device, block, value, timeout_ms);
}

int M1_Decrement(DEVCONTEXT* device, unsigned char block, const unsigned char* value, int,
                 int timeout_ms) {
    return run_with_value(decrement, device, block, value, timeout_ms);
}

int M1_IncreaseValue(DEVCONTEXT* device, unsigned char block, unsigned value, int timeout_ms) {
    return run_with_number(increment, device, block, value, timeout_ms);
}

int M1_DecreaseValue(DEVCONTEXT* device, unsigned char block, unsigned value, int timeout_ms) {
    return run_with_number(decrement, device, block, value, timeout_ms);
}
