#include "photo.h"

#include <array>
#include <cstdlib>
#include <string_view>

#include <fmt/core.h>
#include <langinfo.h>
#include <unistd.h>

namespace desk_tool {
namespace {

constexpr std::size_t header_size = 54;
constexpr std::size_t max_side = 4096;
constexpr std::size_t drawn_square = 3;  // 102 x 126 pixels in 34 columns and 21 lines

// Four bytes, little-endian.
std::size_t number_at(const std::string& file, std::size_t offset) {
    std::size_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number << 8 | static_cast<unsigned char>(file[offset + i]);
    return number;
}

std::uint8_t byte_at(const std::string& file, std::size_t offset) {
    return static_cast<std::uint8_t>(file[offset]);
}

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

Pixel mean(const Picture& picture, std::size_t column, std::size_t row, std::size_t square) {
    std::array<std::size_t, 3> sum{};
    for (std::size_t y = 0; y < square; ++y) {
        for (std::size_t x = 0; x < square; ++x) {
            const Pixel& pixel = picture.at(column * square + x, row * square + y);
            sum[0] += pixel.red;
            sum[1] += pixel.green;
            sum[2] += pixel.blue;
        }
    }
    const std::size_t count = square * square;
    return {static_cast<std::uint8_t>(sum[0] / count), static_cast<std::uint8_t>(sum[1] / count),
            static_cast<std::uint8_t>(sum[2] / count)};
}

// The nearest of the six steps of a terminal's colour cube: 0, 95, 135, 175, 215, 255.
int cube_step(int part) {
    return part < 48 ? 0 : part < 115 ? 1 : (part - 35) / 40;
}

// The parameter of a colour, 38 for the foreground and 48 for the background (ECMA-48, ISO 8613-6).
std::string colour(int ground, const Pixel& pixel, Colours colours) {
    if (colours == Colours::all)
        return fmt::format("{};2;{};{};{}", ground, pixel.red, pixel.green, pixel.blue);
    const int index =
        16 + 36 * cube_step(pixel.red) + 6 * cube_step(pixel.green) + cube_step(pixel.blue);
    return fmt::format("{};5;{}", ground, index);
}

}  // namespace

Picture picture_of(const std::string& bmp) {
    constexpr std::size_t bytes_per_pixel = 3;
    if (bmp.size() < header_size || bmp.substr(0, 2) != "BM" || byte_at(bmp, 28) != 24 ||
        number_at(bmp, 10) != header_size || number_at(bmp, 30) != 0) {
        throw ToolError("the photo is not a BMP file of 24 bits a pixel");
    }
    Picture picture{number_at(bmp, 18), number_at(bmp, 22), {}};
    const std::size_t row_size = (picture.width * bytes_per_pixel + 3) / 4 * 4;
    if (picture.width > max_side || picture.height > max_side ||
        bmp.size() < header_size + row_size * picture.height) {
        throw ToolError("the photo's file is cut off");
    }
    for (std::size_t row = picture.height; row-- > 0;) {  // in the file the lowest is the first
        for (std::size_t column = 0; column < picture.width; ++column) {
            const std::size_t at = header_size + row * row_size + column * bytes_per_pixel;
            picture.pixels.push_back(
                {byte_at(bmp, at + 2), byte_at(bmp, at + 1), byte_at(bmp, at)});
        }
    }
    return picture;
}

Colours colours_of_output() {
    const std::string_view terminal = environment("TERM");
    const std::string_view depth = environment("COLORTERM");
    const bool plain = terminal.empty() || terminal == "dumb" || terminal.starts_with("vt");
    if (isatty(STDOUT_FILENO) == 0 || plain || !environment("NO_COLOR").empty() ||
        nl_langinfo(CODESET) != std::string_view("UTF-8")) {
        return Colours::none;
    }
    return depth == "truecolor" || depth == "24bit" ? Colours::all : Colours::palette;
}

std::vector<std::string> half_blocks(const Picture& picture, std::size_t square, Colours colours) {
    std::vector<std::string> lines;
    for (std::size_t row = 0; (row + 2) * square <= picture.height; row += 2) {
        std::string line;
        for (std::size_t column = 0; (column + 1) * square <= picture.width; ++column) {
            line += fmt::format("\x1B[{};{}m\u2580",
                                colour(38, mean(picture, column, row, square), colours),
                                colour(48, mean(picture, column, row + 1, square), colours));
        }
        lines.push_back(line + "\x1B[0m");
    }
    return lines;
}

void draw(const std::string& bmp, const Output& output) {
    const Colours colours = colours_of_output();
    if (output.json() || colours == Colours::none) return;
    for (const std::string& line : half_blocks(picture_of(bmp), drawn_square, colours))
        output.line("  " + line);
}

}  // namespace desk_tool
