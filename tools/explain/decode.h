// Bytes that somebody typed or pasted: what they are, and what they say.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "bytes.h"
#include "note.h"

namespace explain {

enum class Kind { objects, answer_to_reset, apdu, frame };

// "tlv", "atr", "apdu" and "frame".
std::optional<Kind> kind_named(std::string_view name);
const char* name_of(Kind kind);

struct Typed {
    Bytes bytes;
    std::string problem;  // empty, or what cannot be read and where
};

// Hexadecimal digits with blanks, colons, commas, dashes and line ends between bytes, and "0x" in
// front of any.
Typed read_typed(std::string_view text);

// What the bytes most likely are; nothing for what looks like none of them.
std::optional<Kind> likely_kind(View bytes);

Note explain(View bytes, Kind kind);

}  // namespace explain
