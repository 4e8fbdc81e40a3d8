// The library's magnetic stripe calls as the tool's commands use them.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace desk_tool {

// The tracks that could be read; a result other than 0 says that some could not.
struct TracksRead {
    std::array<std::optional<std::string>, 3> texts;
    int result = 0;
};

// Reads the tracks that are the digits of the selection. Throws ReaderError where no card came.
TracksRead read_tracks(int selection, int timeout_s);

void write_tracks(const std::optional<std::string>& track2,
                  const std::optional<std::string>& track3, int timeout_s);

// The card number on the selected tracks: up to the first = or '.
std::string card_number(int selection, int timeout_s);

// Whether a text can be written on a track.
bool is_track_text(const std::string& text);

}  // namespace desk_tool
