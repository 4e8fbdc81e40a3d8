// What a run makes of its input, piece by piece. At the end of the input all is zero and empty.
#pragma once

#include <algorithm>
#include <climits>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "expect.h"

namespace fuzzing {

using Bytes = std::vector<std::uint8_t>;
using View = Input;

class Draw {
  public:
    explicit Draw(Input input) : rest_(input) {}

    // Gives the examples instead, and writes the input that does so into `composed`.
    explicit Draw(Bytes* composed) : composed_(composed) {}

    bool is_empty() const { return rest_.empty(); }

    std::uint8_t byte(std::uint8_t example = 0) {
        if (composed_ != nullptr) {
            composed_->push_back(example);
            return example;
        }
        if (rest_.empty()) return 0;
        const std::uint8_t value = rest_.front();
        rest_ = rest_.subspan(1);
        return value;
    }

    // 0 up to and with `last`.
    int up_to(int last, std::uint8_t example = 0) { return byte(example) % (last + 1); }

    // A length, and so many bytes or what is left.
    Bytes piece(View example = {}) {
        std::size_t length = example.size();
        if (length >= long_length) {
            length = byte(static_cast<std::uint8_t>(long_length + (length >> 8)));
        } else {
            length = byte(static_cast<std::uint8_t>(length));
        }
        if (length >= long_length) {
            const auto low = static_cast<std::uint8_t>(example.size());
            length = (length - long_length) << 8 | byte(low);
        }
        if (composed_ != nullptr) {
            composed_->insert(composed_->end(), example.begin(), example.end());
            return {example.begin(), example.end()};
        }
        const Input taken = rest_.first(std::min(length, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

    // A piece up to its first zero.
    std::string text(std::string_view example = {}) {
        const Bytes bytes =
            piece({reinterpret_cast<const std::uint8_t*>(example.data()), example.size()});
        return {bytes.begin(), std::ranges::find(bytes, 0)};
    }

    // Small ones in one byte, those at the edges of things in one too, all others in five.
    int number(int example = 0) {
        constexpr int edges[] = {-1,   -2,   -99,   239,     255,        256,     257,    511,
                                 1024, 9600, 19200, 1 << 16, -(1 << 16), INT_MAX, INT_MIN};
        const bool is_small = example >= 0 && example < static_cast<int>(long_length);
        const std::size_t first =
            byte(is_small ? static_cast<std::uint8_t>(example) : std::uint8_t{0xFF});
        if (first < long_length) return static_cast<int>(first);
        if (first - long_length < std::size(edges)) return edges[first - long_length];
        unsigned value = 0;
        for (int shift = 24; shift >= 0; shift -= 8)
            value = value << 8 | byte(static_cast<std::uint8_t>(example >> shift));
        return static_cast<int>(value);
    }

    // All that is left.
    View rest() { return std::exchange(rest_, {}); }

    static constexpr std::size_t long_length = 0xF0;
    static constexpr std::size_t max_piece = 0xFFF;

  private:
    Input rest_;
    Bytes* composed_ = nullptr;
};

// Writes what Draw::piece reads, cut at the longest piece.
inline void append_piece(Bytes& to, View piece) {
    Draw(&to).piece(piece.first(std::min(piece.size(), Draw::max_piece)));
}

}  // namespace fuzzing
