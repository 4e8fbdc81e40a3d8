// The walker over card data: BER-TLV as these cards and this library agree on it (a simplified EMV
// Book 3, annex B).
//
//   tag     one byte, or two if its low five bits are all ones; never a third
//   length  81 xx: one byte follows, 82 xx xx: two, big-endian; any other byte is itself the length
//   value   of a constructed object (bit 20 of the first tag byte) its inner objects: it is not
//           skipped, the walk goes on with the first of them
#pragma once

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

inline constexpr std::uint8_t one_byte_length = 0x81;
inline constexpr std::uint8_t two_byte_length = 0x82;

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

    // Always inlined, so that the object stays in registers: most walks look at its tag and go on.
    [[gnu::always_inline]] std::optional<Object> next() noexcept;

  private:
    // The object at hand, of which the tag's size is known. A template for each, so that the
    // processor guesses how long the tag is and need not wait for it.
    template <std::size_t TagSize>
    [[gnu::always_inline]] std::optional<Object> take() noexcept;

    std::optional<Object> end() noexcept {
        position_ = data_.size();
        return std::nullopt;
    }

    Bytes data_;
    LongTemplate long_template_;
    std::size_t position_ = 0;
};

inline std::optional<Object> Walker::next() noexcept {
    if (position_ == data_.size()) return std::nullopt;
    return is_two_byte_tag(data_[position_]) ? take<2>() : take<1>();
}

template <std::size_t TagSize>
inline std::optional<Object> Walker::take() noexcept {
    const Bytes rest = data_.subspan(position_);
    std::size_t header = TagSize + 1;
    if (rest.size() < header) return end();
    std::size_t length = rest[TagSize];
    if (length == one_byte_length) {
        if (rest.size() < ++header) return end();
        length = rest[header - 1];
    } else if (length == two_byte_length) {
        if (is_constructed(rest[0]) && long_template_ == LongTemplate::ends_walk) return end();
        header += 2;
        if (rest.size() < header) return end();
        length = static_cast<std::size_t>(rest[header - 2] << 8 | rest[header - 1]);
    }
    if (is_constructed(rest[0])) length = 0;
    if (rest.size() - header < length) return end();

    const Object object{rest.first(TagSize), position_ + header, length};
    position_ = object.offset + object.length;
    return object;
}

// Whether an object has this tag. Tags of objects have one byte or two, of which the last tells
// most of them apart; a call to compare them takes longer than the comparison.
inline bool has_tag(const Object& object, Bytes tag) noexcept {
    return object.tag.size() == tag.size() && object.tag.back() == tag.back() &&
           object.tag.front() == tag.front();
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
