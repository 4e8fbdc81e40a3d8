#include "wire/reply.h"

#include <stdexcept>

namespace virtual_reader {
namespace {

constexpr std::size_t long_length = 0xFF;
constexpr std::size_t long_base = 0xB0;

}  // namespace

Bytes ic_reply(View body) {
    Bytes frame = {0x60};
    if (body.size() < long_length) {
        frame.push_back(static_cast<std::uint8_t>(body.size()));
    } else {
        const std::size_t rest = long_base + (body.size() - long_length);
        if (rest > 0xFF) {
            throw std::length_error("a reply of " + std::to_string(body.size()) +
                                    " bytes in the IC frame");
        }
        frame.push_back(long_length);
        frame.push_back(static_cast<std::uint8_t>(rest));
    }
    append(frame, body);
    frame.push_back(xor_of(frame));
    Bytes wire = to_bytes(to_hex(frame));
    wire.push_back(0x03);
    return wire;
}

Bytes union_reply(View body) {
    constexpr std::size_t longest = 0xFFFF;
    if (body.size() > longest) {
        throw std::length_error("a reply of " + std::to_string(body.size()) +
                                " bytes in the Union frame");
    }
    Bytes frame = {static_cast<std::uint8_t>(body.size() >> 8),
                   static_cast<std::uint8_t>(body.size())};
    append(frame, body);
    frame.push_back(xor_of(body));
    Bytes wire = {0x02};
    for (const std::uint8_t byte : frame) {
        wire.push_back(static_cast<std::uint8_t>(0x30 | byte >> 4));
        wire.push_back(static_cast<std::uint8_t>(0x30 | (byte & 0x0F)));
    }
    wire.push_back(0x03);
    return wire;
}

Bytes id_reply(View body) {
    const std::size_t length = body.size() + 1;
    Bytes checked = {static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    append(checked, body);
    Bytes wire = {0xAA, 0xAA, 0xAA, 0x96, 0x69};
    append(wire, checked);
    wire.push_back(xor_of(checked));
    return wire;
}

}  // namespace virtual_reader
