#include "mask_text.h"

#include <algorithm>

#include "mask.h"
#include "mask_values.h"
#include "tlv.h"

namespace explain {
namespace {

// Values that the library logs with card data or identity text in them, up to the next value or the
// end of the line.
constexpr std::string_view secret_values[] = {
    "szIdentityInfo", "szTrack2data", "szTrack3data", "pszUserInfo",    "pszTxData",
    "pszARQC",        "pszARPC",      "pszTC",        "pszIcc_appdata", "g_IccAppData",
    "TxDetail",       "szInData",     "szInBuf",      "szOutBuf",       "szOutData",
};

// Lines of the library's card commands, with the whole command or response.
constexpr std::string_view apdu_line = "PBOC_IcAPDU sz";

constexpr std::string_view raw_command = "Cmd: ";
constexpr std::size_t shortest_hex = 8;
constexpr std::size_t longest_number = 19;  // of a card

bool is_word(char character) {
    return character == '_' || (character >= '0' && character <= '9') ||
           (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

// Where the value of a name begins, or npos.
std::size_t value_of(std::string_view line, std::string_view name) {
    for (std::size_t at = 0; (at = line.find(name, at)) != line.npos; at += name.size()) {
        const bool alone = at == 0 || !is_word(line[at - 1]);
        const std::size_t sign = line.find_first_not_of(' ', at + name.size());
        if (alone && sign != line.npos && line[sign] == '=')
            return std::min(line.size(), line.find_first_not_of(' ', sign + 1));
    }
    return line.npos;
}

// Where ", name = " goes on, or the end.
std::size_t end_of_value(std::string_view line, std::size_t begin) {
    for (std::size_t at = begin; (at = line.find(", ", at)) != line.npos; at += 2) {
        std::size_t end = at + 2;
        while (end < line.size() && is_word(line[end]))
            ++end;
        if (end > at + 2 && line.substr(end).starts_with(" = ")) return at;
    }
    return line.size();
}

void hide(std::string& line, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
        if (line[i] != ' ' && line[i] != '\r' && line[i] != '\n') line[i] = '*';
    }
}

void hide_values(std::string& line) {
    for (const std::string_view name : secret_values) {
        const std::size_t begin = value_of(line, name);
        if (begin != line.npos) hide(line, begin, end_of_value(line, begin));
    }
}

// A command as raw bytes, keys and tracks among them. What follows the escape character and a
// letter that reads is harmless.
void hide_raw_command(std::string& line) {
    const std::size_t at = line.find(raw_command);
    if (at == line.npos) return;
    const std::size_t begin = at + raw_command.size();
    const std::size_t size = line.find(", CmdSize = ", begin);
    const std::size_t end = size == line.npos ? line.size() : size;
    const bool writes = line.substr(begin, 2) == "\033t";
    if (line[begin == line.size() ? begin - 1 : begin] == '\033' && !writes) return;
    hide(line, begin + (writes ? 2 : 0), end);
}

bool is_hex(char character) {
    return digit_value(character) >= 0;
}

bool is_decimal(char character) {
    return character >= '0' && character <= '9';
}

void mask_run(std::string& line, std::size_t begin, std::size_t end,
              const std::function<Bytes(View)>& mask_objects) {
    const std::string run = line.substr(begin, end - begin);
    const bool decimal = std::ranges::all_of(run, is_decimal);
    if (!(decimal && run.size() <= longest_number)) {
        const Bytes bytes = bytes_of_hex(run);
        if (!bytes.empty() && is_objects(bytes, Strictness::cut)) {
            line.replace(begin, run.size(), hex(mask_objects(bytes)));
            return;
        }
    }
    mask_long_numbers({reinterpret_cast<std::uint8_t*>(line.data()) + begin, end - begin});
}

}  // namespace

Bytes bytes_of_hex(std::string_view text) {
    if (text.size() % 2 != 0 || !std::ranges::all_of(text, is_hex)) return {};
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(
            static_cast<std::uint8_t>(digit_value(text[i]) << 4 | digit_value(text[i + 1])));
    }
    return bytes;
}

std::string mask_line(std::string_view line, const std::function<Bytes(View)>& mask_objects) {
    std::string text(line);
    hide_values(text);
    hide_raw_command(text);
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && is_hex(text[end]))
            ++end;
        if (end - at >= shortest_hex) mask_run(text, at, end, mask_objects);
        at = end + 1;
    }
    return text;
}

// In such lines "In" goes to the card, "Out" comes from it. Empty for any other line.
std::string Mask::apdu_text(std::string_view line) {
    const std::size_t at = line.find(apdu_line);
    if (at == line.npos) return {};
    const std::size_t begin = value_of(line, line.substr(at + 12, line.find(" =", at) - at - 12));
    if (begin == line.npos) return {};
    const std::size_t end = std::min(line.find_first_of("\r\n", begin), line.size());
    const Bytes bytes = bytes_of_hex(line.substr(begin, end - begin));
    if (bytes.empty()) return {};
    const bool is_command = line.substr(at + apdu_line.size()).starts_with("In");
    std::string text(line);
    return text.replace(begin, end - begin, hex(is_command ? command(bytes) : response(bytes)));
}

std::string Mask::text(std::string_view line) {
    if (std::string known = apdu_text(line); !known.empty()) return known;
    return mask_line(line, [this](View bytes) { return objects(bytes); });
}

}  // namespace explain
