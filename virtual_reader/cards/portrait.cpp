#include "cards/portrait.h"

#include <array>

namespace virtual_reader {
namespace {

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};

// The colours of a picture by their numbers.
enum Paint : std::uint8_t {
    wall,
    light,
    clothes,
    collar,
    hair,
    skin,
    shade,
    eye_white,
    eye,
    mouth,
};

constexpr std::array<Colour, 4> walls = {
    {{0x9F, 0xBF, 0xDF}, {0xBF, 0xCF, 0xDF}, {0xAF, 0xCF, 0xBF}, {0xDF, 0xCF, 0xAF}}};
constexpr std::array<Colour, 4> skins = {
    {{0xF3, 0xC9, 0xA5}, {0xE0, 0xAC, 0x7E}, {0xB0, 0x7A, 0x50}, {0x7A, 0x4E, 0x32}}};
constexpr std::array<Colour, 4> hairs = {
    {{0x24, 0x1C, 0x1A}, {0x5A, 0x38, 0x20}, {0xC8, 0xA0, 0x58}, {0x8C, 0x8C, 0x90}}};
constexpr std::array<Colour, 4> fabrics = {
    {{0x28, 0x48, 0x70}, {0x8C, 0x2C, 0x34}, {0x2C, 0x6C, 0x44}, {0x60, 0x50, 0x38}}};

struct Ellipse {
    int x;
    int y;
    int half_width;
    int half_height;
    Paint filling;

    constexpr bool contains(int px, int py) const {
        const int dx = (px - x) * half_height;
        const int dy = (py - y) * half_width;
        const int limit = half_width * half_height;
        return dx * dx + dy * dy <= limit * limit;
    }
};

// One upon the other.
constexpr Ellipse face[] = {
    {20, 22, 18, 20, light},   {20, 51, 18, 14, clothes}, {20, 40, 7, 4, collar},
    {20, 18, 12, 15, hair},    {20, 35, 4, 6, shade},     {11, 22, 1, 3, shade},
    {29, 22, 1, 3, shade},     {20, 21, 9, 12, skin},     {20, 10, 8, 4, hair},
    {16, 19, 3, 1, hair},      {24, 19, 3, 1, hair},      {16, 21, 2, 1, eye_white},
    {24, 21, 2, 1, eye_white}, {16, 21, 1, 1, eye},       {24, 21, 1, 1, eye},
    {20, 24, 1, 3, shade},     {20, 29, 3, 1, mouth},
};

Paint paint_at(int x, int y) {
    Paint paint = wall;
    for (const Ellipse& part : face) {
        if (part.contains(x, y)) paint = part.filling;
    }
    return paint;
}

constexpr Colour darker(Colour colour) {
    const auto part = [](int value) { return static_cast<std::uint8_t>(value * 4 / 5); };
    return {part(colour.red), part(colour.green), part(colour.blue)};
}

constexpr Colour lighter(Colour colour) {
    const auto part = [](int value) { return static_cast<std::uint8_t>((value + 255) / 2); };
    return {part(colour.red), part(colour.green), part(colour.blue)};
}

std::array<Colour, 16> palette(std::uint32_t seed) {
    const auto choose = [&seed](const std::array<Colour, 4>& from) {
        const Colour chosen = from[seed % from.size()];
        seed /= static_cast<std::uint32_t>(from.size());
        return chosen;
    };
    std::array<Colour, 16> colours{};
    colours[wall] = choose(walls);
    colours[skin] = choose(skins);
    colours[clothes] = choose(fabrics);
    colours[hair] = choose(hairs);
    colours[light] = lighter(colours[wall]);
    colours[collar] = lighter(colours[clothes]);
    colours[shade] = darker(colours[skin]);
    colours[eye_white] = {0xFF, 0xFF, 0xFF};
    colours[eye] = {0x20, 0x20, 0x28};
    colours[mouth] = {0xB0, 0x40, 0x40};
    return colours;
}

}  // namespace

Bytes portrait(std::uint32_t seed) {
    Bytes picture = to_bytes(picture_mark);
    picture.resize(picture_colours_at);
    for (const Colour& colour : palette(seed))
        picture.insert(picture.end(), {colour.red, colour.green, colour.blue});
    for (int y = 0; y < picture_height; ++y) {
        for (int x = 0; x < picture_width; x += 2)
            picture.push_back(static_cast<std::uint8_t>(paint_at(x, y) << 4 | paint_at(x + 1, y)));
    }
    return picture;
}

}  // namespace virtual_reader
