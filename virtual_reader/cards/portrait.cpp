#include "cards/portrait.h"

#include <array>

namespace virtual_reader {
namespace {

constexpr std::uint8_t colour(int red, int green, int blue) {
    return static_cast<std::uint8_t>(red << 5 | green << 2 | blue);
}

constexpr std::array<std::uint8_t, 4> backgrounds = {colour(5, 6, 3), colour(6, 6, 3),
                                                     colour(6, 7, 3), colour(7, 6, 3)};
constexpr std::array<std::uint8_t, 4> skins = {colour(7, 5, 2), colour(6, 4, 2), colour(5, 3, 1),
                                               colour(3, 2, 0)};
constexpr std::array<std::uint8_t, 4> hairs = {colour(1, 1, 0), colour(2, 1, 0), colour(5, 4, 1),
                                               colour(4, 4, 2)};
constexpr std::array<std::uint8_t, 4> clothes = {colour(1, 2, 2), colour(4, 1, 1), colour(1, 4, 1),
                                                 colour(3, 3, 1)};
constexpr std::uint8_t eye = colour(0, 0, 0);
constexpr std::uint8_t mouth = colour(5, 1, 1);

struct Ellipse {
    int x;
    int y;
    int half_width;
    int half_height;
    std::uint8_t filling;

    bool contains(int px, int py) const {
        const int dx = (px - x) * half_height;
        const int dy = (py - y) * half_width;
        const int limit = half_width * half_height;
        return dx * dx + dy * dy <= limit * limit;
    }
};

}  // namespace

Bytes portrait(std::uint32_t seed) {
    const auto choose = [&seed](const std::array<std::uint8_t, 4>& from) {
        const std::uint8_t chosen = from[seed % from.size()];
        seed /= static_cast<std::uint32_t>(from.size());
        return chosen;
    };
    const std::uint8_t background = choose(backgrounds);
    const std::uint8_t skin = choose(skins);
    const std::array<Ellipse, 7> shapes = {{
        {14, 38, 13, 12, choose(clothes)},
        {14, 13, 9, 11, choose(hairs)},
        {14, 25, 3, 5, skin},  // neck
        {14, 16, 7, 9, skin},  // face
        {11, 15, 1, 1, eye},
        {17, 15, 1, 1, eye},
        {14, 21, 3, 1, mouth},
    }};
    Bytes picture = to_bytes(portrait_mark);
    for (int y = 0; y < portrait_height; ++y) {
        for (int x = 0; x < portrait_width; ++x) {
            std::uint8_t pixel = background;
            for (const Ellipse& shape : shapes) {
                if (shape.contains(x, y)) pixel = shape.filling;
            }
            picture.push_back(pixel);
        }
    }
    return picture;
}

}  // namespace virtual_reader
