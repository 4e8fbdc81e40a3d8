// DES (FIPS 46-3) on single blocks, and triple DES with two or three keys.
//
// The standard's tables number bits from 1, the most significant. What the permuted choices do to
// seven bits, and what an S-box and the permutation P after it do to six, is worked out at compile
// time.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "status.h"

namespace deskreader::des {
namespace {

enum class Direction { encrypt, decrypt };

// The sixteen round keys of one key, each in the places that the round function wants.
using RoundKeys = std::array<std::uint64_t, 16>;

constexpr std::uint8_t permutation_p[32] = {
    16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,  //
    2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25,
};

constexpr std::uint8_t permuted_choice_1[56] = {
    57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43,
    35, 27, 19, 11, 3,  60, 52, 44, 36, 63, 55, 47, 39, 31, 23, 15, 7,  62, 54,
    46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4,
};

constexpr std::uint8_t permuted_choice_2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};

constexpr int left_shifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

constexpr std::uint8_t s_boxes[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11},
};

// The bits that `table` names, taken from a word of `width` bits.
template <std::size_t Size>
constexpr std::uint64_t permute(std::uint64_t word, unsigned width,
                                const std::uint8_t (&table)[Size]) noexcept {
    std::uint64_t result = 0;
    for (const std::uint8_t bit : table)
        result = result << 1 | (word >> (width - bit) & 1);
    return result;
}

// What S-box `box` and then P make of six bits.
constexpr auto substitution = [] {
    std::array<std::array<std::uint32_t, 64>, 8> boxes{};
    for (unsigned box = 0; box < 8; ++box) {
        for (unsigned bits = 0; bits < 64; ++bits) {
            const unsigned row = (bits >> 4 & 2) | (bits & 1);
            const unsigned column = bits >> 1 & 0x0F;
            const std::uint64_t nibble = s_boxes[box][row * 16 + column];
            boxes[box][bits] =
                static_cast<std::uint32_t>(permute(nibble << (28 - 4 * box), 32, permutation_p));
        }
    }
    return boxes;
}();

// A choice of bits from a word of eight groups of seven bits, group by group: row i says where the
// bits of group i go.
using GroupChoice = std::array<std::array<std::uint64_t, 128>, 8>;

template <class PlaceOfBit>
constexpr GroupChoice by_groups(PlaceOfBit place_of_bit) noexcept {
    GroupChoice rows{};
    for (unsigned from = 0; from < 56; ++from) {
        const std::uint64_t to = place_of_bit(from);
        for (unsigned group = 0; group < 128; ++group) {
            if ((group >> (6 - from % 7) & 1) != 0) rows[from / 7][group] |= to;
        }
    }
    return rows;
}

// Of a key's bytes the upper seven bits are the groups: the lowest one is parity.
constexpr GroupChoice key_choice = by_groups([](unsigned from) {
    const auto* place = std::ranges::find(permuted_choice_1, from / 7 * 8 + from % 7 + 1);
    return std::uint64_t{1} << (55 - (place - permuted_choice_1));
});

// Where the round function wants the six bits of S-box `box`: the even boxes in the upper word, the
// odd ones in the lower, each at the top of a byte.
constexpr unsigned lowest_bit_of(unsigned box) noexcept {
    return (box % 2 == 0 ? 32u : 0u) + 26u - 8 * (box / 2);
}

constexpr GroupChoice round_choice = by_groups([](unsigned from) {
    const auto* place = std::ranges::find(permuted_choice_2, from + 1);
    if (place == std::end(permuted_choice_2)) return std::uint64_t{0};
    const auto bit = static_cast<unsigned>(place - permuted_choice_2);
    return std::uint64_t{1} << (lowest_bit_of(bit / 6) + 5 - bit % 6);
});

template <unsigned Width>
std::uint64_t choose(std::uint64_t word, const GroupChoice& rows) noexcept {
    std::uint64_t result = 0;
#pragma GCC unroll 8
    for (unsigned group = 0; group < 8; ++group)
        result |= rows[group][word >> (Width * (7 - group) + Width - 7) & 0x7F];
    return result;
}

// The two halves of a block.
struct Halves {
    std::uint32_t left;
    std::uint32_t right;
};

// Exchanges the bits of `mask` in `low` for those `shift` places further up in `high`.
void exchange(std::uint32_t& high, std::uint32_t& low, int shift, std::uint32_t mask) noexcept {
    const std::uint32_t differing = (high >> shift ^ low) & mask;
    low ^= differing;
    high ^= differing << shift;
}

// The initial permutation turns the block's bit matrix over: five exchanges of ever smaller
// squares.
Halves opened(std::uint64_t block) noexcept {
    Halves halves{static_cast<std::uint32_t>(block >> 32), static_cast<std::uint32_t>(block)};
    exchange(halves.left, halves.right, 4, 0x0F0F0F0F);
    exchange(halves.left, halves.right, 16, 0x0000FFFF);
    exchange(halves.right, halves.left, 2, 0x33333333);
    exchange(halves.right, halves.left, 8, 0x00FF00FF);
    exchange(halves.left, halves.right, 1, 0x55555555);
    return halves;
}

// Its inverse.
std::uint64_t closed(Halves halves) noexcept {
    exchange(halves.left, halves.right, 1, 0x55555555);
    exchange(halves.right, halves.left, 8, 0x00FF00FF);
    exchange(halves.right, halves.left, 2, 0x33333333);
    exchange(halves.left, halves.right, 16, 0x0000FFFF);
    exchange(halves.left, halves.right, 4, 0x0F0F0F0F);
    return std::uint64_t{halves.left} << 32 | halves.right;
}

// The four S-boxes from `first` on, every other one, of what stands at the top of the bytes.
std::uint32_t substitute(std::uint32_t bits, unsigned first) noexcept {
    return substitution[first][bits >> 26] | substitution[first + 2][bits >> 18 & 0x3F] |
           substitution[first + 4][bits >> 10 & 0x3F] | substitution[first + 6][bits >> 2 & 0x3F];
}

// The expansion gives box n the six bits that begin with the one before its own four, so rotated by
// one the half has those of the even boxes at the top of its bytes, and by four more the others.
std::uint32_t round_function(std::uint32_t half, std::uint64_t key) noexcept {
    return substitute(std::rotr(half, 1) ^ static_cast<std::uint32_t>(key >> 32), 0) |
           substitute(std::rotl(half, 3) ^ static_cast<std::uint32_t>(key), 1);
}

std::uint32_t rotate_28(std::uint32_t half, int count) noexcept {
    return (half << count | half >> (28 - count)) & 0x0FFFFFFF;
}

std::uint64_t load(const std::uint8_t* bytes) noexcept {
    std::uint64_t word = 0;
    for (unsigned i = 0; i < 8; ++i)
        word = word << 8 | bytes[i];
    return word;
}

void store(std::uint64_t word, std::uint8_t* bytes) noexcept {
    for (unsigned i = 0; i < 8; ++i)
        bytes[i] = static_cast<std::uint8_t>(word >> (56 - 8 * i));
}

constexpr Direction opposite(Direction direction) noexcept {
    return direction == Direction::encrypt ? Direction::decrypt : Direction::encrypt;
}

RoundKeys expand(const std::uint8_t* key) noexcept {
    const std::uint64_t chosen = choose<8>(load(key), key_choice);
    auto left = static_cast<std::uint32_t>(chosen >> 28);
    auto right = static_cast<std::uint32_t>(chosen & 0x0FFFFFFF);
    RoundKeys keys;
    for (unsigned round = 0; round < 16; ++round) {
        left = rotate_28(left, left_shifts[round]);
        right = rotate_28(right, left_shifts[round]);
        keys[round] = choose<7>(std::uint64_t{left} << 28 | right, round_choice);
    }
    return keys;
}

// The sixteen rounds between the permutations; they end with the halves exchanged.
Halves rounds(Halves halves, const RoundKeys& keys, Direction direction) noexcept {
    const bool forward = direction == Direction::encrypt;
    for (unsigned round = 0; round < 16; round += 2) {
        halves.left ^= round_function(halves.right, keys[forward ? round : 15 - round]);
        halves.right ^= round_function(halves.left, keys[forward ? round + 1 : 14 - round]);
    }
    return {halves.right, halves.left};
}

std::uint64_t single(std::uint64_t block, const std::uint8_t* key, Direction direction) noexcept {
    return closed(rounds(opened(block), expand(key), direction));
}

// Encrypt, decrypt, encrypt with the three keys, or the inverse of it (ANSI X9.52). Between them
// the closing permutation of one and the opening one of the next cancel out.
std::uint64_t triple(std::uint64_t block, const std::uint8_t* key, std::size_t key_size,
                     Direction direction) noexcept {
    const RoundKeys first = expand(key);
    const RoundKeys second = expand(key + 8);
    const RoundKeys third = key_size == 24 ? expand(key + 16) : first;
    const bool forward = direction == Direction::encrypt;
    Halves halves = opened(block);
    halves = rounds(halves, forward ? first : third, direction);
    halves = rounds(halves, second, opposite(direction));
    return closed(rounds(halves, forward ? third : first, direction));
}

int crypt_block(const unsigned char* input, const unsigned char* key, unsigned char* output,
                Direction direction) noexcept {
    if (input == nullptr || key == nullptr || output == nullptr) return status::invalid_argument;
    store(single(load(input), key, direction), output);
    return status::ok;
}

int crypt_block_triple(const unsigned char* input, const unsigned char* key, unsigned char* output,
                       int key_length, Direction direction) noexcept {
    if (input == nullptr || key == nullptr || output == nullptr) return status::invalid_argument;
    if (key_length != 16 && key_length != 24) return status::invalid_argument;
    store(triple(load(input), key, static_cast<std::size_t>(key_length), direction), output);
    return status::ok;
}

}  // namespace
}  // namespace deskreader::des

namespace des = deskreader::des;

int GDesEncrypt(const unsigned char* input, const unsigned char* key, unsigned char* output) {
    return des::crypt_block(input, key, output, des::Direction::encrypt);
}

int GDesDecrypt(const unsigned char* input, const unsigned char* key, unsigned char* output) {
    return des::crypt_block(input, key, output, des::Direction::decrypt);
}

int G3DesEncrypt(const unsigned char* input, const unsigned char* key, unsigned char* output,
                 int key_length) {
    return des::crypt_block_triple(input, key, output, key_length, des::Direction::encrypt);
}

int G3DesDecrypt(const unsigned char* input, const unsigned char* key, unsigned char* output,
                 int key_length) {
    return des::crypt_block_triple(input, key, output, key_length, des::Direction::decrypt);
}
