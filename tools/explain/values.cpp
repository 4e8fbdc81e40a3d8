#include "values.h"

#include <algorithm>
#include <array>

#include "apdu_notes.h"
#include "bit_fields.h"
#include "iso_codes.h"
#include "tlv.h"

namespace explain {
namespace {

constexpr std::size_t deepest = 16;

bool is_decimal(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char character) {
        return character >= '0' && character <= '9';
    });
}

std::string without_zeros(std::string_view digits) {
    const std::size_t begin = digits.find_first_not_of('0');
    return begin == digits.npos ? "0" : std::string(digits.substr(begin));
}

std::string count_text(View value) {
    constexpr std::size_t widest = 8;
    if (value.empty() || value.size() > widest) return {};
    std::uint64_t number = 0;
    for (const std::uint8_t byte : value)
        number = number << 8 | byte;
    return std::to_string(number);
}

std::string amount_text(std::string_view digits) {
    if (!is_decimal(digits)) return {};
    std::string text = without_zeros(digits);
    constexpr std::size_t least = 3;
    if (text.size() < least) text.insert(0, least - text.size(), '0');
    return text.insert(text.size() - 2, ".");
}

std::string time_text(std::string_view digits) {
    constexpr std::size_t size = 6;
    if (digits.size() != size || !is_decimal(digits)) return {};
    const std::string text(digits);
    return text.substr(0, 2) + ":" + text.substr(2, 2) + ":" + text.substr(4, 2);
}

// Three digits of a code behind a zero, and its name.
std::string code_text(View value, std::string (*name_of)(std::string_view)) {
    const std::string digits = hex(value);
    if (digits.size() != 4 || !is_decimal(digits) || digits[0] != '0') return {};
    const std::string code = digits.substr(1);
    const std::string name = name_of(code);
    return name.empty() ? code : code + " " + name;
}

std::string number_text(View value) {
    const std::string digits = hex(value);
    return is_decimal(digits) ? without_zeros(digits) : std::string();
}

// Digits up to the first F.
std::string padded_text(View value) {
    const std::string digits = hex(value);
    const std::string used = digits.substr(0, digits.find('F'));
    return is_decimal(used) ? used : std::string();
}

std::string track_2_text(View value) {
    const std::string digits = hex(value);
    const std::size_t separator = digits.find('D');
    constexpr std::size_t behind = 7;
    if (separator == digits.npos || digits.size() < separator + 1 + behind) return {};
    const std::string rest = digits.substr(separator + 1);
    return digits.substr(0, separator) + ", expires 20" + rest.substr(0, 2) + "-" +
           rest.substr(2, 2) + ", service code " + rest.substr(4, 3);
}

std::string country_letters_text(View value) {
    const std::string code = shown_text(value);
    const std::string name = country_name(code);
    return name.empty() ? code : code + " " + name;
}

std::string language_text(View value) {
    std::string text;
    for (std::size_t at = 0; at + 1 < value.size(); at += 2)
        text += (at == 0 ? "" : ", ") + shown_text(part(value, at, 2));
    return text;
}

std::string priority_text(View value) {
    if (value.size() != 1) return {};
    constexpr std::uint8_t confirm = 0x80;
    const std::string order = std::to_string(value[0] & 0x0F);
    return order + (value[0] & confirm ? ", only with the cardholder's confirmation" : "");
}

std::string log_entry_text(View value) {
    if (value.size() != 2) return {};
    return "file " + std::to_string(value[0]) + ", " + std::to_string(value[1]) + " records";
}

std::string response_code_text(View value) {
    const std::string code = shown_text(value);
    const std::string name = response_code_name(code);
    return name.empty() ? code : code + " " + name;
}

std::string by_code(View value, std::string (*name_of)(std::uint8_t)) {
    return value.empty() ? "" : name_of(value[0]);
}

std::string application_text(View value) {
    return application_name(value);
}

std::string currencies_text(View value) {
    std::string text;
    for (std::size_t at = 0; at + 1 < value.size(); at += 2)
        text += (at == 0 ? "" : ", ") + code_text(part(value, at, 2), currency_name);
    return text;
}

std::string binary_date_text(View value) {
    return date_text(hex(value));
}

struct Scalar {
    Form form;
    std::string (*text)(View value);
    bool must_fit;  // a value without a text is a wrong one
};

// Forms whose meaning is one text.
constexpr Scalar scalars[] = {
    {Form::text, [](View value) { return shown_text(value); }, false},
    {Form::digits, padded_text, true},
    {Form::number, number_text, true},
    {Form::count, count_text, true},
    {Form::amount, [](View value) { return amount_text(hex(value)); }, true},
    {Form::date, binary_date_text, true},
    {Form::time, [](View value) { return time_text(hex(value)); }, true},
    {Form::country, [](View value) { return code_text(value, country_name); }, true},
    {Form::country_letters, country_letters_text, false},
    {Form::currency, [](View value) { return code_text(value, currency_name); }, true},
    {Form::currencies, currencies_text, true},
    {Form::language, language_text, true},
    {Form::track_2, track_2_text, true},
    {Form::application, application_text, false},
    {Form::cryptogram_kind, [](View value) { return by_code(value, cryptogram_name); }, true},
    {Form::transaction_kind, [](View value) { return by_code(value, transaction_name); }, false},
    {Form::terminal_kind, [](View value) { return by_code(value, terminal_name); }, false},
    {Form::response_code, response_code_text, false},
    {Form::priority, priority_text, true},
    {Form::log_entry, log_entry_text, true},
};

// Files and the records that are to be read of them.
void explain_locator(View value, Note& note) {
    constexpr std::size_t entry_size = 4;
    for (; value.size() >= entry_size; value = value.subspan(entry_size)) {
        const std::string first = std::to_string(value[1]);
        const std::string last = std::to_string(value[2]);
        const std::string records =
            first == last ? "record " + first : "records " + first + " to " + last;
        note.add({.label = hex(value.first(entry_size)),
                  .meaning = "file " + std::to_string(value[0] >> 3) + ", " + records + ", " +
                             std::to_string(value[3]) + " of them for data authentication"});
    }
    if (!value.empty()) note.add_problem(hex(value) + ": no whole entry");
}

std::string tag_name(std::uint32_t tag) {
    const Tag* known = find_tag(tag);
    return known != nullptr ? known->name : "unknown";
}

void explain_object_list(View value, Note& note) {
    std::size_t at = 0;
    while (const auto tag = tag_at(value, at)) {
        at += tag->size;
        if (at >= value.size()) break;
        note.add({.label = tag_text(tag->tag),
                  .name = tag_name(tag->tag),
                  .meaning = byte_count(value[at])});
        if (++at == value.size()) return;
    }
    if (!value.empty()) note.add_problem("ends within an entry");
}

void explain_tag_list(View value, Note& note) {
    std::size_t at = 0;
    while (const auto tag = tag_at(value, at)) {
        note.add({.label = tag_text(tag->tag), .name = tag_name(tag->tag)});
        at += tag->size;
    }
}

std::string or_unknown(const std::string& name) {
    return name.empty() ? "unknown" : name;
}

// Two amounts X and Y, then a method and its condition each.
void explain_verification_list(View value, Note& note) {
    constexpr std::size_t amount_size = 4;
    constexpr std::uint8_t goes_on = 0x40;
    if (value.size() < 2 * amount_size) return note.add_problem("too short for its amounts");
    note.add({.label = "X",
              .bytes = hex(part(value, 0, amount_size)),
              .meaning = count_text(part(value, 0, amount_size))});
    note.add({.label = "Y",
              .bytes = hex(part(value, amount_size, amount_size)),
              .meaning = count_text(part(value, amount_size, amount_size))});
    View rules = value.subspan(2 * amount_size);
    for (; rules.size() >= 2; rules = rules.subspan(2)) {
        note.add({.label = hex(rules.first(2)),
                  .meaning = or_unknown(verification_method_name(rules[0])) + ", " +
                             or_unknown(verification_condition_name(rules[1])) + "; else " +
                             (rules[0] & goes_on ? "the next" : "failed")});
    }
    if (!rules.empty()) note.add_problem(hex(rules) + ": no whole rule");
}

void explain_verification_results(View value, Note& note) {
    constexpr std::size_t size = 3;
    if (value.size() != size) return note.add_problem("has not three bytes");
    note.meaning = or_unknown(verification_method_name(value[0])) + ", " +
                   or_unknown(verification_condition_name(value[1])) + ": " +
                   or_unknown(verification_result_name(value[2]));
}

struct LifeCycleField {
    const char* name;
    std::size_t size;
};

constexpr LifeCycleField life_cycle_fields[] = {
    {"IC fabricator", 2},
    {"IC type", 2},
    {"operating system", 2},
    {"operating system release date", 2},
    {"operating system release level", 2},
    {"IC fabrication date", 2},
    {"IC serial number", 4},
    {"IC batch identifier", 2},
    {"IC module fabricator", 2},
    {"IC module packaging date", 2},
    {"ICC manufacturer", 2},
    {"IC embedding date", 2},
    {"IC pre-personaliser", 2},
    {"IC pre-personalisation date", 2},
    {"IC pre-personalisation equipment", 4},
    {"IC personaliser", 2},
    {"IC personalisation date", 2},
    {"IC personalisation equipment", 4},
};

void explain_life_cycle(View value, Note& note) {
    std::size_t at = 0;
    for (const LifeCycleField& field : life_cycle_fields) {
        if (at >= value.size()) break;
        note.add({.name = field.name, .bytes = hex(part(value, at, field.size))});
        at += field.size;
    }
}

// A locator has whole entries of files 1 to 30 with records in ascending order.
bool is_locator(View value) {
    if (value.empty() || value.size() % 4 != 0) return false;
    for (; !value.empty(); value = value.subspan(4)) {
        const int file = value[0] >> 3;
        if ((value[0] & 0x07) != 0 || file < 1 || file > 30 || value[1] == 0 ||
            value[2] < value[1] || value[3] > value[2] - value[1] + 1) {
            return false;
        }
    }
    return true;
}

void add_object(std::uint32_t tag, View value, Note& note, std::size_t depth);

// GET PROCESSING OPTIONS answers with profile and locator, GENERATE AC with kind, counter,
// cryptogram and what the issuer has added.
void explain_format_1(View value, Note& note) {
    constexpr std::size_t profile_size = 2;
    if (value.size() > profile_size && is_locator(value.subspan(profile_size))) {
        add_object(0x82, value.first(profile_size), note, 0);
        add_object(0x94, value.subspan(profile_size), note, 0);
        return;
    }
    constexpr std::size_t least_cryptogram = 11;
    if (value.size() < least_cryptogram) return;
    add_object(0x9F27, part(value, 0, 1), note, 0);
    add_object(0x9F36, part(value, 1, 2), note, 0);
    add_object(0x9F26, part(value, 3, 8), note, 0);
    if (value.size() > least_cryptogram)
        add_object(0x9F10, value.subspan(least_cryptogram), note, 0);
}

struct Compound {
    Form form;
    void (*explain)(View value, Note& note);
};

// Forms with parts.
constexpr Compound compounds[] = {
    {Form::locator, explain_locator},
    {Form::object_list, explain_object_list},
    {Form::tag_list, explain_tag_list},
    {Form::cardholder_verification, explain_verification_list},
    {Form::verification_results, explain_verification_results},
    {Form::life_cycle, explain_life_cycle},
    {Form::format_1, explain_format_1},
    {Form::script, [](View value, Note& note) { note.add(explain_command(value)); }},
};

void add_object(std::uint32_t tag, View value, Note& note, std::size_t depth) {
    const Tag* known = find_tag(tag);
    Note object{.label = tag_text(tag), .name = known != nullptr ? known->name : "unknown"};
    const Form form = known != nullptr ? known->form : Form::bytes;
    const bool nested =
        form == Form::objects || (known == nullptr && is_objects(value, Strictness::exact));
    if (nested && depth < deepest) {
        explain_objects(value, object, depth + 1);
    } else {
        object.bytes = hex(value);
        explain_value(form, value, object);
    }
    note.add(std::move(object));
}

struct Application {
    const char* identifier;
    const char* name;
};

constexpr Application applications[] = {
    {"A000000333010101", "UnionPay debit"},
    {"A000000333010102", "UnionPay credit"},
    {"A000000333010103", "UnionPay quasi-credit"},
    {"A000000333010106", "UnionPay electronic cash"},
    {"A0000000031010", "Visa credit or debit"},
    {"A0000000032010", "Visa Electron"},
    {"A0000000041010", "Mastercard credit or debit"},
    {"A0000000043060", "Maestro"},
    {"A00000002501", "American Express"},
    {"A0000000651010", "JCB"},
    {"A0000001523010", "Discover"},
};

}  // namespace

std::string date_text(std::string_view digits) {
    constexpr std::size_t short_size = 6;
    constexpr std::size_t long_size = 8;
    if (!is_decimal(digits)) return {};
    std::string text(digits);
    if (text.size() == short_size) text.insert(0, text[0] < '5' ? "20" : "19");
    if (text.size() != long_size) return {};
    const int month = std::stoi(text.substr(4, 2));
    const int day = std::stoi(text.substr(6, 2));
    if (month < 1 || month > 12 || day > 31) return {};
    return text.insert(6, "-").insert(4, "-");
}

std::string application_name(View name) {
    const std::string identifier = hex(name);
    const auto* row = std::ranges::find_if(applications, [&](const Application& one) {
        return identifier.starts_with(one.identifier);
    });
    if (row != std::end(applications)) return row->name;
    const bool text = !name.empty() && std::ranges::all_of(name, [](std::uint8_t byte) {
        return byte >= 0x20 && byte < 0x7F;
    });
    return text ? shown_text(name) : std::string();
}

void explain_value(Form form, View value, Note& note) {
    const auto* scalar = std::ranges::find(scalars, form, &Scalar::form);
    if (scalar != std::end(scalars)) {
        note.meaning = scalar->text(value);
        if (note.meaning.empty() && scalar->must_fit && !value.empty())
            note.add_problem("not in the form that it should have");
    }
    const auto* compound = std::ranges::find(compounds, form, &Compound::form);
    if (compound != std::end(compounds)) compound->explain(value, note);
    explain_bits(form, value, note);
}

void explain_objects(View bytes, Note& note, std::size_t depth) {
    std::size_t at = 0;
    while (const auto object = object_at(bytes, at)) {
        add_object(object->tag, part(bytes, object->value_at, object->size), note, depth);
        if (!object->whole()) {
            note.parts.back().add_problem("cut short: " + std::to_string(object->size) + " of " +
                                          byte_count(object->said));
        }
        at = object->end();
    }
    const View rest = part(bytes, at);
    const bool filler =
        std::ranges::all_of(rest, [](std::uint8_t byte) { return byte == 0x00 || byte == 0xFF; });
    if (rest.empty()) return;
    if (filler) {
        note.add({.name = "filler", .bytes = hex(rest)});
    } else {
        note.add({.name = "no data object", .bytes = hex(rest), .problem = true});
    }
}

void explain_listed(View list, View values, Note& note) {
    std::size_t at = 0;
    std::size_t taken = 0;
    while (const auto tag = tag_at(list, at)) {
        at += tag->size;
        if (at >= list.size()) break;
        const std::size_t size = list[at++];
        add_object(tag->tag, part(values, taken, size), note, 0);
        taken = std::min(taken + size, values.size());
    }
    if (taken < values.size())
        note.add({.name = "beyond the list", .bytes = hex(part(values, taken)), .problem = true});
}

}  // namespace explain
