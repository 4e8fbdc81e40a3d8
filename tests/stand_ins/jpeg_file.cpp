// Baseline JPEG (ISO/IEC 10918-1) in full colour resolution. One step of quantisation serves all
// frequencies, and all Huffman codes of a table have the same length, so the code of a symbol is
// its place in the table.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <numeric>
#include <utility>

#include "image.h"

namespace stand_in {
namespace {

constexpr std::size_t side = 8;
constexpr std::size_t block_size = side * side;

constexpr std::array<std::uint8_t, block_size> zigzag = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

constexpr unsigned end_of_block = 0x00;
constexpr unsigned sixteen_zeros = 0xF0;
constexpr unsigned dc_code_bits = 4;
constexpr unsigned ac_code_bits = 8;

// The symbols of frequencies other than 0: a run of zeros, then the size of the next number.
Bytes ac_symbols() {
    Bytes symbols = {end_of_block, sixteen_zeros};
    for (unsigned run = 0; run < 16; ++run) {
        for (unsigned size = 1; size <= 10; ++size)
            symbols.push_back(static_cast<std::uint8_t>(run << 4 | size));
    }
    return symbols;
}

// Bits, the highest first; a byte FF is followed by 00.
class BitStream {
  public:
    explicit BitStream(Bytes& out) : out_(out) {}

    void put(unsigned value, unsigned bits) {
        while (bits-- > 0) {
            pending_ = pending_ << 1 | (value >> bits & 1);
            if (++pending_bits_ == 8) put_byte();
        }
    }

    void finish() {
        while (pending_bits_ != 0)
            put(1, 1);
    }

  private:
    void put_byte() {
        out_.push_back(static_cast<std::uint8_t>(pending_));
        if (out_.back() == 0xFF) out_.push_back(0);
        pending_ = 0;
        pending_bits_ = 0;
    }

    Bytes& out_;
    unsigned pending_ = 0;
    unsigned pending_bits_ = 0;
};

using Block = std::array<double, block_size>;

// Luminance, blue and red difference, centred on 0, of the pixel; beyond an edge that at the edge.
double part_at(const Image& image, std::size_t column, std::size_t row, std::size_t part) {
    const std::uint8_t* rgb =
        image.at(std::min(column, image.width - 1), std::min(row, image.height - 1));
    constexpr double weights[3][3] = {
        {0.299, 0.587, 0.114}, {-0.168736, -0.331264, 0.5}, {0.5, -0.418688, -0.081312}};
    const double value =
        weights[part][0] * rgb[0] + weights[part][1] * rgb[1] + weights[part][2] * rgb[2];
    return part == 0 ? value - 128 : value;
}

Block block_at(const Image& image, std::size_t column, std::size_t row, std::size_t part) {
    Block block;
    for (std::size_t i = 0; i < block_size; ++i)
        block[i] = part_at(image, column + i % side, row + i / side, part);
    return block;
}

using Weights = std::array<std::array<double, side>, side>;

// By frequency: the weight of each of the eight places in a row.
Weights cosines() {
    Weights weights;
    for (std::size_t frequency = 0; frequency < side; ++frequency) {
        const double scale = frequency == 0 ? std::numbers::sqrt2 / 4 : 0.5;
        const double step = static_cast<double>(frequency) * std::numbers::pi / (2.0 * side);
        for (std::size_t place = 0; place < side; ++place)
            weights[frequency][place] = scale * std::cos(static_cast<double>(2 * place + 1) * step);
    }
    return weights;
}

// Each row's frequencies, as a column.
Block rows_to_columns(const Block& block) {
    static const Weights weights = cosines();
    Block columns;
    for (std::size_t row = 0; row < side; ++row) {
        const double* const values = &block[row * side];
        for (std::size_t frequency = 0; frequency < side; ++frequency)
            columns[frequency * side + row] =
                std::inner_product(values, values + side, weights[frequency].begin(), 0.0);
    }
    return columns;
}

Block frequencies_of(const Block& block) {
    return rows_to_columns(rows_to_columns(block));
}

// The number of bits of a value, and the bits.
std::pair<unsigned, unsigned> size_and_bits(int value) {
    unsigned size = 0;
    for (int rest = std::abs(value); rest != 0; rest >>= 1)
        ++size;
    const int bits = value < 0 ? value + (1 << size) - 1 : value;
    return {size, static_cast<unsigned>(bits)};
}

class Encoder {
  public:
    Encoder(Bytes& out, int step) : stream_(out), step_(step) {}

    void put(const Block& block, std::size_t part) {
        const Block exact = frequencies_of(block);
        std::array<int, block_size> numbers;
        for (std::size_t i = 0; i < block_size; ++i)
            numbers[i] = static_cast<int>(std::lround(exact[zigzag[i]] / step_));
        put_mean(numbers[0] - std::exchange(mean_[part], numbers[0]));
        put_rest(numbers);
    }

    void finish() { stream_.finish(); }

  private:
    void put_mean(int difference) {
        const auto [size, bits] = size_and_bits(difference);
        stream_.put(size, dc_code_bits);
        stream_.put(bits, size);
    }

    void put_rest(const std::array<int, block_size>& numbers) {
        unsigned run = 0;
        for (std::size_t i = 1; i < block_size; ++i) {
            if (numbers[i] == 0) {
                ++run;
                continue;
            }
            for (; run >= 16; run -= 16)
                put_symbol(sixteen_zeros);
            const auto [size, bits] = size_and_bits(numbers[i]);
            put_symbol(run << 4 | size);
            stream_.put(bits, size);
            run = 0;
        }
        if (run > 0) put_symbol(end_of_block);
    }

    void put_symbol(unsigned symbol) {
        const auto place = std::ranges::find(symbols_, symbol) - symbols_.begin();
        stream_.put(static_cast<unsigned>(place), ac_code_bits);
    }

    BitStream stream_;
    int step_;
    Bytes symbols_ = ac_symbols();
    std::array<int, 3> mean_{};
};

void put_segment(Bytes& file, std::uint8_t marker, const Bytes& content) {
    const std::size_t length = content.size() + 2;
    file.insert(file.end(), {0xFF, marker, static_cast<std::uint8_t>(length >> 8),
                             static_cast<std::uint8_t>(length)});
    file.insert(file.end(), content.begin(), content.end());
}

void put_code_table(Bytes& file, std::uint8_t id, unsigned bits, const Bytes& symbols) {
    Bytes table(17, 0);
    table[0] = id;
    table[bits] = static_cast<std::uint8_t>(symbols.size());
    table.insert(table.end(), symbols.begin(), symbols.end());
    put_segment(file, 0xC4, table);
}

void put_tables(Bytes& file, const Image& image, int step) {
    Bytes steps(1 + block_size, static_cast<std::uint8_t>(step));
    steps[0] = 0;
    put_segment(file, 0xDB, steps);
    const auto high = [](std::size_t n) { return static_cast<std::uint8_t>(n >> 8); };
    const auto low = [](std::size_t n) { return static_cast<std::uint8_t>(n); };
    put_segment(file, 0xC0,
                {8, high(image.height), low(image.height), high(image.width), low(image.width), 3,
                 1, 0x11, 0, 2, 0x11, 0, 3, 0x11, 0});
    put_code_table(file, 0x00, dc_code_bits, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    put_code_table(file, 0x10, ac_code_bits, ac_symbols());
    put_segment(file, 0xDA, {3, 1, 0, 2, 0, 3, 0, 0, 63, 0});
}

}  // namespace

Bytes jpeg_file(const Image& image, int quality) {
    Bytes file = {0xFF, 0xD8};
    put_segment(file, 0xE0, {'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0});
    const int step = 1 + (100 - std::clamp(quality, 1, 100)) / 4;
    put_tables(file, image, step);
    Encoder encoder(file, step);
    for (std::size_t row = 0; row < image.height; row += side) {
        for (std::size_t column = 0; column < image.width; column += side) {
            for (std::size_t part = 0; part < 3; ++part)
                encoder.put(block_at(image, column, row, part), part);
        }
    }
    encoder.finish();
    file.insert(file.end(), {0xFF, 0xD9});
    return file;
}

}  // namespace stand_in
