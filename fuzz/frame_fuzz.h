// What the frames of text promise, whatever comes over the line and whatever is to be sent.
#pragma once

#include <algorithm>
#include <vector>

#include "expect.h"
#include "protocol/exchange.h"
#include "status.h"

namespace frame_fuzz {

using deskreader::protocol::Buffer;
using deskreader::protocol::Bytes;
using Vector = std::vector<std::uint8_t>;  // of exactly its size, so that a byte past it is noticed

struct Frame {
    int (*build)(Bytes command, Buffer frame) noexcept;
    int (*trim)(Bytes received, Buffer out) noexcept;
    int (*parse)(Bytes frame, Buffer reply) noexcept;
    std::size_t
        longest_alike;  // a command of up to so many bytes reads as a reply of the same ones
};

inline Vector first(const Vector& bytes, int count) {
    return {bytes.begin(), bytes.begin() + count};
}

inline void parse(const Frame& frame, const Vector& trimmed, std::size_t room) {
    Vector reply(room);
    const int result = frame.parse(trimmed, reply);
    expect(result >= 0 ? static_cast<std::size_t>(result) <= room
                       : result == deskreader::status::bad_message ||
                             result == deskreader::status::invalid_argument);
}

inline void receive(const Frame& frame, const Vector& received, std::size_t room) {
    Vector trimmed(deskreader::protocol::max_received);
    const int length = frame.trim(received, trimmed);
    expect(length >= 0 &&
           static_cast<std::size_t>(length) <= std::min(received.size(), trimmed.size()));
    parse(frame, first(trimmed, length), room);
    parse(frame, received, room);
}

inline void send(const Frame& frame, const Vector& command, std::size_t room) {
    Vector text(room);
    const int length = frame.build(command, text);
    if (length < 0) return expect(length == deskreader::status::invalid_argument);
    expect(static_cast<std::size_t>(length) <= room);
    text = first(text, length);
    const auto count = static_cast<unsigned>(length);
    expect(deskreader::protocol::has_frame_end(text.data(), count) != 0);
    expect(deskreader::protocol::has_frame_end(text.data(), count - 1) == 0);
    Vector trimmed(text.size());
    expect(frame.trim(text, trimmed) == length && trimmed == text);
    if (command.size() > frame.longest_alike) return;
    Vector reply(command.size());
    expect(frame.parse(text, reply) == static_cast<int>(reply.size()) && reply == command);
}

// The first two bytes are the room for what comes out.
inline int run(const Frame& frame, Input input) {
    if (input.size() < 2) return 0;
    const auto room = static_cast<std::size_t>(input[0] << 8 | input[1]) %
                      (deskreader::protocol::max_decoded + 1);
    const Vector bytes(input.begin() + 2, input.end());
    receive(frame, bytes, room);
    send(frame, bytes, room);
    return 0;
}

}  // namespace frame_fuzz
