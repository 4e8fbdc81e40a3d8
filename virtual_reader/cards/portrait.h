// The picture format of the photo blocks here, and pictures that show nobody.
//
//   "DESKREADER PHOTO", then 36 rows of 28 pixels from top to bottom, one byte each: RRRGGGBB
#pragma once

#include <cstdint>

#include "bytes.h"

namespace virtual_reader {

constexpr std::string_view portrait_mark = "DESKREADER PHOTO";
constexpr int portrait_width = 28;
constexpr int portrait_height = 36;

// A drawn face in front of a plain background, 1024 bytes. The seed chooses its colours.
Bytes portrait(std::uint32_t seed);

}  // namespace virtual_reader
