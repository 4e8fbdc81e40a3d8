// Photos of identity cards, which the library gives as BMP files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output.h"

namespace desk_tool {

struct Pixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<Pixel> pixels;  // the top row first

    const Pixel& at(std::size_t column, std::size_t row) const {
        return pixels[row * width + column];
    }
};

// Of a BMP file with 24 bits a pixel. Throws ToolError for any other.
Picture picture_of(const std::string& bmp);

enum class Colours { none, palette, all };  // of 256, of 24 bits

// What standard output can show: none if it is not a terminal, or not one of Unicode and colours,
// or if NO_COLOR is set.
Colours colours_of_output();

// Lines of upper half blocks, each of two pixels, one upon the other; each pixel is the mean of a
// square of the picture.
std::vector<std::string> half_blocks(const Picture& picture, std::size_t square, Colours colours);

// Draws a photo for people, where standard output can show it.
void draw(const std::string& bmp, const Output& output);

}  // namespace desk_tool
