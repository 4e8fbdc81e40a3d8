// Frames as tests expect and answer them, written from the wire formats and not from the library's
// code.
#pragma once

#include "kit/bytes.h"

namespace kit {

// 60, length, body, XOR of all before it, as text; then 03. For bodies of less than 255 bytes.
inline Bytes ic_frame(const Bytes& body) {
    Bytes frame = join({{0x60, static_cast<std::uint8_t>(body.size())}, body});
    std::uint8_t check = 0;
    for (const std::uint8_t byte : frame)
        check = static_cast<std::uint8_t>(check ^ byte);
    frame.push_back(check);
    return join({ascii(to_hex(frame)), {0x03}});
}

// 02; length (two bytes), body, XOR of the body in characters '0' + nibble; 03.
inline Bytes union_frame(const Bytes& body) {
    Bytes frame =
        join({{static_cast<std::uint8_t>(body.size() >> 8), static_cast<std::uint8_t>(body.size())},
              body});
    std::uint8_t check = 0;
    for (const std::uint8_t byte : body)
        check = static_cast<std::uint8_t>(check ^ byte);
    frame.push_back(check);
    Bytes wire = {0x02};
    for (const std::uint8_t byte : frame) {
        wire.push_back(static_cast<std::uint8_t>(0x30 + (byte >> 4)));
        wire.push_back(static_cast<std::uint8_t>(0x30 + (byte & 0x0F)));
    }
    wire.push_back(0x03);
    return wire;
}

// AA AA AA 96 69; length of what follows (two bytes), body, XOR of length and body.
inline Bytes id_frame(const Bytes& body) {
    const std::size_t length = body.size() + 1;
    Bytes frame =
        join({{static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)}, body});
    std::uint8_t check = 0;
    for (const std::uint8_t byte : frame)
        check = static_cast<std::uint8_t>(check ^ byte);
    return join({{0xAA, 0xAA, 0xAA, 0x96, 0x69}, frame, {check}});
}

}  // namespace kit
