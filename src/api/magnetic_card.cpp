// Magnetic cards: reading any tracks, writing tracks 2 and 3, the card number. The module answers
// for a track that it could not read with a placeholder.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "api/time_limit.h"
#include "cards/magstripe.h"
#include "status.h"
#include "support/bounded.h"

using namespace deskreader;

namespace {

constexpr int reset_limit_ms = 100;
constexpr std::size_t track_room = 256;
constexpr std::size_t max_track_text = 120;

constexpr std::string_view placeholders[] = {"\x7F", "00000"};
constexpr std::string_view writable = "01234567890='@#:";  // kept: 0 is listed twice

int refuse(const char* text) noexcept {
    GLogE("%s", text);
    return status::invalid_parameter;
}

// A host's buffer for one track and where its length goes.
struct Output {
    unsigned track;
    char* text;
    int capacity;
    int* length;
    int measured;  // bytes that the text may take

    bool in(unsigned tracks) const noexcept { return (tracks & track) != 0; }
    std::string_view view() const noexcept {
        return {text, strnlen(text, static_cast<std::size_t>(std::max(measured, 0)))};
    }
};

using Outputs = std::span<const Output>;

// A selection that is not known names all tracks.
unsigned tracks_of(int selection) noexcept {
    const magstripe::ReadCommand* command = magstripe::find_read_command(selection);
    return command == nullptr ? magstripe::all_tracks : command->tracks;
}

bool complete(Outputs outputs, unsigned named) noexcept {
    return std::ranges::all_of(outputs, [named](const Output& output) {
        return !output.in(named) || (output.text != nullptr && output.length != nullptr);
    });
}

// A text that comes without a terminator then has one all the same, if it leaves room for it.
void clear(Outputs outputs, unsigned named) noexcept {
    for (const Output& output : outputs) {
        if (output.in(named) && output.capacity > 0)
            std::memset(output.text, 0, static_cast<std::size_t>(output.capacity));
    }
}

void measure(Outputs outputs, unsigned named) noexcept {
    for (const Output& output : outputs) {
        if (output.in(named)) *output.length = static_cast<int>(output.view().size());
    }
}

// Whether all of the tracks hold the one placeholder or all the other.
bool hold_placeholder(Outputs outputs, unsigned tracks) noexcept {
    return std::ranges::any_of(placeholders, [&](std::string_view placeholder) {
        return std::ranges::all_of(outputs, [&](const Output& output) {
            return !output.in(tracks) || output.view() == placeholder;
        });
    });
}

// Empties the most tracks together that hold a placeholder, and returns their number; `result` when
// none does.
// kept: a further track with the other placeholder keeps it, and the lengths stay as measured.
int without_placeholders(Outputs outputs, unsigned named, int result) noexcept {
    for (const magstripe::ReadCommand& row : magstripe::read_commands) {
        if ((row.tracks & ~named) != 0 || !hold_placeholder(outputs, row.tracks)) continue;
        for (const Output& output : outputs) {
            if (output.in(row.tracks)) output.text[0] = '\0';
        }
        return row.failure;
    }
    return result;
}

bool is_writable(const char* text) noexcept {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    return length > 0 && length <= max_track_text && IsTrackDataValue(text) != 0;
}

// What to write: both tracks (1), one of them, or nothing (0).
// kept: of two texts the good one is written, without a word about the bad one.
int write_selection(const char* track2, const char* track3) noexcept {
    const bool writes_2 = is_writable(track2);
    const bool writes_3 = is_writable(track3);
    if (writes_2) return writes_3 ? 1 : 2;
    return writes_3 ? 3 : 0;
}

struct ReadTrack {
    std::array<char, track_room> text{};
    int length = 0;

    // The length still counts a placeholder that the text no longer has.
    std::string_view view() const noexcept {
        return {text.data(), strnlen(text.data(), text.size())};
    }
};

using ReadTracks = std::array<ReadTrack, 3>;

int read_all(int mode, int selection, int timeout_s, ReadTracks& tracks) noexcept {
    constexpr int room = track_room;
    auto& [one, two, three] = tracks;
    return RD_ReadMagCard(mode, selection, room, one.text.data(), &one.length, room,
                          two.text.data(), &two.length, room, three.text.data(), &three.length,
                          timeout_s);
}

// The text to look for the number in: the one track, or all with "|" between them.
class Candidates {
  public:
    Candidates(int selection, const ReadTracks& tracks) noexcept {
        if (selection >= 1 && selection <= 3) {
            add(tracks[static_cast<std::size_t>(selection) - 1].view());
            return;
        }
        add(tracks[0].view());
        add("|");
        add(tracks[1].view());
        add("|");
        add(tracks[2].view());
    }

    const char* c_str() const noexcept { return text_.data(); }

  private:
    void add(std::string_view piece) noexcept {
        bounded::copy_text(std::span(text_).subspan(size_), piece);
        size_ += piece.size();
    }

    std::array<char, 1024> text_;
    std::size_t size_ = 0;
};

}  // namespace

int RD_ResetMsr(void) {
    return RD_GetErrorCode(MSR_Reset(&context, reset_limit_ms));
}

int RD_ReadMagCard(int mode, int selection, int capacity1, char* track1, int* length1,
                   int capacity2, char* track2, int* length2, int capacity3, char* track3,
                   int* length3, int timeout_s) {
    if (timeout_s < 0) return refuse("Timeout Error!\r\n");
    const int measured3 = selection == 23 ? std::max(capacity2, capacity3) : capacity3;
    const Output outputs[] = {{magstripe::track_1, track1, capacity1, length1, capacity1},
                              {magstripe::track_2, track2, capacity2, length2, capacity2},
                              {magstripe::track_3, track3, capacity3, length3, measured3}};
    const unsigned named = tracks_of(selection);
    if (!complete(outputs, named)) return refuse("Track Error!\r\n");
    clear(outputs, named);
    int result = MSR_ReadTrack(&context, mode, selection, capacity1, track1, capacity2, track2,
                               capacity3, track3, api::milliseconds_of(timeout_s));
    measure(outputs, named);
    result = without_placeholders(outputs, named, result);
    if (result != status::ok) GLogE("ReadTrack Error!\r\n");
    MSR_Reset(&context, reset_limit_ms);
    return RD_GetErrorCode(result);
}

int RD_WriteMagCard(int mode, const char*, int, const char* track2, int, const char* track3, int,
                    int timeout_s) {
    if (track2 == nullptr && track3 == nullptr) return refuse("TrackData Is Null!\r\n");
    const int selection = write_selection(track2, track3);
    if (selection == 0) return refuse("TrackData Error!\r\n");
    if (timeout_s < 0) return refuse("Timeout Error!\r\n");
    const int result =
        MSR_WriteTrack(&context, mode, selection, track2, track3, api::milliseconds_of(timeout_s));
    if (result != status::ok) GLogE("WriteTrack Error!\r\n");
    MSR_Reset(&context, reset_limit_ms);
    return RD_GetErrorCode(result);
}

int RD_GetMagCardNo(int mode, int selection, int kind, char* card_number, int* card_number_length,
                    int timeout_s) {
    if (card_number == nullptr || card_number_length == nullptr) return status::invalid_parameter;
    ReadTracks tracks;
    int result = read_all(mode, selection, timeout_s, tracks);
    // One track that failed is tolerated: the number may stand in the other.
    if (result != status::ok && result != status::read_track_2_failed &&
        result != status::read_track_3_failed) {
        GLogE("ReadTrack Error!\r\n");
        return RD_GetErrorCode(result);
    }
    std::array<char, 1024> number{};
    result = MSR_GetCardNo(kind, Candidates(selection, tracks).c_str(), number.data());
    const std::size_t length = std::strlen(number.data());
    std::memcpy(card_number, number.data(), length + 1);
    *card_number_length = static_cast<int>(length);
    if (result != status::ok) GLogE("GetCardNo Error!\r\n");
    return RD_GetErrorCode(result);
}

int IsTrackDataValue(const char* text) {
    if (text == nullptr) return 0;
    const std::size_t bad = std::string_view(text).find_first_not_of(writable);
    if (bad == std::string_view::npos) return 1;
    GLogI("szTrackData[%d] = %02X\r\n", static_cast<int>(bad),
          static_cast<unsigned char>(text[bad]));
    return 0;
}
