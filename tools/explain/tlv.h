// BER-TLV of ISO 7816-4, read as far as it can be read: an object may end with the data instead of
// its own end, and whoever looks at it is told.
#pragma once

#include <optional>
#include <utility>

#include "bytes.h"

namespace explain {

struct Object {
    std::uint32_t tag = 0;
    bool constructed = false;
    std::size_t begin = 0;  // of the tag, in the bytes
    std::size_t value_at = 0;
    std::size_t size = 0;  // of the value, as far as it is there
    std::size_t said = 0;  // as the length says

    bool whole() const { return said == size; }
    std::size_t end() const { return value_at + size; }
};

// The object at `from`, behind fillers (00 and FF). Nothing where none begins.
std::optional<Object> object_at(View bytes, std::size_t from);

// A tag of a list of tags and lengths, and how many bytes it has.
struct ListedTag {
    std::uint32_t tag = 0;
    std::size_t size = 0;
};
std::optional<ListedTag> tag_at(View bytes, std::size_t from);

enum class Strictness {
    exact,  // objects up to the end, all of them whole
    cut,    // the last one may be cut short, if its tag is known
};

// Whether the bytes are data objects. None are none.
bool is_objects(View bytes, Strictness strictness);

// "9F02" as it is written.
std::string tag_text(std::uint32_t tag);

}  // namespace explain
