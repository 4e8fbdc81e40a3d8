// A stand-in for the decoder of identity card photos. It knows the picture format of the virtual
// cards (see cards/portrait.h) and nothing of the one on real cards.
//
// A picture becomes 102 x 126 pixels of red, green, blue, the bottom row first: each is the pixel
// of the picture at column * 40 / 102 and row * 48 / 126.
#include <cstring>

#include "cards/portrait.h"

namespace {

using namespace virtual_reader;

constexpr std::size_t columns = picture_width;
constexpr std::size_t rows = picture_height;
constexpr std::size_t wide_columns = 102;
constexpr std::size_t wide_rows = 126;

constexpr int known_setting = 788;
constexpr int no_picture = -1;
constexpr int unknown_setting = -2;

const unsigned char* colour_at(const unsigned char* photo, std::size_t column, std::size_t row) {
    const std::size_t pixel = row * columns + column;
    const unsigned pair = photo[picture_pixels_at + pixel / 2];
    return photo + picture_colours_at + 3 * (pixel % 2 == 0 ? pair >> 4 : pair & 0x0F);
}

}  // namespace

extern "C" __attribute__((__visibility__("default"))) int unpack(const unsigned char* photo,
                                                                 unsigned char* pixels,
                                                                 int setting);

int unpack(const unsigned char* photo, unsigned char* pixels, int setting) {
    if (setting != known_setting) return unknown_setting;
    if (std::memcmp(photo, picture_mark.data(), picture_mark.size()) != 0) return no_picture;
    for (std::size_t row = wide_rows; row-- > 0;) {
        for (std::size_t column = 0; column < wide_columns; ++column) {
            std::memcpy(pixels,
                        colour_at(photo, column * columns / wide_columns, row * rows / wide_rows),
                        3);
            pixels += 3;
        }
    }
    return 1;
}
