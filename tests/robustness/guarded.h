// Buffers that end where memory that may not be touched begins: a write past the end stops the
// program, and one before the beginning is found.
#pragma once

#include <cstddef>
#include <vector>

namespace robustness {

class GuardedBuffers {
  public:
    GuardedBuffers();
    ~GuardedBuffers();
    GuardedBuffers(const GuardedBuffers&) = delete;
    GuardedBuffers& operator=(const GuardedBuffers&) = delete;

    // Zeros, exactly so many; until the next reset.
    unsigned char* bytes(std::size_t size);
    char* text(std::size_t size) { return reinterpret_cast<char*>(bytes(size)); }
    template <class Number>
    Number* number(Number value = {}) {
        auto* place = reinterpret_cast<Number*>(bytes(sizeof(Number)));
        *place = value;
        return place;
    }

    // A terminated text with nothing readable behind its terminator.
    char* copy(const char* content);

    // Takes all back. False when something was written before the beginning of one of them.
    bool reset();

  private:
    unsigned char* slot(std::size_t index) const;

    unsigned char* memory_;
    std::vector<std::size_t> used_;  // sizes
};

}  // namespace robustness
