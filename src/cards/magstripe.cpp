// Tracks are read and written with escape commands. A read is answered with 1B 73, the characters
// of the tracks and 3F 1C; among the characters stand the module's own marks, '%' before track 1
// and 'A' before track 3. A write is answered with a short text.
#include "cards/magstripe.h"

#include <deskreader.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace deskreader::magstripe {
namespace {

constexpr char track_1_mark = '%';
constexpr char track_3_mark = 'A';
constexpr std::uint8_t end_mark[] = {0x3F, 0x1C};

enum class Track3Mark { every, first_outside_track_1 };

// Where the two splitters differ.
struct Layout {
    bool has_track_1;
    Track3Mark track_3_mark;
};

constexpr Layout two_tracks{false, Track3Mark::every};
constexpr Layout three_tracks{true, Track3Mark::first_outside_track_1};

Characters up_to_end(Characters characters) noexcept {
    const auto end =
        std::search(characters.begin(), characters.end(), std::begin(end_mark), std::end(end_mark));
    return {characters.begin(), std::find(characters.begin(), end, std::uint8_t{0})};
}

void split(Characters characters, Tracks& tracks, Layout layout) noexcept {
    TrackText* current = &tracks.two;
    bool mark_counts = true;
    for (const std::uint8_t byte : up_to_end(characters)) {
        const auto character = static_cast<char>(byte);
        if (character == track_1_mark && layout.has_track_1) {
            current = &tracks.one;
        } else if (character == track_3_mark && mark_counts && current != &tracks.one) {
            current = &tracks.three;
            mark_counts = layout.track_3_mark == Track3Mark::every;
        } else {
            current->add(character);
        }
    }
    // kept: a track that fills its buffer leaves the other one without a terminator too.
    if (tracks.two.has_room() && tracks.three.has_room()) {
        tracks.two.terminate();
        tracks.three.terminate();
    }
}

}  // namespace

void TrackText::add(char character) noexcept {
    if (!has_room()) return;
    if (text_ != nullptr) text_[size_] = character;
    ++size_;
}

void TrackText::terminate() noexcept {
    if (text_ != nullptr) text_[size_] = '\0';
}

void split_two_tracks(Characters characters, Tracks& tracks) noexcept {
    split(characters, tracks, two_tracks);
}

void split_three_tracks(Characters characters, Tracks& tracks) noexcept {
    split(characters, tracks, three_tracks);
}

const ReadCommand* find_read_command(int selection) noexcept {
    const auto* row = std::ranges::find(read_commands, selection, &ReadCommand::selection);
    return row == read_commands.end() ? nullptr : row;
}

}  // namespace deskreader::magstripe

using namespace deskreader;
using magstripe::ReadCommand;
using magstripe::track_2;
using magstripe::track_3;

namespace {

constexpr std::size_t reply_room = 256;
constexpr std::size_t max_reply = 1024;
constexpr int longest_track_2_reply = 255;
constexpr std::size_t max_written = 1000;  // characters of both tracks together

constexpr std::string_view read_header = "\033s";
constexpr char read_end[] = "?\034";
constexpr char write_end[] = "rp/q";

constexpr std::string_view write_begin = "\033t";
constexpr std::string_view write_track_3 = "A";
constexpr std::string_view write_finish = "\035\033\\\033j";

// A reply in zeros, so that it is also a terminated text unless it fills the room.
struct Reply {
    std::array<unsigned char, max_reply> bytes{};
    int result = 0;

    std::string_view text() const noexcept {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

Reply exchange(DEVCONTEXT* target, std::string_view command, const char* end, int timeout_ms,
               std::size_t room = reply_room) noexcept {
    Reply reply;
    reply.result = RAWC_SendCmd(target, reinterpret_cast<const unsigned char*>(command.data()),
                                static_cast<int>(command.size()), reply.bytes.data(),
                                static_cast<int>(room), end, timeout_ms);
    return reply;
}

// kept: what lies below, a cancelled read for one, counts as a reply of zeros.
bool is_transport_failure(int result) noexcept {
    return result >= status::failed && result < status::ok;
}

// Whether all of the tracks that are named have a buffer.
bool complete(unsigned tracks, const char* track1, const char* track2,
              const char* track3) noexcept {
    return ((tracks & magstripe::track_1) == 0 || track1 != nullptr) &&
           ((tracks & track_2) == 0 || track2 != nullptr) &&
           ((tracks & track_3) == 0 || track3 != nullptr);
}

// Behind the end mark may stand the filler of a report. Without an end mark the reply is what came.
std::size_t reply_length(const Reply& reply) noexcept {
    const auto received = static_cast<std::size_t>(std::max(reply.result, 0));
    const std::size_t end = reply.text().substr(0, received).find(read_end);
    return end == std::string_view::npos ? received : end + std::strlen(read_end);
}

magstripe::Characters characters_of(const Reply& reply, const ReadCommand& command) noexcept {
    const std::size_t length = reply_length(reply);
    const std::size_t count = length > command.left_out ? length - command.left_out : 0;
    return std::span(reply.bytes).subspan(read_header.size(), count);
}

bool is_readable(const Reply& reply, const ReadCommand& command) noexcept {
    if (!reply.text().starts_with(read_header)) return false;
    return command.tracks != track_2 || reply.result <= longest_track_2_reply;
}

struct WriteReply {
    std::string_view text;
    int result;
};

struct WriteCommand {
    int selection;
    unsigned tracks;
    std::span<const WriteReply> replies;
    int failure;  // any other reply
};

constexpr WriteReply track_2_replies[] = {{"\033rp", status::ok}};
constexpr WriteReply track_3_replies[] = {{"\033Trp", status::ok}};
constexpr WriteReply both_tracks_replies[] = {{"\033Brp", status::ok},
                                              {"\033rq", status::write_track_2_failed},
                                              {"\033Trq", status::write_track_3_failed}};

constexpr WriteCommand write_commands[] = {
    {2, track_2, track_2_replies, status::write_track_2_failed},
    {3, track_3, track_3_replies, status::write_track_3_failed},
    {23, track_2 | track_3, both_tracks_replies, status::write_tracks_23_failed},
    // kept: 1 writes tracks 2 and 3; track 1 is never written.
    {1, track_2 | track_3, both_tracks_replies, status::write_tracks_23_failed},
};

// The text that makes the module write.
class WriteText {
  public:
    WriteText(std::string_view track2, std::optional<std::string_view> track3) noexcept {
        add(write_begin);
        add(track2);
        if (track3) {
            add(write_track_3);
            add(*track3);
        }
        add(write_finish);
    }

    std::string_view view() const noexcept { return {text_.data(), size_}; }

  private:
    void add(std::string_view piece) noexcept {
        std::ranges::copy(piece, text_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += piece.size();
    }

    std::array<char, max_written + 16> text_;
    std::size_t size_ = 0;
};

int result_of(const Reply& reply, const WriteCommand& command) noexcept {
    const std::string_view text = reply.text().substr(0, reply.text().find('\0'));
    const auto row = std::ranges::find(command.replies, text, &WriteReply::text);
    return row == command.replies.end() ? command.failure : row->result;
}

// The characters that end a card number, by kind.
constexpr std::string_view number_ends[] = {"=", "'", "='"};

}  // namespace

int MSR_Reset(DEVCONTEXT* target, int timeout_ms) {
    if (target == nullptr) return status::ok;
    const unsigned char command[] = {0x1B, '0'};
    std::array<unsigned char, reply_room> unused;
    // kept: whatever becomes of it.
    RAWL_SendCmd(target, command, sizeof command, unused.data(), unused.size(), 0, timeout_ms);
    return status::ok;
}

int MSR_ReadTrack(DEVCONTEXT* target, int, int selection, int capacity1, char* track1,
                  int capacity2, char* track2, int capacity3, char* track3, int timeout_ms) {
    const ReadCommand* command = magstripe::find_read_command(selection);
    if (command == nullptr) return status::ok;
    if (target == nullptr || !complete(command->tracks, track1, track2, track3))
        return status::invalid_argument;
    // A reply that is too long is a failed read for track 2 and a failed exchange for all others.
    const std::size_t room = command->tracks == track_2 ? max_reply : reply_room;
    const Reply reply = exchange(target, command->command, read_end, timeout_ms, room);
    if (is_transport_failure(reply.result)) return reply.result;
    if (!is_readable(reply, *command)) return command->failure;
    // kept: with tracks 2 and 3 the room of track 2 goes for both.
    const int room3 = command->tracks == (track_2 | track_3) ? capacity2 : capacity3;
    magstripe::Tracks tracks{{track1, capacity1}, {track2, capacity2}, {track3, room3}};
    command->split(characters_of(reply, *command), tracks);
    return status::ok;
}

int MSR_WriteTrack(DEVCONTEXT* target, int, int selection, const char* track2, const char* track3,
                   int timeout_ms) {
    const auto* command = std::ranges::find(write_commands, selection, &WriteCommand::selection);
    if (command == std::end(write_commands)) return status::ok;
    if (target == nullptr || !complete(command->tracks, nullptr, track2, track3))
        return status::invalid_argument;
    std::string_view data2;
    std::optional<std::string_view> data3;
    if ((command->tracks & track_2) != 0) data2 = track2;
    if ((command->tracks & track_3) != 0) data3 = track3;
    if (data2.size() + data3.value_or("").size() > max_written) return status::invalid_argument;
    const WriteText text(data2, data3);
    const Reply reply = exchange(target, text.view(), write_end, timeout_ms);
    return is_transport_failure(reply.result) ? reply.result : result_of(reply, *command);
}

int MSR_GetCardNo(int kind, const char* text, char* card_number) {
    if (text == nullptr || card_number == nullptr) return status::invalid_argument;
    const bool known = kind >= 0 && static_cast<std::size_t>(kind) < std::size(number_ends);
    const std::string_view ends = known ? number_ends[kind] : std::string_view{};
    std::size_t size = 0;
    for (const char character : std::string_view(text)) {
        if (character == '|') {
            size = 0;
        } else if (ends.find(character) != std::string_view::npos) {
            card_number[size] = '\0';
            return status::ok;
        } else {
            card_number[size++] = character;
        }
    }
    return status::no_card_number;
}
