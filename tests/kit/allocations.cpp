#include "kit/allocations.h"

#include <cstddef>

// The C library's own, below the names that programs may replace.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

constinit thread_local unsigned long count = 0;

}  // namespace

unsigned long kit::allocations() {
    return count;
}

extern "C" {

void* malloc(std::size_t size) {
    ++count;
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
    ++count;
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) {
    ++count;
    return __libc_realloc(memory, size);
}

}  // extern "C"
