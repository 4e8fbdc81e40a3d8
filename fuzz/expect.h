// What every fuzzer starts from: input bytes, and a check that stops the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

using Input = std::span<const std::uint8_t>;

inline void expect(bool holds) {
    if (!holds) std::abort();
}

// Runs one input. Each fuzzer defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
