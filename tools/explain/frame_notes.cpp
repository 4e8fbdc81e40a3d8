#include "frame_notes.h"

#include <algorithm>
#include <iterator>

#include "atr.h"
#include "status_words.h"
#include "values.h"

namespace explain {
namespace {

using enum FrameKind;

struct Status {
    FrameKind frame;
    std::uint32_t status;
    const char* name;
};

constexpr Status statuses[] = {
    {ic_frame, 0x00, "done"},
    {ic_frame, 0xA2, "failed"},
    {ic_frame, 0xFB, "no card"},
    {union_frame, 0x0000, "done"},
    {union_frame, 0x1001, "failed"},
    {union_frame, 0x1002, "no card"},
    {union_frame, 0x1004, "card not powered"},
    {union_frame, 0x1005, "power-on failed"},
    {union_frame, 0x1006, "card removed"},
    {union_frame, 0x1007, "transmission failed"},
    {union_frame, 0x3001, "failed"},
    {union_frame, 0x3004, "card not activated"},
    {union_frame, 0x3005, "no card in the field"},
    {union_frame, 0x3006, "card has left the field"},
    {union_frame, 0x3007, "transmission failed"},
    {union_frame, 0x3008, "activation failed"},
    {id_frame, 0x000090, "done"},
    {id_frame, 0x00009F, "card found"},
    {id_frame, 0x000080, "no card"},
    {id_frame, 0x000081, "card not selected"},
    {id_frame, 0x000041, "card not read"},
    {id_frame, 0x000021, "unknown command"},
};

// Of "look for a card" the status is the answer.
constexpr Status card_states[] = {
    {union_frame, 0x1100, "a card with contacts is in, not powered"},
    {union_frame, 0x1200, "a card with contacts is in and powered"},
    {union_frame, 0x0012, "a card is in the field"},
};

struct EscapeCommand {
    std::string_view bytes;
    const char* name;
};

// More bytes before fewer.
constexpr EscapeCommand escape_commands[] = {
    {"\033A]", "read track 1"},
    {"\033T]", "read track 3"},
    {"\033D]", "read tracks 1 and 2"},
    {"\033E]", "read tracks 1 and 3"},
    {"\033B]", "read tracks 2 and 3"},
    {"\033F]", "read tracks 1, 2 and 3"},
    {"\033]", "read track 2"},
    {"\033tA", "write track 3"},
    {"\033t", "write tracks"},
    {"\033%A", "release the pass-through port"},
    {"\033%", "open a pass-through port"},
    {"\033$BI", "mode for the baud rate: base unit"},
    {"\033$BS", "mode for the baud rate: stripe"},
    {"\033$", "change the mode"},
    {"\033S", "reset"},
    {"\0330", "reset the magnetic module"},
};

struct EscapeReply {
    std::string_view bytes;
    const char* name;
};

constexpr EscapeReply escape_replies[] = {
    {"\033s", "tracks"},
    {"\033rp", "track 2 written"},
    {"\033rq", "track 2 not written"},
    {"\033Trp", "track 3 written"},
    {"\033Trq", "track 3 not written"},
    {"\033Brp", "tracks written"},
    {"\033Brq", "tracks not written"},
};

std::string_view text_of(View bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <class Row, std::size_t Count>
std::string name_in(const Row (&rows)[Count], View bytes) {
    const auto* row = std::ranges::find_if(
        rows, [&](const Row& one) { return text_of(bytes).starts_with(one.bytes); });
    return row == std::end(rows) ? "" : row->name;
}

template <std::size_t Count>
std::string status_in(const Status (&rows)[Count], FrameKind kind, std::uint32_t status) {
    const auto* row = std::ranges::find_if(
        rows, [&](const Status& one) { return one.frame == kind && one.status == status; });
    return row == std::end(rows) ? "" : row->name;
}

View status_of(const Frame& frame) {
    return part(frame.body(), 0, status_size(frame));
}

bool is_long_reply(const Frame& frame) {
    return frame.kind == ic_frame && status_size(frame) == 0;
}

std::string status_name(const Frame& frame, const TrafficContext& context) {
    if (is_long_reply(frame)) return "done";
    const View bytes = status_of(frame);
    if (bytes.size() < status_size(frame)) return "no status";
    std::uint32_t status = 0;
    for (const std::uint8_t byte : bytes)
        status = status << 8 | byte;
    const bool of_card = context.asked != nullptr && context.asked->carries == Carries::card_state;
    std::string name = of_card ? status_in(card_states, frame.kind, status) : "";
    if (name.empty()) name = status_in(statuses, frame.kind, status);
    return name.empty() ? "status " + hex(bytes) : name;
}

bool is_good(const Frame& frame) {
    if (is_long_reply(frame)) return true;
    const View status = status_of(frame);
    if (frame.kind == id_frame) return status.size() == 3 && status[2] >= 0x90;
    return !status.empty() && (frame.kind != ic_frame || status[0] == 0) &&
           (frame.kind != union_frame || status[0] == 0 || status[0] == 0x11 || status[0] == 0x12);
}

// Lengths of text, photo and fingerprint, and these.
void explain_identity_record(View data, bool with_fingerprint, Note& note) {
    constexpr const char* names[] = {"text", "photo", "fingerprint"};
    const std::size_t count = with_fingerprint ? 3 : 2;
    std::size_t at = 2 * count;
    for (std::size_t i = 0; i < count; ++i) {
        if (data.size() < 2 * i + 2) return note.add_problem("cut short");
        const std::size_t size = word_at(data, 2 * i);
        const View block = part(data, at, size);
        note.add({.name = names[i], .meaning = byte_count(size), .parts = {{.bytes = hex(block)}}});
        if (i == 0 && !block.empty()) note.parts.back().add({.meaning = shown_wide_text(block)});
        if (block.size() < size) note.parts.back().add_problem("cut short");
        at += size;
    }
    if (at < data.size()) note.add({.name = "serial numbers", .bytes = hex(part(data, at))});
}

void add_bytes(const char* name, View bytes, Note& note, const std::string& meaning = {}) {
    if (bytes.empty() && meaning.empty()) return;
    note.add({.name = name, .bytes = hex(bytes), .meaning = meaning});
}

// The value of a value block: the low byte first.
std::string value_text(View value) {
    if (value.size() != 4) return {};
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number << 8 | value[i];
    return std::to_string(static_cast<std::int32_t>(number));
}

std::string key_kind(std::uint8_t kind) {
    return kind == 0x60 || kind == 0x00 ? "key A" : "key B";
}

void explain_answer_bytes(View data, Note& note) {
    if (is_answer_to_reset(data)) {
        note.add(explain_answer_to_reset(data));
    } else {
        add_bytes("answer of the card", data, note);
    }
}

// What stands behind the bytes of a command.
void explain_arguments(const ReaderCommand& command, View arguments, TrafficContext& context,
                       Note& note) {
    switch (command.carries) {
        case Carries::apdu:
            if (!arguments.empty()) note.add(explain_command(arguments, &context.card));
            return;
        case Carries::text:
            return add_bytes("text", arguments, note, shown_text(arguments));
        case Carries::classic_key:
            if (arguments.size() >= 2) {
                add_bytes("sector", part(arguments, 0, 1), note, std::to_string(arguments[0]));
                add_bytes("kind", part(arguments, 1, 1), note, key_kind(arguments[1]));
                add_bytes("key", part(arguments, 2), note);
                return;
            }
            return add_bytes("arguments", arguments, note);
        case Carries::classic_read:
        case Carries::classic_write:
        case Carries::classic_value:
            if (!arguments.empty())
                add_bytes("block", part(arguments, 0, 1), note, std::to_string(arguments[0]));
            return add_bytes(command.carries == Carries::classic_value ? "value" : "data",
                             part(arguments, 1), note,
                             command.carries == Carries::classic_value
                                 ? value_text(part(arguments, 1))
                                 : std::string());
        case Carries::nothing:
        case Carries::answer_to_reset:
        case Carries::baud:
        case Carries::beep:
        case Carries::card_state:
        case Carries::classic_start:
        case Carries::identity_record:
        case Carries::identity_search:
            return add_bytes("arguments", arguments, note);
    }
}

// What stands behind the status of a reply to an unknown command: what it looks like.
void guess_answer(View data, CardContext& card, Note& note) {
    if (is_answer_to_reset(data)) {
        note.add(explain_answer_to_reset(data));
    } else if (data.size() >= 2 && may_be_status_word(word_at(data, data.size() - 2))) {
        note.add(explain_response(data, &card));
    } else {
        add_bytes("data", data, note);
    }
}

void explain_reply_data(const Frame& frame, View data, TrafficContext& context, Note& note) {
    if (data.empty()) return;
    if (context.asked == nullptr) {
        const bool record = frame.kind == id_frame && data.size() > 4;
        if (record) return explain_identity_record(data, false, note);
        return guess_answer(data, context.card, note);
    }
    switch (context.asked->carries) {
        case Carries::answer_to_reset:
            return explain_answer_bytes(data, note);
        case Carries::apdu:
            note.add(explain_response(data, &context.card));
            return;
        case Carries::text:
            return add_bytes("text", data, note, shown_text(data));
        case Carries::classic_value:
            return add_bytes("value", data, note, value_text(data));
        case Carries::identity_record:
            return explain_identity_record(data, std::string_view(context.asked->bytes) == "3010",
                                           note);
        case Carries::nothing:
        case Carries::baud:
        case Carries::beep:
        case Carries::card_state:
        case Carries::classic_start:
        case Carries::classic_key:
        case Carries::classic_read:
        case Carries::classic_write:
        case Carries::identity_search:
            return add_bytes("data", data, note);
    }
}

void add_faults(const Frame& frame, Note& note) {
    if (frame.kind == escape) return;
    if (!frame.has_end) {
        note.add_problem("cut short");
    } else if (frame.said != frame.body_size) {
        note.add_problem("length " + std::to_string(frame.said) + ", but " +
                         byte_count(frame.body_size) + " there");
    }
    if (frame.has_check) {
        const bool right = frame.check_is_right();
        note.add(
            {.name = "check",
             .bytes = hex({&frame.check, 1}),
             .meaning = right ? "right" : "wrong: " + hex({&frame.right_check, 1}) + " is right",
             .problem = !right});
    }
}

void explain_escape(Direction direction, View bytes, Note& note) {
    note.bytes = hex(bytes);
    const bool sent = direction == Direction::to_reader;
    const std::string name =
        sent ? name_in(escape_commands, bytes) : name_in(escape_replies, bytes);
    note.meaning = name.empty() ? "unknown" : name;
    const bool tracks = bytes.size() > 2 && (bytes[1] == 's' || (sent && bytes[1] == 't'));
    if (!tracks) return;
    const View characters = bytes.subspan(2);
    const auto end = std::ranges::find_if(characters, [](std::uint8_t byte) { return byte < ' '; });
    const auto size = static_cast<std::size_t>(end - characters.begin());
    note.add({.name = "characters", .meaning = shown_text(characters.first(size))});
}

}  // namespace

std::string frame_name(FrameKind kind) {
    switch (kind) {
        case ic_frame:
            return "IC frame";
        case union_frame:
            return "Union frame";
        case id_frame:
            return "ID frame";
        case escape:
            return "escape command";
    }
    return {};
}

Direction likely_direction(const Frame& frame) {
    if (frame.kind == escape) {
        return name_in(escape_replies, frame.body()).empty() ? Direction::to_reader
                                                             : Direction::from_reader;
    }
    return find_command(frame.kind, frame.body()) != nullptr ? Direction::to_reader
                                                             : Direction::from_reader;
}

std::string frame_title(Direction direction, const Frame& frame, const TrafficContext& context) {
    const bool sent = direction == Direction::to_reader;
    if (frame.kind == escape) {
        const std::string name =
            sent ? name_in(escape_commands, frame.body()) : name_in(escape_replies, frame.body());
        return name.empty() ? frame_name(escape) : name;
    }
    if (sent) {
        const ReaderCommand* command = find_command(frame.kind, frame.body());
        if (command == nullptr) return "unknown command " + hex(part(frame.body(), 0, 2));
        const View arguments = part(frame.body(), command->size());
        const bool apdu = command->carries == Carries::apdu && !arguments.empty();
        return command->name + (apdu ? ": " + command_title(arguments) : std::string());
    }
    std::string title = status_name(frame, context);
    const View data = part(frame.body(), status_size(frame));
    const bool apdu = context.asked != nullptr && context.asked->carries == Carries::apdu;
    if (!apdu || data.size() < 2) return title;
    const std::uint16_t word = word_at(data, data.size() - 2);
    const std::string name = status_word_name(word);
    return title + ", " + hex(data.last(2)) + (name.empty() ? "" : " " + name);
}

Note explain_frame(Direction direction, const Frame& frame, TrafficContext& context) {
    const bool sent = direction == Direction::to_reader;
    Note note{.label = frame_name(frame.kind)};
    if (frame.kind == escape) {
        context.asked = nullptr;
        explain_escape(direction, frame.body(), note);
        return note;
    }
    const View body = frame.body();
    note.name = sent ? "command" : "reply";
    note.meaning = byte_count(body.size());
    if (sent) {
        context.asked = find_command(frame.kind, body);
        if (context.asked == nullptr) {
            note.add({.name = "unknown command", .bytes = hex(body), .problem = true});
        } else {
            note.add(
                {.name = context.asked->name, .bytes = hex(part(body, 0, context.asked->size()))});
            explain_arguments(*context.asked, part(body, context.asked->size()), context, note);
        }
    } else {
        note.add({.name = "status",
                  .bytes = hex(status_of(frame)),
                  .meaning = status_name(frame, context),
                  .problem = !is_good(frame)});
        explain_reply_data(frame, part(body, status_size(frame)), context, note);
    }
    add_faults(frame, note);
    return note;
}

}  // namespace explain
