#include "mask.h"

#include <algorithm>
#include <deque>

#include "apdu.h"
#include "mask_values.h"
#include "reader_commands.h"
#include "tags.h"
#include "tlv.h"

namespace explain {
namespace {

constexpr std::size_t deepest = 16;  // templates within templates
constexpr std::size_t status_word_size = 2;
constexpr std::size_t remembered_numbers = 16;  // more than lie on a desk at once

// Instructions whose data are PINs or keys.
constexpr std::uint8_t secret_instructions[] = {
    0x20,  // VERIFY
    0x24,  // CHANGE REFERENCE DATA, PIN CHANGE/UNBLOCK
    0x2C,  // RESET RETRY COUNTER
    0xD4,  // WRITE KEY
    0xD8,  // PUT KEY
    0xDE,  // delivery of a key
    0xFA,  // enciphering of what the host gives
};
constexpr std::uint8_t encipher = 0xFA;
constexpr std::uint8_t read_record = 0xB2;
constexpr std::uint8_t get_response = 0xC0;

// Commands to Ultralight C cards, which go through as they are.
constexpr std::uint8_t ultralight_write = 0xA2;
constexpr std::size_t ultralight_write_size = 6;
constexpr std::uint8_t first_key_page = 0x2C;

constexpr std::size_t classic_key_size = 6;
constexpr std::size_t classic_access_size = 4;

// One-byte tags of a social security card's records: its numbers, and what it tells of its holder.
constexpr std::uint32_t social_security_tags[] = {0x01, 0x07, 0x08, 0x09, 0x0A, 0x0C, 0x0D};

constexpr std::uint8_t track_reply[] = {0x1B, 's'};
constexpr std::uint8_t track_write[] = {0x1B, 't'};

template <class Range, class Value>
bool contains(const Range& range, const Value& value) {
    return std::ranges::find(range, value) != std::end(range);
}

bool begins(View bytes, View with) {
    return bytes.size() >= with.size() && std::ranges::equal(bytes.first(with.size()), with);
}

bool is_sector_trailer(std::size_t block) {
    constexpr std::size_t small_sectors = 128;  // blocks in sectors of four
    return block < small_sectors ? block % 4 == 3 : block % 16 == 15;
}

// The letter of a kind of identity card, or none.
bool is_kind(View character) {
    return character.size() == 2 && character[1] == 0 &&
           (character[0] == ' ' || (character[0] >= 'A' && character[0] <= 'Z'));
}

void clear(Room bytes) {
    std::ranges::fill(bytes, std::uint8_t{0});
}

}  // namespace

// What was asked last, and what was masked so far.
class Mask::State {
  public:
    void mask_frames(Direction direction, Room bytes);
    void mask_rooms(Direction direction, const std::vector<Room>& rooms);
    void mask_command(Room apdu);
    void mask_response(Room apdu);
    void mask_data(Room data, std::size_t depth = 0);

  private:
    void remember(const std::string& number);
    void mask_known(Room bytes) const;
    void mask_object(Room value, const Object& object, std::size_t depth);
    bool mask_social_security(Room record);

    void mask_frame(Direction direction, Frame& frame);
    void mask_request(Frame& frame);
    void mask_reply(Frame& frame);
    void mask_stripe_characters(Room characters);
    void mask_classic_block(std::size_t block, Room data);
    void mask_identity_reply(Room data);

    std::deque<std::string> numbers_;
    const ReaderCommand* asked_ = nullptr;
    std::size_t block_ = 0;  // of a MIFARE card, that was asked for
    std::uint8_t instruction_ = 0;
};

void Mask::State::remember(const std::string& number) {
    if (number.size() < shortest_card_number || contains(numbers_, number)) return;
    numbers_.push_back(number);
    if (numbers_.size() > remembered_numbers) numbers_.pop_front();
}

void Mask::State::mask_known(Room bytes) const {
    for (const std::string& number : numbers_)
        mask_known_number(bytes, number);
}

void Mask::State::mask_object(Room value, const Object& object, std::size_t depth) {
    const Tag* tag = find_tag(object.tag);
    if (tag != nullptr && tag->form == Form::script) {
        const auto parts = split_command(value);
        if (parts) clear(part(value, parts->data_at, parts->data_size));
    } else if (tag != nullptr && tag->secret != Secret::no) {
        remember(mask_value(value, tag->secret));
    } else if (object.constructed || (tag == nullptr && is_objects(value, Strictness::exact))) {
        mask_data(value, depth + 1);
    } else {
        mask_long_numbers(value);
    }
}

void Mask::State::mask_data(Room data, std::size_t depth) {
    if (depth > deepest) return clear(data);
    if (!is_objects(data, Strictness::cut)) {
        mask_long_numbers(data);
    } else {
        std::size_t at = 0;
        while (const auto object = object_at(data, at)) {
            mask_object(part(data, object->value_at, object->size), *object, depth);
            at = object->end();
        }
    }
    if (depth == 0) mask_known(data);
}

// A record of one object that has its whole room.
bool Mask::State::mask_social_security(Room record) {
    const auto object = object_at(record, 0);
    if (!object || object->begin != 0 || object->end() != record.size()) return false;
    if (!contains(social_security_tags, object->tag)) return false;
    clear(part(record, object->value_at, object->size));
    return true;
}

void Mask::State::mask_command(Room apdu) {
    if (apdu.size() == ultralight_write_size && apdu[0] == ultralight_write) {
        if (apdu[1] >= first_key_page) clear(part(apdu, 2));
        return;
    }
    const auto parts = split_command(apdu);
    if (!parts) return;
    if (parts->ins != get_response) instruction_ = parts->ins;
    const Room data = part(apdu, parts->data_at, parts->data_size);
    if (contains(secret_instructions, parts->ins)) return clear(data);
    mask_data(data);
}

void Mask::State::mask_response(Room apdu) {
    if (apdu.size() <= status_word_size) return;
    const Room data = apdu.first(apdu.size() - status_word_size);
    if (instruction_ == encipher) return clear(data);
    if (instruction_ == read_record && mask_social_security(data)) return;
    mask_data(data);
}

void Mask::State::mask_stripe_characters(Room characters) {
    const auto end = std::ranges::find_if(characters, [](std::uint8_t byte) { return byte < ' '; });
    const auto size = static_cast<std::size_t>(end - characters.begin());
    for (const std::string& number : mask_stripe(characters.first(size)))
        remember(number);
    mask_long_numbers(characters.subspan(size));
}

// A trailer's keys go, its access bits stay.
void Mask::State::mask_classic_block(std::size_t block, Room data) {
    if (!is_sector_trailer(block)) return mask_data(data);
    clear(part(data, 0, classic_key_size));
    clear(part(data, classic_key_size + classic_access_size));
}

// Lengths of text, photo and, if all of them fit in, of the fingerprint; then these. The letter in
// the text that says what kind of card it is stays.
void Mask::State::mask_identity_reply(Room data) {
    constexpr std::size_t length_size = 2;
    constexpr std::size_t kind_at = 248;
    constexpr std::size_t least = 3 * length_size;
    if (data.size() < least) return clear(data);
    const bool with_fingerprint =
        asked_ != nullptr ? std::string_view(asked_->bytes) == "3010"
                          : data.size() > least + word_at(data, 0) + word_at(data, length_size);
    const std::size_t lengths = length_size * (with_fingerprint ? 3 : 2);
    const Room text = part(data, lengths, word_at(data, 0));
    const Room kind = part(text, kind_at, 2);
    const bool keeps_kind = is_kind(kind);
    const Bytes before = copy_of(kind);
    mask_wide_text(text);
    if (keeps_kind) std::ranges::copy(before, kind.begin());
    clear(part(data, lengths + text.size()));
}

void Mask::State::mask_request(Frame& frame) {
    asked_ = nullptr;
    instruction_ = 0;
    if (frame.kind == FrameKind::escape) {
        if (begins(frame.body(), track_write)) mask_stripe_characters(part(frame.body(), 2));
        return;
    }
    asked_ = find_command(frame.kind, frame.body());
    if (asked_ == nullptr) return mask_data(frame.body());
    const Room arguments = part(frame.body(), asked_->size());
    block_ = arguments.empty() ? 0 : arguments[0];
    if (asked_->carries == Carries::apdu) mask_command(arguments);
    if (asked_->carries == Carries::classic_key) clear(part(arguments, 2));
    if (asked_->carries == Carries::classic_write) mask_classic_block(block_, part(arguments, 1));
}

void Mask::State::mask_reply(Frame& frame) {
    if (frame.kind == FrameKind::escape) {
        if (begins(frame.body(), track_reply)) mask_stripe_characters(part(frame.body(), 2));
        return;
    }
    const Room data = part(frame.body(), status_size(frame));
    const Carries carries = asked_ != nullptr ? asked_->carries : Carries::apdu;
    if (frame.kind == FrameKind::id_frame) {
        // What nobody asked for may be of the card.
        const bool harmless = asked_ != nullptr && asked_->carries != Carries::identity_record &&
                              asked_->carries != Carries::identity_search;
        if (carries == Carries::identity_search) {
            clear(data);
        } else if (!harmless) {
            mask_identity_reply(data);
        }
    } else if (carries == Carries::apdu) {
        mask_response(data);
    } else if (carries == Carries::classic_read) {
        mask_classic_block(block_, data);
    }
}

void Mask::State::mask_frame(Direction direction, Frame& frame) {
    if (direction == Direction::to_reader) return mask_request(frame);
    mask_reply(frame);
    mask_known(frame.body());
}

void Mask::State::mask_frames(Direction direction, Room bytes) {
    std::size_t at = 0;
    while (auto frame = find_frame(bytes, at)) {
        mask_long_numbers(bytes.subspan(at, frame->begin - at));
        at = frame->begin + std::max<std::size_t>(frame->size, 1);
        mask_frame(direction, *frame);
        put_back(std::move(*frame), bytes);
    }
    mask_long_numbers(part(bytes, at));
}

// One after the other they are what went over the wire.
void Mask::State::mask_rooms(Direction direction, const std::vector<Room>& rooms) {
    Bytes all;
    for (const Room room : rooms)
        all.insert(all.end(), room.begin(), room.end());
    mask_frames(direction, all);
    for (std::size_t at = 0; const Room room : rooms) {
        std::ranges::copy(part(View(all), at, room.size()), room.begin());
        at += room.size();
    }
}

Mask::Mask() : state_(std::make_unique<State>()) {}
Mask::~Mask() = default;

Bytes Mask::wire(Direction direction, View bytes) {
    Bytes masked = copy_of(bytes);
    state_->mask_frames(direction, masked);
    return masked;
}

std::vector<Bytes> Mask::pieces(Direction direction, const std::vector<Bytes>& pieces) {
    std::vector<Bytes> masked = pieces;
    state_->mask_rooms(direction, {masked.begin(), masked.end()});
    return masked;
}

std::vector<Bytes> Mask::reports(Direction direction, const std::vector<Bytes>& reports) {
    std::vector<Bytes> masked = reports;
    std::vector<Room> payloads;
    for (Bytes& one : masked) {
        const auto report = as_report(one);
        payloads.push_back(report ? part(Room(one), report->payload_at, report->payload_size)
                                  : Room(one));
    }
    state_->mask_rooms(direction, payloads);
    return masked;
}

Bytes Mask::command(View apdu) {
    Bytes masked = copy_of(apdu);
    state_->mask_command(masked);
    return masked;
}

Bytes Mask::response(View apdu) {
    Bytes masked = copy_of(apdu);
    state_->mask_response(masked);
    return masked;
}

Bytes Mask::objects(View bytes) {
    Bytes masked = copy_of(bytes);
    state_->mask_data(masked);
    return masked;
}

}  // namespace explain
