// The four kinds of request, as they come from a host:
//
//   escape       1B and then, by the second byte:
//                  53 (reset), 30 (reset of the magnetic module)         no more
//                  5D (read track 2)                                     no more
//                  41, 42, 44, 45, 46 or 54, then 5D (read other tracks) 1 more
//                  25 c (pass-through port)                              1 more
//                  24 l d (mode)                                         2 more
//                  74 (write tracks)               all up to 1D 1B 5C 1B 6A
//   IC frame     body in upper-case hexadecimal digits, then 03;
//                body: 60, LEN, LEN bytes, XOR of all before it
//   Union frame  02, body in characters '0' + nibble, then 03;
//                body: LEN (2 bytes), LEN bytes, their XOR
//   ID frame     AA AA AA 96 69, LEN (2 bytes), LEN - 1 bytes, XOR of LEN and these
#include "wire/request_stream.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace virtual_reader {
namespace {

constexpr std::uint8_t esc = 0x1B;
constexpr std::uint8_t frame_begin = 0x02;
constexpr std::uint8_t frame_end = 0x03;
constexpr std::array<std::uint8_t, 5> id_preamble = {0xAA, 0xAA, 0xAA, 0x96, 0x69};
constexpr std::array<std::uint8_t, 5> write_end = {0x1D, esc, '\\', esc, 'j'};

// Longer requests than these are broken ones: all tracks together hold less than 256 characters,
// and the ID module's commands are two bytes.
constexpr std::size_t longest_write = 512;
constexpr std::size_t longest_id_command = 64;

// What could be done with the bytes held so far.
struct Taken {
    std::size_t count = 0;           // bytes used up; 0: more are needed
    std::optional<Request> request;  // none: the bytes were a broken frame
};

Taken take_write(View bytes) {
    const auto end =
        std::search(bytes.begin() + 2, bytes.end(), write_end.begin(), write_end.end());
    const bool ended = end != bytes.end();
    const auto size =
        static_cast<std::size_t>(end - bytes.begin()) + (ended ? write_end.size() : 0);
    if (!ended && size <= longest_write) return {};
    if (!ended || size > longest_write) return {2, std::nullopt};
    return {size, Request{Framing::escape, to_bytes(bytes.subspan(1, size - 1))}};
}

Taken take_escape(View bytes) {
    if (bytes.size() < 2) return {};
    if (bytes[1] == 't') return take_write(bytes);
    constexpr std::string_view reads_of_other_tracks = "ABDEFT";
    if (reads_of_other_tracks.find(static_cast<char>(bytes[1])) != std::string_view::npos) {
        if (bytes.size() < 3) return {};
        if (bytes[2] != ']') return {2, std::nullopt};
        return {3, Request{Framing::escape, {bytes[1], bytes[2]}}};
    }
    std::size_t size = 0;
    switch (bytes[1]) {
        case 0x53:
        case 0x30:
        case ']':
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

Taken take_id_frame(View bytes) {
    constexpr std::size_t header = id_preamble.size() + 2;
    if (bytes.size() < header) return {};
    const std::size_t length = static_cast<std::size_t>(bytes[5]) << 8 | bytes[6];
    if (length < 2 || length > longest_id_command) return {header, std::nullopt};
    if (bytes.size() < header + length) return {};
    const View checked = bytes.subspan(id_preamble.size(), 2 + length - 1);
    if (xor_of(checked) != bytes[header + length - 1]) return {header + length, std::nullopt};
    return {header + length, Request{Framing::id_frame, to_bytes(checked.subspan(2))}};
}

// As much of the preamble as is there.
bool begins_id_frame(View bytes) {
    const std::size_t count = std::min(bytes.size(), id_preamble.size());
    return std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count),
                      id_preamble.begin());
}

bool begins_ic_frame(View bytes) {
    return bytes[0] == '6' && (bytes.size() < 2 || bytes[1] == '0');
}

}  // namespace

bool RequestStream::is_within_escape() const {
    return !held_.empty() && held_.front() == esc;
}

std::optional<Request> RequestStream::next() {
    while (!held_.empty()) {
        const View bytes(held_);
        Taken taken;
        if (bytes[0] == esc) {
            taken = take_escape(bytes);
        } else if (listens_for_id_ && begins_id_frame(bytes)) {
            taken = take_id_frame(bytes);
        } else if (!listens_for_id_ && (bytes[0] == frame_begin || begins_ic_frame(bytes))) {
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
