// Copies that know where their destination ends: what does not fit is left out, never written past
// the end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace deskreader::bounded {

// Copies `text` with its terminator into a buffer that must not be empty.
inline void copy_text(std::span<char> out, std::string_view text) noexcept {
    const std::size_t length = std::min(text.size(), out.size() - 1);
    std::memcpy(out.data(), text.data(), length);
    out[length] = '\0';
}

}  // namespace deskreader::bounded
