// What the magnetic stripe module understands: which tracks a selection names, the command that
// reads them, and how the characters of its reply fall into tracks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "status.h"

namespace deskreader::magstripe {

inline constexpr unsigned track_1 = 1;
inline constexpr unsigned track_2 = 2;
inline constexpr unsigned track_3 = 4;
inline constexpr unsigned all_tracks = track_1 | track_2 | track_3;

// A track's text on its way into a host's buffer. A null buffer counts its characters and takes
// none.
class TrackText {
  public:
    TrackText(char* text, int capacity) noexcept : text_(text), capacity_(capacity) {}

    // Drops what no longer fits.
    void add(char character) noexcept;

    bool has_room() const noexcept { return size_ < capacity_; }
    void terminate() noexcept;

  private:
    char* text_;
    int capacity_;
    int size_ = 0;
};

struct Tracks {
    TrackText one;
    TrackText two;
    TrackText three;
};

using Characters = std::span<const std::uint8_t>;

// Both splitters read up to 3F 1C, a zero or the end, begin with track 2, and terminate tracks 2
// and 3 if there is room for it behind both. Track 1 is never terminated.

// Every 'A' goes on with track 3.
void split_two_tracks(Characters characters, Tracks& tracks) noexcept;

// The first 'A' outside of track 1 goes on with track 3, '%' with track 1, which has no end but the
// reply's.
void split_three_tracks(Characters characters, Tracks& tracks) noexcept;

// What a selection reads.
struct ReadCommand {
    int selection;
    unsigned tracks;
    int failure;  // also what tracks are reported as that hold a placeholder
    std::string_view command;
    std::size_t left_out;  // bytes of the reply that the splitter does not see
    void (*split)(Characters, Tracks&) noexcept;
};

// More tracks before fewer.
inline constexpr auto read_commands = std::to_array<ReadCommand>({
    {123, all_tracks, status::read_tracks_123_failed, "\033F]", 2, split_three_tracks},
    {12, track_1 | track_2, status::read_tracks_12_failed, "\033D]", 2, split_three_tracks},
    {13, track_1 | track_3, status::read_tracks_13_failed, "\033E]", 2, split_three_tracks},
    {23, track_2 | track_3, status::read_tracks_23_failed, "\033B]", 2, split_two_tracks},
    {1, track_1, status::read_track_1_failed, "\033A]", 2, split_three_tracks},
    {2, track_2, status::read_track_2_failed, "\033]", 4, split_two_tracks},
    {3, track_3, status::read_track_3_failed, "\033T]", 4, split_two_tracks},
});

// The row of a selection, or null.
const ReadCommand* find_read_command(int selection) noexcept;

}  // namespace deskreader::magstripe
