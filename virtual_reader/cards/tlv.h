// Data objects (BER-TLV) and data object lists, with tags of one or two bytes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "bytes.h"

namespace virtual_reader {

using Tag = std::uint16_t;  // 0x5A, 0x9F02

using Objects = std::map<Tag, Bytes>;

// Tag, length in as few bytes as it needs, value.
Bytes data_object(Tag tag, View value);

// All primitive objects, those in templates as well; the first of a tag counts. Nothing when the
// bytes are no data objects.
std::optional<Objects> read_objects(View bytes);

struct ListEntry {
    Tag tag = 0;
    std::size_t length = 0;
};

// Nothing when the bytes are no list of tags and lengths.
std::optional<std::vector<ListEntry>> read_list(View bytes);

// The values that a list asked for, by tag; nothing when the data have another length than the
// list.
std::optional<Objects> split_by_list(View list, View data);

}  // namespace virtual_reader
