// track: magnetic stripes.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "commands.h"
#include "connection.h"
#include "track_calls.h"

namespace desk_tool {
namespace {

struct TrackName {
    const char* key;
    const char* label;
};

constexpr std::array<TrackName, 3> track_names = {
    {{"track1", "track 1"}, {"track2", "track 2"}, {"track3", "track 3"}}};

int selection_of(const Options& options, const char* otherwise) {
    return std::atoi(options.tracks.empty() ? otherwise : options.tracks.c_str());
}

bool names_track(int selection, std::size_t track) {
    return std::to_string(selection).find(std::to_string(track)) != std::string::npos;
}

}  // namespace

void run_track_read(const Options& options, Output& output) {
    const Connection connection(options.link);
    const int selection = selection_of(options, "123");
    const TracksRead read = read_tracks(selection, options.timeout_s);
    for (std::size_t i = 0; i < track_names.size(); ++i) {
        const auto& [key, label] = track_names[i];
        if (read.texts[i]) {
            output.field(key, label, *read.texts[i]);
        } else if (names_track(selection, i + 1)) {
            output.none(key, label, "not readable");
        }
    }
    check("RD_ReadMagCard", read.result);
}

void run_track_write(const Options& options, Output& output) {
    const Connection connection(options.link);
    write_tracks(options.track2, options.track3, options.timeout_s);
    if (options.track2) output.field("track2", "track 2", *options.track2);
    if (options.track3) output.field("track3", "track 3", *options.track3);
    output.field("result", "result", "written");
}

void run_track_number(const Options& options, Output& output) {
    const Connection connection(options.link);
    output.field("card_number", "card number",
                 card_number(selection_of(options, "23"), options.timeout_s));
}

}  // namespace desk_tool
