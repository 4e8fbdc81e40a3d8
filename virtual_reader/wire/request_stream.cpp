// The three kinds of request, as they come from a host:
//
//   escape       1B and then, by the second byte:
//                  53 (reset), 30 (reset of the magnetic module)         no more
//                  25 c (pass-through port)                              1 more
//                  24 l d (mode)                                         2 more
//   IC frame     body in upper-case hexadecimal digits, then 03;
//                body: 60, LEN, LEN bytes, XOR of all before it
//   Union frame  02, body in characters '0' + nibble, then 03;
//                body: LEN (2 bytes), LEN bytes, their XOR
#include "wire/request_stream.h"

#include <algorithm>
#include <stdexcept>

namespace virtual_reader {
namespace {

constexpr std::uint8_t esc = 0x1B;
constexpr std::uint8_t frame_begin = 0x02;
constexpr std::uint8_t frame_end = 0x03;

// What could be done with the bytes held so far.
struct Taken {
    std::size_t count = 0;           // bytes used up; 0: more are needed
    std::optional<Request> request;  // none: the bytes were a broken frame
};

Taken take_escape(View bytes) {
    if (bytes.size() < 2) return {};
    std::size_t size = 0;
    switch (bytes[1]) {
        case 0x53:
        case 0x30:
            size = 2;
            break;
        case 0x25:
            size = 3;
            break;
        case 0x24:
            size = 4;
            break;
        default:
            return {2, std::nullopt};
    }
    if (bytes.size() < size) return {};
    return {size, Request{Framing::escape, to_bytes(bytes.subspan(1, size - 1))}};
}

std::optional<Bytes> body_of_hex(View text) {
    const auto is_lower = [](std::uint8_t c) { return c >= 'a' && c <= 'f'; };
    if (std::ranges::any_of(text, is_lower)) return std::nullopt;
    try {
        return from_hex({reinterpret_cast<const char*>(text.data()), text.size()});
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::optional<Bytes> body_of_nibbles(View characters) {
    if (characters.size() % 2 != 0) return std::nullopt;
    Bytes body;
    for (std::size_t at = 0; at < characters.size(); at += 2) {
        if ((characters[at] & 0xF0) != 0x30 || (characters[at + 1] & 0xF0) != 0x30)
            return std::nullopt;
        body.push_back(
            static_cast<std::uint8_t>((characters[at] & 0x0F) << 4 | (characters[at + 1] & 0x0F)));
    }
    return body;
}

std::optional<Request> ic_request(const std::optional<Bytes>& body) {
    if (!body || body->size() < 4 || (*body)[0] != 0x60 || (*body)[1] != body->size() - 3)
        return std::nullopt;
    const View all(*body);
    if (xor_of(all.first(all.size() - 1)) != all.back()) return std::nullopt;
    return Request{Framing::ic_frame, to_bytes(all.subspan(2, all.size() - 3))};
}

std::optional<Request> union_request(const std::optional<Bytes>& body) {
    if (!body || body->size() < 4) return std::nullopt;
    const View all(*body);
    const std::size_t length = static_cast<std::size_t>(all[0]) << 8 | all[1];
    if (length != all.size() - 3) return std::nullopt;
    const View command = all.subspan(2, length);
    if (xor_of(command) != all.back()) return std::nullopt;
    return Request{Framing::union_frame, to_bytes(command)};
}

Taken take_frame(View bytes) {
    const auto end = std::ranges::find(bytes, frame_end);
    if (end == bytes.end()) return {};
    const auto length = static_cast<std::size_t>(end - bytes.begin());
    if (bytes[0] == frame_begin)
        return {length + 1, union_request(body_of_nibbles(bytes.subspan(1, length - 1)))};
    return {length + 1, ic_request(body_of_hex(bytes.first(length)))};
}

bool begins_ic_frame(View bytes) {
    return bytes[0] == '6' && (bytes.size() < 2 || bytes[1] == '0');
}

}  // namespace

std::optional<Request> RequestStream::next() {
    while (!held_.empty()) {
        const View bytes(held_);
        Taken taken;
        if (bytes[0] == esc) {
            taken = take_escape(bytes);
        } else if (bytes[0] == frame_begin || begins_ic_frame(bytes)) {
            taken = take_frame(bytes);
        } else {
            ++noise_;
            drop(1);
            continue;
        }
        if (taken.count == 0) return std::nullopt;
        drop(taken.count);
        if (taken.request) return taken.request;
        ++rejected_;
    }
    return std::nullopt;
}

}  // namespace virtual_reader
