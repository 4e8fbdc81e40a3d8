// The walker over card data: BER-TLV as these cards and this library agree on it (a simplified EMV
// Book 3, annex B).
//
//   tag     one byte, or two if its low five bits are all ones; never a third
//   length  81 xx: one byte follows, 82 xx xx: two, big-endian; any other byte is itself the length
//   value   of a constructed object (bit 20 of the first tag byte) its inner objects: it is
//   entered,
//           not skipped, so the walk goes on with the first of them
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "cards/bytes.h"

namespace deskreader::tlv {

using cards::Bytes;

struct Object {
    Bytes tag;
    std::size_t offset;  // of the value, from the beginning of the data
    std::size_t length;  // of the value; 0 for a constructed object
};

// What a constructed object with a two-byte length does to the walk.
enum class LongTemplate {
    ends_walk,
    is_entered,
};

constexpr bool is_two_byte_tag(std::uint8_t first) noexcept {
    return (first & 0x1F) == 0x1F;
}
constexpr bool is_constructed(std::uint8_t first) noexcept {
    return (first & 0x20) != 0;
}

// Walks the objects in the order in which their bytes stand. An object whose tag, length or value
// runs past the data is not there, and ends the walk.
class Walker {
  public:
    Walker(Bytes data, LongTemplate long_template) noexcept
        : data_(data), long_template_(long_template) {}

    std::optional<Object> next() noexcept;

  private:
    std::optional<Object> end() noexcept {
        position_ = data_.size();
        return std::nullopt;
    }

    Bytes data_;
    LongTemplate long_template_;
    std::size_t position_ = 0;
};

inline bool equal(Bytes left, Bytes right) noexcept {
    return std::ranges::equal(left, right);
}

// The first object with this tag, as a reader of card data looks for it.
std::optional<Object> find(Bytes data, Bytes tag) noexcept;

// Its value, nothing if it is not there.
std::optional<Bytes> find_value(Bytes data, Bytes tag) noexcept;

// One entry of a data object list: a tag and the length the card expects (which nobody uses).
struct ListEntry {
    std::uint8_t tag[2];
    std::size_t tag_size;
    std::size_t header;  // bytes of tag and length together: where the next entry begins

    Bytes tag_bytes() const noexcept { return {tag, tag_size}; }
};

// The first entry of a list; a byte past the end of the list counts as 00.
ListEntry first_entry(Bytes list) noexcept;

}  // namespace deskreader::tlv
