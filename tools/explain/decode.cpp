#include "decode.h"

#include <algorithm>
#include <iterator>

#include "apdu_notes.h"
#include "atr.h"
#include "frame_notes.h"
#include "status_words.h"
#include "tags.h"
#include "tlv.h"
#include "values.h"
#include "wire.h"

namespace explain {
namespace {

struct KindName {
    Kind kind;
    const char* name;
};

constexpr KindName kind_names[] = {
    {Kind::objects, "tlv"},
    {Kind::answer_to_reset, "atr"},
    {Kind::apdu, "apdu"},
    {Kind::frame, "frame"},
};

constexpr std::string_view separators = " \t\r\n:,-;";

// Where a byte may begin with 0x, which is none of its digits.
bool is_prefix(std::string_view text, std::size_t at) {
    return at + 1 < text.size() && text[at] == '0' && (text[at + 1] == 'x' || text[at + 1] == 'X');
}

// An IC frame as it reads: its digits are taken for bytes, or it was pasted as such.
std::optional<Frame> frame_of_digits(View bytes) {
    constexpr std::uint8_t lead = 0x60;
    if (bytes.empty() || bytes[0] != lead) return std::nullopt;
    const std::string digits = hex(bytes.back() == 0x03 ? bytes.first(bytes.size() - 1) : bytes);
    Bytes wire(digits.begin(), digits.end());
    wire.push_back(0x03);
    auto frame = find_frame(wire);
    return frame && frame->begin == 0 ? frame : std::nullopt;
}

struct Framed {
    Frame frame;
    std::optional<Report> report;
};

// A frame that begins with the bytes, in a report or alone.
std::optional<Framed> framed(View bytes) {
    const auto report = as_report(bytes);
    if (report) {
        auto frame = find_frame(part(bytes, report->payload_at, report->payload_size));
        if (frame && frame->begin == 0) return Framed{std::move(*frame), report};
    }
    auto frame = find_frame(bytes);
    if (frame && frame->begin == 0) return Framed{std::move(*frame), std::nullopt};
    return std::nullopt;
}

bool is_certain(const Frame& frame) {
    return frame.kind == FrameKind::escape || frame.kind == FrameKind::id_frame ||
           (frame.whole() && frame.check_is_right());
}

bool begins_with_known_tag(View bytes) {
    const auto object = object_at(bytes, 0);
    return object && object->begin == 0 && find_tag(object->tag) != nullptr;
}

bool ends_with_status_word(View bytes) {
    return bytes.size() >= 2 && may_be_status_word(word_at(bytes, bytes.size() - 2));
}

// Also one that was cut short or has too much.
bool begins_as_answer_to_reset(View bytes) {
    return bytes.size() > 1 && (bytes[0] == 0x3B || bytes[0] == 0x3F);
}

// Objects alone, rather than with a status word behind them, which may look like one more.
bool is_objects_alone(View bytes) {
    if (!begins_with_known_tag(bytes) || !is_objects(bytes, Strictness::exact)) return false;
    if (!ends_with_status_word(bytes)) return true;
    const View before = bytes.first(bytes.size() - 2);
    return !before.empty() && !is_objects(before, Strictness::exact);
}

Note explain_as_frame(View bytes) {
    TrafficContext context;
    if (auto found = framed(bytes)) {
        Note note = explain_frame(likely_direction(found->frame), found->frame, context);
        if (!found->report) return note;
        const bool output = found->report->direction == Direction::to_reader;
        Note report{.label = "HID report", .name = output ? "output" : "input"};
        const std::size_t header = output ? 1 : 0;
        report.add({.name = "mode id", .bytes = hex(part(bytes, header, 1))});
        report.add({.name = "payload", .meaning = byte_count(bytes[header + 1])});
        report.add(std::move(note));
        return report;
    }
    if (const auto frame = frame_of_digits(bytes))
        return explain_frame(likely_direction(*frame), *frame, context);
    return {.label = "frame",
            .bytes = hex(bytes),
            .meaning = "no frame of the reader begins here",
            .problem = true};
}

}  // namespace

std::optional<Kind> kind_named(std::string_view name) {
    const auto* row = std::ranges::find(kind_names, name, &KindName::name);
    if (row == std::end(kind_names)) return std::nullopt;
    return row->kind;
}

const char* name_of(Kind kind) {
    return std::ranges::find(kind_names, kind, &KindName::kind)->name;
}

Typed read_typed(std::string_view text) {
    Typed typed;
    int high = -1;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char character = text[at];
        if (high < 0 && is_prefix(text, at)) {
            ++at;
            continue;
        }
        const int value = digit_value(character);
        if (value < 0 && (high >= 0 || separators.find(character) == separators.npos)) {
            typed.problem = "character " + std::to_string(at + 1) +
                            (high >= 0 ? " ends half a byte" : " is no hexadecimal digit");
            return typed;
        }
        if (value < 0) continue;
        if (high >= 0) typed.bytes.push_back(static_cast<std::uint8_t>(high << 4 | value));
        high = high >= 0 ? -1 : value;
    }
    if (high >= 0) typed.problem = "the last byte has one digit";
    if (typed.bytes.empty() && typed.problem.empty()) typed.problem = "no bytes";
    return typed;
}

std::optional<Kind> likely_kind(View bytes) {
    if (const auto found = framed(bytes); found && is_certain(found->frame)) return Kind::frame;
    if (const auto frame = frame_of_digits(bytes); frame && is_certain(*frame)) return Kind::frame;
    if (is_answer_to_reset(bytes)) return Kind::answer_to_reset;
    if (is_command(bytes)) return Kind::apdu;
    if (is_objects_alone(bytes)) return Kind::objects;
    if (begins_as_answer_to_reset(bytes)) return Kind::answer_to_reset;
    if (ends_with_status_word(bytes)) return Kind::apdu;
    if (begins_with_known_tag(bytes)) return Kind::objects;
    if (framed(bytes)) return Kind::frame;
    return std::nullopt;
}

Note explain(View bytes, Kind kind) {
    switch (kind) {
        case Kind::objects: {
            Note note{.label = "data objects", .meaning = byte_count(bytes.size())};
            explain_objects(bytes, note);
            return note;
        }
        case Kind::answer_to_reset:
            return explain_answer_to_reset(bytes);
        case Kind::apdu:
            return is_command(bytes) || !ends_with_status_word(bytes) ? explain_command(bytes)
                                                                      : explain_response(bytes);
        case Kind::frame:
            return explain_as_frame(bytes);
    }
    return {};
}

}  // namespace explain
