// Requests, behind their ESC, and their answers:
//
//   ]  A]  T]  D]  E]  B]  F]      reads tracks 2, 1, 3, 1+2, 1+3, 2+3, all
//     ESC s 2 A 3 % 1 ? FS         track 2 as it stands, track 3 behind an "A", track 1 behind a
//     "%",
//                                  each only if it was asked for
//   t 2 GS ESC \ ESC j             writes track 2:           ESC r p, or ESC r q
//   t A 3 GS ESC \ ESC j           writes track 3:           ESC T r p, or ESC T r q
//   t 2 A 3 GS ESC \ ESC j         writes tracks 2 and 3:    ESC B r p, or what went wrong
//
// A blank track reads as DEL, and a damaged one as 00000.
#include "magnetic_module.h"

#include <array>
#include <utility>

namespace virtual_reader {
namespace {

constexpr std::string_view blank_track = "\x7F";
constexpr std::string_view damaged_track = "00000";
constexpr std::string_view write_end = "\x1D\x1B\\\x1Bj";

struct ReadRequest {
    std::string_view body;
    bool track1;
    bool track2;
    bool track3;
};

constexpr std::array<ReadRequest, 7> read_requests = {{
    {"A]", true, false, false},
    {"]", false, true, false},
    {"T]", false, false, true},
    {"D]", true, true, false},
    {"E]", true, false, true},
    {"B]", false, true, true},
    {"F]", true, true, true},
}};

std::string_view text_of(const Track& track) {
    if (track.damaged) return damaged_track;
    return track.text.empty() ? blank_track : std::string_view(track.text);
}

Bytes read(const MagneticCard& card, const ReadRequest& request) {
    std::string reply = "\x1Bs";
    if (request.track2) reply += text_of(card.track(2));
    if (request.track3) (reply += 'A') += text_of(card.track(3));
    if (request.track1) (reply += '%') += text_of(card.track(1));
    reply += "?\x1C";
    return to_bytes(reply);
}

// `text` is what stands between the "t" and its end. Track 3 stays as it was when track 2 fails.
Bytes write(MagneticCard& card, std::string_view text) {
    const std::size_t marker = text.find('A');
    const bool has_track3 = marker != std::string_view::npos;
    const bool has_track2 = marker != 0;
    if (has_track2 && !card.write(2, text.substr(0, marker))) return to_bytes("\x1Brq");
    if (!has_track3) return to_bytes("\x1Brp");
    if (!card.write(3, text.substr(marker + 1))) return to_bytes("\x1BTrq");
    return to_bytes(has_track2 ? "\x1B"
                                 "Brp"
                               : "\x1BTrp");
}

Bytes carry_out(MagneticCard& card, View body) {
    const std::string text(body.begin(), body.end());
    for (const ReadRequest& request : read_requests) {
        if (text == request.body) return read(card, request);
    }
    if (text.size() < 1 + write_end.size() || text[0] != 't' || !text.ends_with(write_end))
        return {};
    return write(card, std::string_view(text).substr(1, text.size() - 1 - write_end.size()));
}

}  // namespace

void MagneticModule::insert(std::string_view name) {
    place_.insert(name);
    if (!is_waiting()) return;
    late_ = carry_out(*place_.card(), waiting_);
    waiting_.clear();
}

Bytes MagneticModule::request(View body) {
    reset();
    if (place_.card() != nullptr) return carry_out(*place_.card(), body);
    waiting_ = to_bytes(body);
    return {};
}

void MagneticModule::reset() {
    waiting_.clear();
    late_.clear();
}

Bytes MagneticModule::take_late() {
    return std::exchange(late_, {});
}

}  // namespace virtual_reader
