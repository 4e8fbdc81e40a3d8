// The daily log: two severities, one file, written through to disk fragment by fragment.
// The functions to log with are GLogI and GLogE; here stands what the layers add to them.
#pragma once

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/text.h"

namespace deskreader::log {

// The threshold from which on a message of the severity is written; also the message's kind.
enum class Severity : int {
    error = 1,
    information = 2,
};

bool enabled(Severity severity) noexcept;

// Bytes as hexadecimal text for an information message. Nothing is formatted while information is
// not logged; bytes beyond half the capacity are left out.
template <std::size_t Capacity>
class HexText {
  public:
    explicit HexText(std::span<const std::uint8_t> bytes) noexcept {
        text_[0] = '\0';
        if (!enabled(Severity::information)) return;
        text_[text::to_hex(bytes, std::span(text_).first(Capacity))] = '\0';
    }

    const char* c_str() const noexcept { return text_.data(); }

  private:
    std::array<char, Capacity + 1> text_;
};

}  // namespace deskreader::log
