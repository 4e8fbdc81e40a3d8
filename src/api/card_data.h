// Bytes that a card gave, and how a host gets them: as hexadecimal text in a buffer of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace deskreader::api {

// What a card gave, as the functions below this floor write it.
struct CardData {
    static constexpr std::size_t capacity = 4096;

    std::array<unsigned char, capacity + 1> bytes{};  // always with a zero behind the data
    int length = 0;

    // At most the capacity, whatever length was told.
    std::span<const std::uint8_t> view() const noexcept;
};

// A host's buffer with the size that it told.
struct HexBuffer {
    char* text;
    int size;

    // Writes the data, unterminated, as many bytes as fit. Returns the characters written, -22
    // without room.
    int write(const CardData& data) const noexcept;
};

// Gives a block to the host and logs it before and after, under a function's name.
void give_block(const char* name, const CardData& block, HexBuffer out) noexcept;

}  // namespace deskreader::api
