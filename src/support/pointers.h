// Pointers as hosts give them.
#pragma once

namespace deskreader {

// Whether one of them is null.
template <class... Pointer>
constexpr bool any_null(const Pointer*... pointers) noexcept {
    return ((pointers == nullptr) || ...);
}

// Whether bytes are missing: a null pointer is good for none.
constexpr bool missing(const unsigned char* bytes, int length) noexcept {
    return bytes == nullptr && length > 0;
}

}  // namespace deskreader
