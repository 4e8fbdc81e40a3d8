#include "track_calls.h"

#include <deskreader.h>

#include "errors.h"
#include "waiting.h"

namespace desk_tool {
namespace {

constexpr char a_swipe[] = "a card to be swiped";

constexpr std::size_t track_room = 256;
constexpr std::size_t max_written = 120;

// What the reader gives for tracks that it could not read.
constexpr char blank_track[] = "\x7F";
constexpr char damaged_track[] = "00000";

constexpr int cancelled = -1006;

// A read that was cancelled is one of tracks that cannot be read, to the library.
void check_swipe(const char* call, int result) {
    check(call, result != 0 && interrupted() ? cancelled : result);
}

// Results that tell of single tracks: -2000 to -2007 and -2105 to -2111.
bool tells_of_tracks(int result) {
    return (result <= -2000 && result >= -2007) || (result <= -2105 && result >= -2111);
}

}  // namespace

TracksRead read_tracks(int selection, int timeout_s) {
    std::array<std::array<char, track_room>, 3> text{};
    std::array<int, 3> length{};
    constexpr int room = track_room - 1;
    TracksRead read;
    const Waiting waiting(timeout_s, a_swipe, Waiting::By::reader);
    read.result =
        RD_ReadMagCard(0, selection, room, text[0].data(), &length[0], room, text[1].data(),
                       &length[1], room, text[2].data(), &length[2], timeout_s);
    if (interrupted() || !tells_of_tracks(read.result)) check_swipe("RD_ReadMagCard", read.result);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string found = text[i].data();
        const bool readable = !found.empty() && found != blank_track && found != damaged_track;
        if (readable) read.texts[i] = found;
    }
    return read;
}

void write_tracks(const std::optional<std::string>& track2,
                  const std::optional<std::string>& track3, int timeout_s) {
    const Waiting waiting(timeout_s, a_swipe, Waiting::By::reader);
    check_swipe("RD_WriteMagCard",
                RD_WriteMagCard(0, nullptr, 0, track2 ? track2->c_str() : nullptr, 0,
                                track3 ? track3->c_str() : nullptr, 0, timeout_s));
}

std::string card_number(int selection, int timeout_s) {
    constexpr int either_end = 2;
    std::array<char, track_room> text{};
    int length = 0;
    const Waiting waiting(timeout_s, a_swipe, Waiting::By::reader);
    check_swipe("RD_GetMagCardNo",
                RD_GetMagCardNo(0, selection, either_end, text.data(), &length, timeout_s));
    return text.data();
}

bool is_track_text(const std::string& text) {
    return !text.empty() && text.size() <= max_written && IsTrackDataValue(text.c_str()) == 1;
}

}  // namespace desk_tool
