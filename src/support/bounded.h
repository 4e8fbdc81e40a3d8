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

// `text` without its first `count` characters; empty if it has no more. Unlike the standard's own
// it brings no exception into the library, nor the runtime that belongs to one.
constexpr std::string_view without_first(std::string_view text, std::size_t count) noexcept {
    text.remove_prefix(std::min(count, text.size()));
    return text;
}

}  // namespace deskreader::bounded
