#include "note.h"

#include <algorithm>
#include <array>

#include <iconv.h>

namespace explain {
namespace {

constexpr std::size_t digits_a_line = 64;
constexpr std::string_view gap = "  ";

constexpr std::string_view begin_of(Colour colour) {
    switch (colour) {
        case Colour::none:
            return "";
        case Colour::label:
            return "\033[36m";
        case Colour::name:
            return "\033[1m";
        case Colour::bytes:
            return "";
        case Colour::meaning:
            return "\033[32m";
        case Colour::problem:
            return "\033[31m";
        case Colour::sent:
            return "\033[34m";
        case Colour::received:
            return "\033[35m";
        case Colour::quiet:
            return "\033[2m";
    }
    return "";
}

void append(std::string& line, std::string_view text, Colour colour, bool coloured) {
    if (text.empty()) return;
    if (!line.empty()) line += gap;
    line += painted(text, colour, coloured);
}

bool is_plain(std::string_view text) {
    return std::ranges::all_of(text, [](char character) {
        return static_cast<unsigned char>(character) >= 0x20 && character != 0x7F;
    });
}

// The text in UTF-8, empty if it is none in that encoding.
std::string converted(const char* from, View bytes) {
    iconv_t handle = iconv_open("UTF-8", from);
    if (handle == reinterpret_cast<iconv_t>(-1)) return {};
    std::string in(bytes.begin(), bytes.end());
    std::string out(4 * in.size() + 4, '\0');
    char* source = in.data();
    std::size_t source_left = in.size();
    char* target = out.data();
    std::size_t target_left = out.size();
    const std::size_t result = iconv(handle, &source, &source_left, &target, &target_left);
    iconv_close(handle);
    if (result == static_cast<std::size_t>(-1)) return {};
    out.resize(out.size() - target_left);
    return out;
}

void add_string(cJSON* object, const char* key, const std::string& value) {
    if (!value.empty()) cJSON_AddStringToObject(object, key, value.c_str());
}

}  // namespace

std::string painted(std::string_view text, Colour colour, bool coloured) {
    const std::string_view begin = begin_of(colour);
    if (!coloured || begin.empty()) return std::string(text);
    return std::string(begin) + std::string(text) + "\033[0m";
}

std::string byte_count(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string as_text(const Note& note, bool coloured, std::size_t depth) {
    const std::string indent(2 * depth, ' ');
    std::string line;
    append(line, note.label, Colour::label, coloured);
    append(line, note.name, Colour::name, coloured);
    const bool is_long = note.bytes.size() > digits_a_line;
    if (!is_long) append(line, note.bytes, Colour::bytes, coloured);
    append(line, note.meaning, note.problem ? Colour::problem : Colour::meaning, coloured);
    std::string text;
    if (!line.empty()) text += indent + line + "\n";
    for (std::size_t at = 0; is_long && at < note.bytes.size(); at += digits_a_line)
        text += indent + "    " + note.bytes.substr(at, digits_a_line) + "\n";
    for (const Note& part : note.parts)
        text += as_text(part, coloured, line.empty() ? depth : depth + 1);
    return text;
}

cJSON* as_json(const Note& note) {
    cJSON* object = cJSON_CreateObject();
    add_string(object, "label", note.label);
    add_string(object, "name", note.name);
    add_string(object, "bytes", note.bytes);
    add_string(object, "meaning", note.meaning);
    if (note.problem) cJSON_AddTrueToObject(object, "problem");
    if (note.parts.empty()) return object;
    cJSON* parts = cJSON_AddArrayToObject(object, "parts");
    for (const Note& part : note.parts)
        cJSON_AddItemToArray(parts, as_json(part));
    return object;
}

std::string shown_text(View bytes) {
    const auto end = std::ranges::find_if_not(bytes.rbegin(), bytes.rend(),
                                              [](std::uint8_t byte) { return byte == 0; });
    const View used = bytes.first(static_cast<std::size_t>(bytes.rend() - end));
    const bool ascii = std::ranges::all_of(used, [](std::uint8_t byte) { return byte < 0x80; });
    for (const char* encoding : {"UTF-8", "GB18030"}) {
        if (ascii) break;
        std::string text = converted(encoding, used);
        if (!text.empty() && is_plain(text)) return text;
    }
    std::string text;
    for (const std::uint8_t byte : used)
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    return text;
}

std::string shown_wide_text(View bytes) {
    std::string text = converted("UTF-16LE", bytes);
    for (char& character : text) {
        if (!is_plain({&character, 1})) character = '.';
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace explain
