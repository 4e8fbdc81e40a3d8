#include <fstream>
#include <iterator>

#include "image.h"

namespace stand_in {
namespace {

constexpr std::size_t header_size = 54;
constexpr std::size_t max_side = 4096;

std::size_t number_at(const Bytes& file, std::size_t offset) {
    return file[offset] | file[offset + 1] << 8 | file[offset + 2] << 16 |
           static_cast<std::size_t>(file[offset + 3]) << 24;
}

bool is_plain_bmp(const Bytes& file) {
    return file.size() >= header_size && file[0] == 'B' && file[1] == 'M' && file[28] == 24 &&
           number_at(file, 10) == header_size && number_at(file, 30) == 0;
}

}  // namespace

std::optional<Image> read_bmp(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    const Bytes file{std::istreambuf_iterator<char>(stream), {}};
    if (!is_plain_bmp(file)) return std::nullopt;
    Image image{number_at(file, 18), number_at(file, 22), {}};
    const std::size_t row_size = (image.width * 3 + 3) / 4 * 4;
    if (image.width > max_side || image.height > max_side ||
        file.size() < header_size + row_size * image.height) {
        return std::nullopt;
    }
    for (std::size_t row = image.height; row-- > 0;) {
        for (std::size_t column = 0; column < image.width; ++column) {
            const std::uint8_t* pixel = file.data() + header_size + row * row_size + 3 * column;
            image.pixels.insert(image.pixels.end(), {pixel[2], pixel[1], pixel[0]});
        }
    }
    return image;
}

}  // namespace stand_in
