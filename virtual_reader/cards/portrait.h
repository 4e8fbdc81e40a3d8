// The picture format of the photo blocks here, and pictures in it that show nobody. It is not the
// format of real cards. The decoder for it is tests/stand_ins/wlt.cpp.
//
//   0    8 bytes     "DESKPIC1"
//   8    8 bytes     zero
//   16   48 bytes    16 colours: red, green, blue
//   64   960 bytes   40 x 48 pixels of 4 bits, each the number of a colour: the top row first, the
//                    left one of two pixels in the high half of their byte
#pragma once

#include <cstddef>
#include <cstdint>

#include "bytes.h"

namespace virtual_reader {

constexpr std::string_view picture_mark = "DESKPIC1";
constexpr std::size_t picture_colours_at = 16;
constexpr std::size_t picture_pixels_at = 64;
constexpr int picture_width = 40;
constexpr int picture_height = 48;

// A drawn face in front of a plain background, 1024 bytes. `seed` chooses its colours.
Bytes portrait(std::uint32_t seed);

}  // namespace virtual_reader
