#include "wire/spoiled_frame.h"

#include <algorithm>
#include <array>

#include "wire/reply.h"

namespace virtual_reader {
namespace {

constexpr std::uint8_t union_begin = 0x02;
constexpr std::array<std::uint8_t, 5> id_preamble = {0xAA, 0xAA, 0xAA, 0x96, 0x69};

enum class Shape { ic_frame, union_frame, id_frame, none };

Shape shape_of(View answer) {
    constexpr std::size_t shortest = 9;  // of all three
    if (answer.size() < shortest) return Shape::none;
    if (std::ranges::equal(answer.first(id_preamble.size()), id_preamble)) return Shape::id_frame;
    if (answer[0] == '6' && answer[1] == '0') return Shape::ic_frame;
    return answer[0] == union_begin ? Shape::union_frame : Shape::none;
}

Bytes in_nibbles(View bytes) {
    Bytes characters;
    for (const std::uint8_t byte : bytes) {
        characters.push_back(static_cast<std::uint8_t>(0x30 | byte >> 4));
        characters.push_back(static_cast<std::uint8_t>(0x30 | (byte & 0x0F)));
    }
    return characters;
}

// How a shape writes bytes on the wire.
Bytes on_wire(Shape shape, View bytes) {
    if (shape == Shape::ic_frame) return to_bytes(to_hex(bytes));
    return shape == Shape::union_frame ? in_nibbles(bytes) : to_bytes(bytes);
}

// Where fields begin and how long they are, on the wire.
struct Layout {
    std::size_t length_begin;
    std::size_t length_size;
    std::size_t status_size;  // in bytes of the body
    std::size_t check_end;    // bytes behind the check byte
};

Layout layout_of(Shape shape, View answer) {
    switch (shape) {
        case Shape::ic_frame:
            // A length of FF has a second byte.
            return {2, answer[2] == 'F' && answer[3] == 'F' ? 4u : 2u, 1, 1};
        case Shape::union_frame:
            return {1, 4, 2, 1};
        case Shape::id_frame:
            return {5, 2, 3, 0};
        case Shape::none:
            break;
    }
    return {0, 0, 0, 0};
}

View span_of(View answer, std::size_t begin, std::size_t end) {
    return answer.subspan(begin, end - begin);
}

Bytes in_bytes(Shape shape, View characters) {
    if (shape == Shape::id_frame) return to_bytes(characters);
    Bytes bytes;
    for (std::size_t at = 0; at + 1 < characters.size(); at += 2) {
        const auto nibble = [&](std::uint8_t c) {
            return shape == Shape::ic_frame && c >= 'A' ? c - 'A' + 10 : c & 0x0F;
        };
        bytes.push_back(
            static_cast<std::uint8_t>(nibble(characters[at]) << 4 | nibble(characters[at + 1])));
    }
    return bytes;
}

Bytes reply(Shape shape, View body) {
    if (shape == Shape::ic_frame) return ic_reply(body);
    return shape == Shape::union_frame ? union_reply(body) : id_reply(body);
}

}  // namespace

Bytes with_wrong_preamble(Bytes answer) {
    constexpr std::uint8_t another = 0x04;  // of these bits no first byte becomes another's
    if (!answer.empty()) answer[0] ^= another;
    return answer;
}

Bytes with_length_field(Bytes answer, View field) {
    const Shape shape = shape_of(answer);
    if (shape == Shape::none) return answer;
    const Layout layout = layout_of(shape, answer);
    Bytes spoiled = to_bytes(View(answer).first(layout.length_begin));
    append(spoiled, on_wire(shape, field));
    append(spoiled, View(answer).subspan(layout.length_begin + layout.length_size));
    return spoiled;
}

Bytes with_wrong_check(Bytes answer) {
    if (answer.empty()) return answer;
    const Shape shape = shape_of(answer);
    const bool one_character = shape == Shape::id_frame || shape == Shape::none;
    const std::size_t size = one_character ? 1 : 2;
    const std::size_t begin = answer.size() - layout_of(shape, answer).check_end - size;
    Bytes check =
        in_bytes(one_character ? Shape::id_frame : shape, View(answer).subspan(begin, size));
    check[0] = static_cast<std::uint8_t>(~check[0]);
    std::ranges::copy(on_wire(shape, check), answer.begin() + static_cast<std::ptrdiff_t>(begin));
    return answer;
}

Bytes with_status_bytes(Bytes answer, View status) {
    const Shape shape = shape_of(answer);
    if (shape == Shape::none || status.empty()) return answer;
    const Layout layout = layout_of(shape, answer);
    const std::size_t check_size = shape == Shape::id_frame ? 1 : 2;
    Bytes body = in_bytes(shape, span_of(answer, layout.length_begin + layout.length_size,
                                         answer.size() - layout.check_end - check_size));
    if (body.size() < layout.status_size) return answer;
    for (std::size_t at = 0; at < layout.status_size; ++at)
        body[at] = status[std::min(at, status.size() - 1)];
    return reply(shape, body);
}

}  // namespace virtual_reader
