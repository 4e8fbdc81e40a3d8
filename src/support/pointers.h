// Pointers as hosts give them.
#pragma once

namespace deskreader {

// Whether one of them is null.
template <class... Pointer>
constexpr bool any_null(const Pointer*... pointers) noexcept {
    return ((pointers == nullptr) || ...);
}

}  // namespace deskreader
