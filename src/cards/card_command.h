// One command to a payment card and its answer, through PBOC_IcAPDU: the header of ISO 7816-4, the
// data with its one-byte length, and the status word checked.
#pragma once

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "cards/tlv.h"

namespace deskreader::cards {

inline constexpr std::size_t max_command = 512;
inline constexpr std::size_t max_response = 512;
inline constexpr std::size_t max_command_data = 255;  // one-byte Lc

// What a card command returns where the card says that its application is blocked.
inline constexpr int application_blocked = 100;

struct Header {
    std::uint8_t cla;
    std::uint8_t ins;
    std::uint8_t p1;
    std::uint8_t p2;
};

class CardCommand {
  public:
    CardCommand(DEVCONTEXT* device, int slot, Header header) noexcept;

    // Lc and data. More than 255 bytes make `run` refuse the command.
    CardCommand& data(tlv::Bytes bytes) noexcept;
    CardCommand& data(const unsigned char* bytes, int length) noexcept;

    // One byte as it stands: Le, or the Lc of a command whose data stay behind.
    CardCommand& byte(std::uint8_t value) noexcept;

    // Sends it. 0 for status word 90 00, -99 for another one or none, otherwise the result of the
    // exchange; -22 for a command that does not fit.
    [[nodiscard]] int run() noexcept;

    // The answer of the last run without and with its status word; empty when it brought none.
    tlv::Bytes answer() const noexcept;
    tlv::Bytes whole_answer() const noexcept { return std::span(response_).first(response_size_); }

    // SW1 SW2, 0 when the answer is too short for one.
    std::uint16_t status_word() const noexcept;

    // Copies the answer without status word for a caller whose buffer takes it.
    void copy_answer(unsigned char* out, int* length) const noexcept;

    // Copies the value of a data object of the answer. False, and nothing copied, if it is not
    // there.
    bool copy_object(tlv::Bytes tag, unsigned char* out, int* length) const noexcept;

  private:
    DEVCONTEXT* device_;
    int slot_;
    std::array<std::uint8_t, max_command> command_;
    std::size_t size_ = 0;
    bool fits_ = true;
    std::array<std::uint8_t, max_response> response_;
    std::size_t response_size_ = 0;
};

// Copies bytes and their count for a caller.
void copy_out(tlv::Bytes bytes, unsigned char* out, int* length) noexcept;

}  // namespace deskreader::cards
