// A card with a magnetic stripe of three tracks (ISO 7811).
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace virtual_reader {

struct Track {
    std::string text;      // without sentinels; empty on a blank track
    bool damaged = false;  // can be neither read nor written
};

// Characters that a track holds beside its sentinels and check character, by its number.
constexpr std::size_t track_capacity(int number) {
    constexpr std::array<std::size_t, 3> capacities = {76, 37, 104};
    return capacities[static_cast<std::size_t>(number) - 1];
}

// Whether a text can stand on a track: it fits, and has only the track's characters. On tracks 2
// and 3 these are the digits and = ' @ # : and on track 1 the printable ones from the blank to the
// underscore, without its sentinels % and ?.
bool fits_track(int number, std::string_view text);

class MagneticCard {
  public:
    // `tracks` in the order of their numbers; texts must fit.
    MagneticCard(std::string name, std::array<Track, 3> tracks)
        : name_(std::move(name)), tracks_(std::move(tracks)) {}

    const std::string& name() const { return name_; }

    // Of track 1, 2 or 3.
    const Track& track(int number) const { return tracks_[static_cast<std::size_t>(number) - 1]; }

    // Returns false, with the track as it was, for a damaged track and a text that is empty or does
    // not fit.
    bool write(int number, std::string_view text);

  private:
    std::string name_;
    std::array<Track, 3> tracks_;
};

}  // namespace virtual_reader
