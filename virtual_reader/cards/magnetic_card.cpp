#include "cards/magnetic_card.h"

#include <algorithm>

namespace virtual_reader {

bool fits_track(int number, std::string_view text) {
    static constexpr std::string_view numeric = "0123456789='@#:";
    const auto is_alphanumeric = [](char c) {
        return c >= ' ' && c <= '_' && c != '%' && c != '?';
    };
    const auto is_numeric = [](char c) { return numeric.find(c) != std::string_view::npos; };
    return text.size() <= track_capacity(number) &&
           (number == 1 ? std::ranges::all_of(text, is_alphanumeric)
                        : std::ranges::all_of(text, is_numeric));
}

bool MagneticCard::write(int number, std::string_view text) {
    Track& track = tracks_[static_cast<std::size_t>(number) - 1];
    if (track.damaged || text.empty() || !fits_track(number, text)) return false;
    track.text = text;
    return true;
}

}  // namespace virtual_reader
