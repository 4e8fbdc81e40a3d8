#include "tlv.h"

#include <algorithm>

#include "tags.h"

namespace explain {
namespace {

constexpr std::uint8_t constructed_bit = 0x20;
constexpr std::uint8_t long_tag = 0x1F;
constexpr std::uint8_t goes_on = 0x80;
constexpr std::size_t longest_tag = 4;
constexpr std::size_t longest_length = 4;

bool is_filler(std::uint8_t byte) {
    return byte == 0x00 || byte == 0xFF;
}

// The length field at `at`: the length, and how many bytes the field has.
std::optional<std::pair<std::size_t, std::size_t>> length_at(View bytes, std::size_t at) {
    if (at >= bytes.size()) return std::nullopt;
    const std::uint8_t first = bytes[at];
    if (first < goes_on) return std::pair{std::size_t{first}, std::size_t{1}};
    const std::size_t count = first & 0x7F;
    if (count == 0 || count > longest_length || bytes.size() - at - 1 < count) return std::nullopt;
    std::size_t length = 0;
    for (std::size_t i = 1; i <= count; ++i)
        length = length << 8 | bytes[at + i];
    return std::pair{length, count + 1};
}

}  // namespace

std::optional<ListedTag> tag_at(View bytes, std::size_t from) {
    if (from >= bytes.size()) return std::nullopt;
    ListedTag found{bytes[from], 1};
    if ((bytes[from] & long_tag) != long_tag) return found;
    for (std::size_t at = from + 1; at < bytes.size() && found.size < longest_tag; ++at) {
        found.tag = found.tag << 8 | bytes[at];
        ++found.size;
        if ((bytes[at] & goes_on) == 0) return found;
    }
    return std::nullopt;
}

std::optional<Object> object_at(View bytes, std::size_t from) {
    while (from < bytes.size() && is_filler(bytes[from]))
        ++from;
    const auto tag = tag_at(bytes, from);
    if (!tag) return std::nullopt;
    const auto length = length_at(bytes, from + tag->size);
    if (!length) return std::nullopt;
    Object object;
    object.tag = tag->tag;
    object.constructed = (bytes[from] & constructed_bit) != 0;
    object.begin = from;
    object.value_at = from + tag->size + length->second;
    object.said = length->first;
    object.size = std::min(object.said, bytes.size() - object.value_at);
    return object;
}

bool is_objects(View bytes, Strictness strictness) {
    std::size_t at = 0;
    bool any = false;
    while (const auto object = object_at(bytes, at)) {
        if (!object->whole() &&
            (strictness == Strictness::exact || find_tag(object->tag) == nullptr)) {
            return false;
        }
        any = true;
        at = object->end();
    }
    return any && std::ranges::all_of(part(bytes, at), is_filler);
}

std::string tag_text(std::uint32_t tag) {
    Bytes bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<std::uint8_t>(tag >> shift);
        if (byte != 0 || !bytes.empty() || shift == 0) bytes.push_back(byte);
    }
    return hex(bytes);
}

}  // namespace explain
