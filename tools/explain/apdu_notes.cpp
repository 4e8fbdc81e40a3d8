#include "apdu_notes.h"

#include <algorithm>
#include <iterator>

#include "apdu.h"
#include "status_words.h"
#include "tags.h"
#include "tlv.h"
#include "values.h"

namespace explain {
namespace {

enum class Class { standard, own, any };

struct Instruction {
    Class cla;
    std::uint8_t code;
    const char* name;
};

using enum Class;

// ISO 7816-4 and -8, EMV Book 3, JR/T 0025 and the purse applications before it.
constexpr Instruction instructions[] = {
    {standard, 0x04, "DEACTIVATE FILE"},
    {standard, 0x0E, "ERASE BINARY"},
    {own, 0x16, "CARD BLOCK"},
    {own, 0x18, "APPLICATION UNBLOCK"},
    {own, 0x1E, "APPLICATION BLOCK"},
    {any, 0x20, "VERIFY"},
    {standard, 0x22, "MANAGE SECURITY ENVIRONMENT"},
    {own, 0x24, "PIN CHANGE/UNBLOCK"},
    {standard, 0x24, "CHANGE REFERENCE DATA"},
    {own, 0x2A, "COMPUTE CRYPTOGRAPHIC CHECKSUM"},
    {standard, 0x2A, "PERFORM SECURITY OPERATION"},
    {any, 0x2C, "RESET RETRY COUNTER"},
    {standard, 0x44, "ACTIVATE FILE"},
    {own, 0x50, "INITIALIZE TRANSACTION (purse)"},
    {own, 0x52, "CREDIT FOR LOAD (purse)"},
    {own, 0x54, "DEBIT (purse)"},
    {own, 0x58, "UPDATE OVERDRAW LIMIT (purse)"},
    {own, 0x5A, "GET TRANSACTION PROVE (purse)"},
    {own, 0x5C, "GET BALANCE (purse)"},
    {own, 0x5E, "RELOAD PIN (purse)"},
    {standard, 0x70, "MANAGE CHANNEL"},
    {any, 0x82, "EXTERNAL AUTHENTICATE"},
    {any, 0x84, "GET CHALLENGE"},
    {standard, 0x86, "GENERAL AUTHENTICATE"},
    {any, 0x88, "INTERNAL AUTHENTICATE"},
    {any, 0xA4, "SELECT"},
    {own, 0xA8, "GET PROCESSING OPTIONS"},
    {own, 0xAE, "GENERATE AC"},
    {any, 0xB0, "READ BINARY"},
    {any, 0xB2, "READ RECORD"},
    {any, 0xC0, "GET RESPONSE"},
    {any, 0xC2, "ENVELOPE"},
    {any, 0xCA, "GET DATA"},
    {standard, 0xCB, "GET DATA"},
    {own, 0xD4, "WRITE KEY"},
    {any, 0xD6, "UPDATE BINARY"},
    {own, 0xD8, "PUT KEY"},
    {any, 0xDA, "PUT DATA"},
    {any, 0xDC, "UPDATE RECORD"},
    {own, 0xDE, "DELIVER KEY"},
    {standard, 0xE0, "CREATE FILE"},
    {any, 0xE2, "APPEND RECORD"},
    {standard, 0xE4, "DELETE FILE"},
    {own, 0xFA, "ENCIPHER DATA"},
};

constexpr std::uint8_t own_class = 0x80;

constexpr std::uint8_t verify = 0x20;
constexpr std::uint8_t select_file = 0xA4;
constexpr std::uint8_t get_processing_options = 0xA8;
constexpr std::uint8_t generate_ac = 0xAE;
constexpr std::uint8_t read_binary = 0xB0;
constexpr std::uint8_t read_record = 0xB2;
constexpr std::uint8_t get_data = 0xCA;
constexpr std::uint8_t update_record = 0xDC;

const Instruction* find_instruction(std::uint8_t cla, std::uint8_t code) {
    const Class kind = cla < own_class ? standard : own;
    const auto* row = std::ranges::find_if(instructions, [&](const Instruction& one) {
        return one.code == code && (one.cla == any || one.cla == kind);
    });
    return row == std::end(instructions) ? nullptr : row;
}

std::string byte_text(std::uint8_t byte) {
    return hex({&byte, 1});
}

std::string cryptogram_asked(std::uint8_t p1) {
    constexpr const char* kinds[] = {"AAC, to decline", "TC, to approve offline",
                                     "ARQC, to go online", "reserved"};
    constexpr std::uint8_t combined = 0x10;
    return std::string(kinds[p1 >> 6]) + (p1 & combined ? ", with signature (CDA)" : "");
}

std::string data_tag(const CommandParts& parts) {
    const std::uint32_t tag = static_cast<std::uint32_t>(parts.p1) << 8 | parts.p2;
    const Tag* known = find_tag(tag);
    return tag_text(tag) + (known != nullptr ? std::string(" ") + known->name : "");
}

std::string record_text(const CommandParts& parts) {
    const int file = parts.p2 >> 3;
    return "record " + std::to_string(parts.p1) + " of " +
           (file == 0 ? "the current file" : "file " + std::to_string(file));
}

std::string binary_text(const CommandParts& parts) {
    constexpr std::uint8_t by_short_name = 0x80;
    if (parts.p1 & by_short_name) {
        return "file " + std::to_string(parts.p1 & 0x1F) + " from byte " + std::to_string(parts.p2);
    }
    return "from byte " + std::to_string(parts.p1 << 8 | parts.p2);
}

std::string selection_text(const CommandParts& parts) {
    const std::string how = parts.p1 == 0x04   ? "by name"
                            : parts.p1 == 0x00 ? "by file identifier"
                                               : "P1 " + byte_text(parts.p1);
    return how + ((parts.p2 & 0x03) == 0x02 ? ", the next of it" : "");
}

std::string pin_text(const CommandParts& parts) {
    constexpr std::uint8_t plain = 0x80;
    constexpr std::uint8_t enciphered = 0x88;
    if (parts.p2 == plain) return "PIN in plain text";
    if (parts.p2 == enciphered) return "PIN enciphered";
    return "reference " + byte_text(parts.p2);
}

// What P1 and P2 say.
std::string parameters_text(const CommandParts& parts) {
    switch (parts.ins) {
        case select_file:
            return selection_text(parts);
        case verify:
            return pin_text(parts);
        case generate_ac:
            return cryptogram_asked(parts.p1);
        case read_binary:
            return binary_text(parts);
        case read_record:
        case update_record:
            return record_text(parts);
        case get_data:
            return data_tag(parts);
        default:
            return {};
    }
}

// The data's own list, as the card gave it.
const Bytes* list_of(const CommandParts& parts, const CardContext* context) {
    if (context == nullptr) return nullptr;
    const Bytes* list = parts.ins == get_processing_options ? &context->processing_options
                        : parts.ins != generate_ac          ? nullptr
                        : context->cryptograms == 0         ? &context->risk_management_1
                                                            : &context->risk_management_2;
    return list == nullptr || list->empty() ? nullptr : list;
}

// GET PROCESSING OPTIONS has its values in a template.
View listed_values(const CommandParts& parts, View data) {
    constexpr std::size_t header = 2;
    constexpr std::uint8_t command_template = 0x83;
    const bool wrapped = parts.ins == get_processing_options && data.size() >= header &&
                         data[0] == command_template && data[1] == data.size() - header;
    return wrapped ? data.subspan(header) : data;
}

void explain_data(const CommandParts& parts, View data, const CardContext* context, Note& note) {
    note.bytes = hex(data);
    if (parts.ins == select_file) note.meaning = application_name(data);
    if (const Bytes* list = list_of(parts, context)) {
        explain_listed(*list, listed_values(parts, data), note);
    } else if (is_objects(data, Strictness::exact) && object_at(data, 0)->begin == 0 &&
               find_tag(object_at(data, 0)->tag) != nullptr) {
        explain_objects(data, note);
    }
}

void remember(const CommandParts& parts, CardContext* context) {
    if (context == nullptr) return;
    constexpr std::uint8_t get_response = 0xC0;
    if (parts.ins != get_response) context->instruction = parts.ins;
    if (parts.ins == select_file) context->cryptograms = 0;
    if (parts.ins == generate_ac) ++context->cryptograms;
}

// A one-record object of a social security card, by its tag.
std::string social_security_name(std::uint32_t tag) {
    constexpr const char* names[] = {
        "card identification code",
        "card type",
        "version of the card",
        "initialising organisation",
        "issue date",
        "expiry date",
        "card number",
        "social security number",
        "name",
        "sex",
        "nationality",
        "place of birth",
        "date of birth",
    };
    return tag >= 1 && tag <= std::size(names) ? names[tag - 1] : "";
}

// Data objects, or a record of one; anything else as text, if it is that.
void explain_answer(View data, const CardContext* context, Note& note) {
    if (data.empty()) return;
    const auto object = object_at(data, 0);
    const bool one = object && object->begin == 0 && object->end() == data.size();
    const bool record = context != nullptr && context->instruction == read_record;
    const std::string field = one && record ? social_security_name(object->tag) : "";
    if (!field.empty()) {
        const View value = part(data, object->value_at);
        note.add({.label = tag_text(object->tag),
                  .name = field,
                  .bytes = hex(value),
                  .meaning = shown_text(value)});
    } else if (is_objects(data, Strictness::cut) && object->begin == 0) {
        explain_objects(data, note);
    } else {
        Note plain{.name = "data", .bytes = hex(data)};
        const bool readable = std::ranges::all_of(
            data, [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
        if (readable) plain.meaning = shown_text(data);
        note.add(std::move(plain));
    }
}

std::string status_text(std::uint16_t word) {
    const std::string name = status_word_name(word);
    return name.empty() ? "not a status word of any standard" : name;
}

}  // namespace

void CardContext::learn(View objects) {
    std::size_t at = 0;
    while (const auto object = object_at(objects, at)) {
        const View value = part(objects, object->value_at, object->size);
        if (object->tag == 0x9F38) processing_options = copy_of(value);
        if (object->tag == 0x8C) risk_management_1 = copy_of(value);
        if (object->tag == 0x8D) risk_management_2 = copy_of(value);
        if (object->tag == 0x9F4F) log_format = copy_of(value);
        at = object->constructed ? object->value_at : object->end();
    }
}

std::string instruction_name(View command) {
    if (command.size() < 2) return {};
    const Instruction* known = find_instruction(command[0], command[1]);
    return known == nullptr ? "" : known->name;
}

bool is_command(View bytes) {
    constexpr std::uint8_t classes[] = {0x00, 0x04, 0x0C, 0x80, 0x84, 0x90, 0xBF, 0xFF};
    const auto parts = split_command(bytes);
    return parts && parts->fits && !instruction_name(bytes).empty() &&
           std::ranges::find(classes, parts->cla) != std::end(classes);
}

std::string command_title(View command) {
    const auto parts = split_command(command);
    if (!parts) return "command of " + byte_count(command.size());
    std::string title = instruction_name(command);
    if (title.empty()) title = "command " + hex(command.first(2));
    const View data = part(command, parts->data_at, parts->data_size);
    if (parts->ins == select_file && !data.empty()) {
        const std::string name = application_name(data);
        return title + " " + hex(data) + (name.empty() ? "" : " " + name);
    }
    const std::string parameters = parameters_text(*parts);
    return parameters.empty() ? title : title + " " + parameters;
}

Note explain_command(View command, CardContext* context) {
    Note note{.label = "command"};
    const auto parts = split_command(command);
    if (!parts) {
        note.bytes = hex(command);
        note.meaning = "too short for a command of ISO 7816-4";
        note.problem = true;
        return note;
    }
    const std::string name = instruction_name(command);
    note.name = name.empty() ? "unknown instruction" : name;
    note.add({.label = "CLA INS", .bytes = hex(command.first(2))});
    note.add({.label = "P1 P2",
              .bytes = hex(command.subspan(2, 2)),
              .meaning = parameters_text(*parts)});
    const View data = part(command, parts->data_at, parts->data_size);
    if (!data.empty()) {
        note.add({.label = "Lc", .meaning = byte_count(data.size())});
        Note explained{.label = "data"};
        explain_data(*parts, data, context, explained);
        note.add(std::move(explained));
    }
    if (parts->expected)
        note.add({.label = "Le", .meaning = "up to " + byte_count(*parts->expected)});
    if (!parts->fits) {
        note.add_problem("Lc says " + byte_count(command[4]) + ", " + std::to_string(data.size()) +
                         " there");
    }
    remember(*parts, context);
    return note;
}

Note explain_response(View response, CardContext* context) {
    Note note{.label = "response"};
    if (response.size() < 2) {
        note.bytes = hex(response);
        note.meaning = "too short for a status word";
        note.problem = true;
        return note;
    }
    const View data = response.first(response.size() - 2);
    const std::uint16_t word = word_at(response, data.size());
    explain_answer(data, context, note);
    if (context != nullptr) context->learn(data);
    note.add({.label = "SW",
              .bytes = hex(response.subspan(data.size())),
              .meaning = status_text(word),
              .problem = word != 0x9000 && word >> 8 != 0x61});
    return note;
}

}  // namespace explain
