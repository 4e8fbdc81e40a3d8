#include "cards/tlv.h"

#include <deskreader.h>

#include <cstring>

#include "status.h"
#include "support/pointers.h"

namespace deskreader::tlv {
std::optional<Object> find(Bytes data, Bytes tag) noexcept {
    Walker walker(data, LongTemplate::ends_walk);
    while (const auto object = walker.next()) {
        if (has_tag(*object, tag)) return object;
    }
    return std::nullopt;
}

std::optional<Bytes> find_value(Bytes data, Bytes tag) noexcept {
    const auto object = find(data, tag);
    if (!object) return std::nullopt;
    return data.subspan(object->offset, object->length);
}

ListEntry first_entry(Bytes list) noexcept {
    const auto byte = [list](std::size_t at) {
        return at < list.size() ? list[at] : std::uint8_t{0};
    };
    ListEntry entry{{byte(0), byte(1)}, is_two_byte_tag(byte(0)) ? 2u : 1u, 0};
    const std::uint8_t length = byte(entry.tag_size);
    entry.header = entry.tag_size + (length == two_byte_length   ? 3
                                     : length == one_byte_length ? 2
                                                                 : 1);
    return entry;
}

}  // namespace deskreader::tlv

using namespace deskreader;

int PBOC_GetTagValue(const unsigned char* tag, int tag_length, const unsigned char* data,
                     int data_length, unsigned char* value, int* value_length) {
    if (missing(data, data_length) || any_null(tag, value, value_length)) {
        return status::invalid_argument;
    }
    std::memset(value, 0, 8);  // kept: whatever the value's length
    *value_length = 0;
    const auto object =
        tlv::find(cards::bytes_of(data, data_length), cards::bytes_of(tag, tag_length));
    if (!object) return status::failed;
    std::memcpy(value, data + object->offset, object->length);
    *value_length = static_cast<int>(object->length);
    return static_cast<int>(object->offset);
}

int PBOC_SetTagValue(const unsigned char* tag, int tag_length, unsigned char* data, int data_length,
                     const unsigned char* value, int length) {
    if (missing(data, data_length) || any_null(tag, value)) return status::invalid_argument;
    const tlv::Bytes wanted = cards::bytes_of(tag, tag_length);
    tlv::Walker walker(cards::bytes_of(data, data_length), tlv::LongTemplate::is_entered);
    while (const auto object = walker.next()) {
        if (!tlv::has_tag(*object, wanted) || static_cast<int>(object->length) != length) continue;
        std::memcpy(data + object->offset, value, object->length);
        return status::ok;
    }
    return status::failed;
}

int PBOC_GetTagInDOL(const unsigned char* entry, int remaining, unsigned char* tag, int* tag_length,
                     int* header_length) {
    if (missing(entry, remaining) || any_null(tag, tag_length, header_length)) {
        return status::invalid_argument;
    }
    const tlv::ListEntry first = tlv::first_entry(cards::bytes_of(entry, remaining));
    std::memcpy(tag, first.tag, first.tag_size);
    *tag_length = static_cast<int>(first.tag_size);
    *header_length = static_cast<int>(first.header);
    return status::ok;
}
