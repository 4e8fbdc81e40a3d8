// The standard's tables number bits from 1, the most significant. What a table does to a whole
// byte, and what an S-box and the permutation P after it do to six bits, is worked out at compile
// time.
#include "support/des.h"

#include <deskreader.h>

#include <bit>
#include <cstddef>
#include <span>

#include "status.h"

namespace deskreader::des {
namespace {

constexpr std::uint8_t initial_permutation[64] = {
    58, 50, 42, 34, 26, 18, 10, 2, 60, 52, 44, 36, 28, 20, 12, 4,  //
    62, 54, 46, 38, 30, 22, 14, 6, 64, 56, 48, 40, 32, 24, 16, 8,  //
    57, 49, 41, 33, 25, 17, 9,  1, 59, 51, 43, 35, 27, 19, 11, 3,  //
    61, 53, 45, 37, 29, 21, 13, 5, 63, 55, 47, 39, 31, 23, 15, 7,
};

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

// A permutation of 64 bits, byte by byte: row i says where the bits of byte i go.
using BytePermutation = std::array<std::array<std::uint64_t, 256>, 8>;

constexpr BytePermutation by_bytes(const std::uint8_t (&table)[64]) noexcept {
    BytePermutation rows{};
    for (unsigned to = 0; to < 64; ++to) {
        const unsigned from = table[to] - 1u;
        for (unsigned byte = 0; byte < 256; ++byte) {
            if ((byte >> (7 - from % 8) & 1) != 0)
                rows[from / 8][byte] |= std::uint64_t{1} << (63 - to);
        }
    }
    return rows;
}

struct Inverse {
    std::uint8_t table[64];
};

constexpr Inverse inverse_of(const std::uint8_t (&table)[64]) noexcept {
    Inverse inverse{};
    for (unsigned to = 0; to < 64; ++to)
        inverse.table[table[to] - 1u] = static_cast<std::uint8_t>(to + 1);
    return inverse;
}

constexpr BytePermutation opening = by_bytes(initial_permutation);
constexpr BytePermutation closing = by_bytes(inverse_of(initial_permutation).table);

std::uint64_t permute(std::uint64_t block, const BytePermutation& rows) noexcept {
    std::uint64_t result = 0;
    for (unsigned byte = 0; byte < 8; ++byte)
        result |= rows[byte][block >> (56 - 8 * byte) & 0xFF];
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

std::uint32_t round_function(std::uint32_t half, const std::array<std::uint8_t, 8>& key) noexcept {
    // The expansion gives box n the six bits that begin with the one before its own four.
    const std::uint32_t shifted = std::rotr(half, 1);
    std::uint32_t result = 0;
    for (unsigned box = 0; box < 8; ++box) {
        const std::uint32_t six = std::rotl(shifted, static_cast<int>(4 * box)) >> 26;
        result |= substitution[box][six ^ key[box]];
    }
    return result;
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

// Encrypt, decrypt, encrypt with the three keys, or the inverse of it (ANSI X9.52).
std::uint64_t triple(std::uint64_t block, const std::uint8_t* key, std::size_t key_size,
                     Direction direction) noexcept {
    const RoundKeys first = expand(key);
    const RoundKeys second = expand(key + 8);
    const RoundKeys third = key_size == 24 ? expand(key + 16) : first;
    const bool forward = direction == Direction::encrypt;
    block = crypt(block, forward ? first : third, direction);
    block = crypt(block, second, opposite(direction));
    return crypt(block, forward ? third : first, direction);
}

}  // namespace

RoundKeys expand(const std::uint8_t* key) noexcept {
    const std::uint64_t chosen = permute(load(key), 64, permuted_choice_1);
    auto left = static_cast<std::uint32_t>(chosen >> 28);
    auto right = static_cast<std::uint32_t>(chosen & 0x0FFFFFFF);
    RoundKeys keys;
    for (unsigned round = 0; round < 16; ++round) {
        left = rotate_28(left, left_shifts[round]);
        right = rotate_28(right, left_shifts[round]);
        const std::uint64_t bits =
            permute(std::uint64_t{left} << 28 | right, 56, permuted_choice_2);
        for (unsigned box = 0; box < 8; ++box) {
            keys[round][box] = static_cast<std::uint8_t>(bits >> (42 - 6 * box) & 0x3F);
        }
    }
    return keys;
}

std::uint64_t crypt(std::uint64_t block, const RoundKeys& keys, Direction direction) noexcept {
    block = permute(block, opening);
    auto left = static_cast<std::uint32_t>(block >> 32);
    auto right = static_cast<std::uint32_t>(block);
    for (unsigned round = 0; round < 16; ++round) {
        const std::uint32_t next =
            left ^
            round_function(right, keys[direction == Direction::encrypt ? round : 15 - round]);
        left = right;
        right = next;
    }
    return permute(std::uint64_t{right} << 32 | left, closing);
}

namespace {

int crypt_block(const unsigned char* input, const unsigned char* key, unsigned char* output,
                Direction direction) noexcept {
    if (input == nullptr || key == nullptr || output == nullptr) return status::invalid_argument;
    store(crypt(load(input), expand(key), direction), output);
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
