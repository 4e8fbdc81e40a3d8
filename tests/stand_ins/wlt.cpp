// A stand-in for the decoder of identity card photos. It knows a picture format of its own and
// nothing of the one on real cards.
//
// A picture is 1,024 bytes:
//   0   8 bytes    "DESKPIC1"
//   8   8 bytes    zero
//   16  48 bytes   16 colours: red, green, blue
//   64  960 bytes  40 x 48 pixels of 4 bits, the top row first, the left pixel in the high nibble
//
// It becomes 102 x 126 pixels of red, green, blue, the bottom row first: each is the pixel of the
// picture at column * 40 / 102 and row * 48 / 126.
#include <cstring>

namespace {

constexpr char signature[] = "DESKPIC1";
constexpr std::size_t colours_at = 16;
constexpr std::size_t pixels_at = 64;
constexpr std::size_t columns = 40;
constexpr std::size_t rows = 48;
constexpr std::size_t wide_columns = 102;
constexpr std::size_t wide_rows = 126;

constexpr int known_setting = 788;
constexpr int no_picture = -1;
constexpr int unknown_setting = -2;

const unsigned char* colour_at(const unsigned char* photo, std::size_t column, std::size_t row) {
    const std::size_t pixel = row * columns + column;
    const unsigned pair = photo[pixels_at + pixel / 2];
    return photo + colours_at + 3 * (pixel % 2 == 0 ? pair >> 4 : pair & 0x0F);
}

}  // namespace

extern "C" __attribute__((__visibility__("default"))) int unpack(const unsigned char* photo,
                                                                 unsigned char* pixels,
                                                                 int setting);

int unpack(const unsigned char* photo, unsigned char* pixels, int setting) {
    if (setting != known_setting) return unknown_setting;
    if (std::memcmp(photo, signature, sizeof signature - 1) != 0) return no_picture;
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
