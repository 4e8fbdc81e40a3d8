// Bytes and frames as tests write them down.
#pragma once

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "explain/bytes.h"

namespace explain_tests {

using explain::Bytes;

// Hexadecimal text with blanks.
inline Bytes bytes(std::string_view text) {
    Bytes out;
    int high = -1;
    for (const char character : text) {
        const int value = explain::digit_value(character);
        if (value < 0) continue;
        if (high < 0) {
            high = value;
        } else {
            out.push_back(static_cast<std::uint8_t>(high << 4 | value));
            high = -1;
        }
    }
    return out;
}

inline Bytes characters(std::string_view text) {
    return {text.begin(), text.end()};
}

inline std::string text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace explain_tests
