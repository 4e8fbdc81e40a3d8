// Pointers as hosts give them, and to memory of malloc.
#pragma once

#include <cstdlib>

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

// For std::unique_ptr. The library takes memory from malloc alone: C++'s own would bring the
// runtime of exceptions with it.
struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

}  // namespace deskreader
