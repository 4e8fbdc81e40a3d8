// Tracks 2 and 3 in one call that names the port: open, read or write, close.
#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "status.h"
#include "support/bounded.h"
#include "terminal/port.h"

using namespace deskreader;
using terminal::shown;

namespace {

constexpr std::size_t track_room = 512;
constexpr int mode_track_2 = 2;
constexpr int mode_track_3 = 3;  // any other mode: both

bool has_track_2(int mode) noexcept {
    return mode != mode_track_3;
}

bool has_track_3(int mode) noexcept {
    return mode != mode_track_2;
}

struct Track {
    std::array<char, track_room> text{};
    int length = 0;
};

struct TrackPair {
    Track two;
    Track three;
};

struct Call {
    const char* port;
    const char* extend_port;
    int baud;
    int timeout_s;
    int mode;
    int char_set;
    char extend_character = '0';
};

// Logs the call's beginning. False if it cannot be made, whatever tracks it is given.
bool begin(const char* name, Call& call) noexcept {
    GLogI("Enter %s\r\n", name);
    GLogI("pszPort = %s, nBaudRate = %d, nTimeout = %d, iMode = %d, iCharSet = %d\r\n",
          shown(call.port), call.baud, call.timeout_s, call.mode, call.char_set);
    if (call.timeout_s < 0) return false;
    call.extend_character = terminal::extend_character(call.extend_port);
    return call.port != nullptr;
}

bool complete(int mode, const char* track2, const char* track3) noexcept {
    return (!has_track_2(mode) || track2 != nullptr) && (!has_track_3(mode) || track3 != nullptr);
}

int refused() noexcept {
    return Ovan_GetErrorCode(status::invalid_parameter);
}

// Reads into `tracks`, with the mode as the selection. `opened` is whether it came to that.
int read(const Call& call, TrackPair& tracks, bool& opened) noexcept {
    const terminal::Port port(call.port, call.extend_character, call.baud);
    opened = port.result() == status::ok;
    if (!opened) return port.result();
    constexpr int room = track_room;
    return RD_ReadMagCard(call.char_set, call.mode, 0, nullptr, nullptr, room,
                          tracks.two.text.data(), &tracks.two.length, room,
                          tracks.three.text.data(), &tracks.three.length, call.timeout_s);
}

int write(const Call& call, const TrackPair& tracks) noexcept {
    const terminal::Port port(call.port, call.extend_character, call.baud);
    if (port.result() != status::ok) return port.result();
    return RD_WriteMagCard(call.char_set, nullptr, 0, tracks.two.text.data(), tracks.two.length,
                           tracks.three.text.data(), tracks.three.length, call.timeout_s);
}

// Of two tracks one is enough.
int as_mode_sees_it(int result, int mode) noexcept {
    const bool one_failed =
        result == status::read_track_2_failed || result == status::read_track_3_failed;
    return one_failed && has_track_2(mode) && has_track_3(mode) ? status::ok : result;
}

void hand_out(const Track& track, char* out) noexcept {
    std::memcpy(out, track.text.data(), std::strlen(track.text.data()) + 1);
}

// A text that is cut here is too long to be written anyway.
void take(const char* text, Track& track) noexcept {
    bounded::copy_text(track.text, text);
    track.length = static_cast<int>(std::strlen(track.text.data()));
}

void log_given(int mode, const char* track2, const char* track3) noexcept {
    if (!has_track_3(mode)) {
        GLogI("szTrack2data = %s\r\n", track2);
    } else if (!has_track_2(mode)) {
        GLogI("szTrack3data = %s\r\n", track3);
    } else {
        GLogI("szTrack2data = %s, szTrack3data = %s\r\n", track2, track3);
    }
}

}  // namespace

int MS_ReadCard(const char* port, const char* extend_port, int baud, int timeout_s, int mode,
                int char_set, char* track2, char* track3) {
    Call call{port, extend_port, baud, timeout_s, mode, char_set};
    if (!begin("MS_ReadCard", call) || !complete(mode, track2, track3)) return refused();
    TrackPair tracks;
    bool opened = false;
    int result = read(call, tracks, opened);
    if (!opened) {
        GLogI("Exit MS_ReadCard, ret = %d\r\n", result);
        return Ovan_GetErrorCode(result);
    }
    if (has_track_2(mode)) hand_out(tracks.two, track2);
    if (has_track_3(mode)) hand_out(tracks.three, track3);
    result = as_mode_sees_it(result, mode);
    GLogI("Exit vexo_ReadMagCard, ret = %d, szTrack2data = %s, szTrack3data = %s\r\n", result,
          tracks.two.text.data(), tracks.three.text.data());
    return Ovan_GetErrorCode(result);
}

int MS_WriteCard(const char* port, const char* extend_port, int baud, int timeout_s, int mode,
                 int char_set, const char* track2, const char* track3) {
    Call call{port, extend_port, baud, timeout_s, mode, char_set};
    if (!begin("MS_WriteCard", call) || !complete(mode, track2, track3)) return refused();
    log_given(mode, track2, track3);
    TrackPair tracks;
    if (has_track_2(mode)) take(track2, tracks.two);
    if (has_track_3(mode)) take(track3, tracks.three);
    const int result = write(call, tracks);
    GLogI("Exit MS_WriteCard, ret = %d\r\n", result);
    return Ovan_GetErrorCode(result);
}
