// A picture in memory, and the four kinds of file that it comes from and goes to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace stand_in {

using Bytes = std::vector<std::uint8_t>;

struct Image {
    std::size_t width = 0;
    std::size_t height = 0;
    Bytes pixels;  // red, green, blue; the top row first

    const std::uint8_t* at(std::size_t column, std::size_t row) const {
        return pixels.data() + 3 * (row * width + column);
    }
};

// A BMP file of 24 bits a pixel whose lowest row comes first. Nothing for any other file.
std::optional<Image> read_bmp(const std::string& path);

Bytes png_file(const Image& image);
Bytes gif_file(const Image& image);

// `quality` from 1 to 100.
Bytes jpeg_file(const Image& image, int quality);

}  // namespace stand_in
