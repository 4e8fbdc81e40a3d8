#include "recording.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace virtual_reader {
namespace {

constexpr std::string_view first_line = "# deskreader recording 1";
constexpr std::string_view any_byte = "??";
constexpr std::uintmax_t max_file = 32u << 20;
constexpr std::size_t max_lines = 1'000'000;
constexpr std::size_t max_chunk = 65536;

// Takes the first word off a line; words are parted by single blanks.
std::string_view take_word(std::string_view& line) {
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

// One line of a file, and where it stands for those who read of its mistakes.
class LineParser {
  public:
    LineParser(std::string_view line, const std::string& source, std::size_t number)
        : rest_(line), source_(source), number_(number) {}

    RecordedLine parse(RecordedLink link) {
        RecordedLine line;
        line.number = number_;
        line.kind = kind_of(take_word(rest_));
        line.microseconds = time_of(take_word(rest_));
        line.link = line.kind == RecordedLine::Kind::opened ? link_of(take_word(rest_)) : link;
        if (line.kind == RecordedLine::Kind::sent || line.kind == RecordedLine::Kind::received)
            line.pattern = pattern_of(rest_, line.kind == RecordedLine::Kind::sent);
        return line;
    }

  private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw RecordingError(source_ + ": line " + std::to_string(number_) + ": " + what);
    }

    RecordedLine::Kind kind_of(std::string_view word) const {
        if (word == "+") return RecordedLine::Kind::opened;
        if (word == "-") return RecordedLine::Kind::closed;
        if (word == ">") return RecordedLine::Kind::sent;
        if (word == "<") return RecordedLine::Kind::received;
        refuse("expected +, -, > or < and a blank");
    }

    std::uint64_t time_of(std::string_view word) const {
        std::uint64_t time = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), time);
        if (error != std::errc{} || end != word.data() + word.size())
            refuse("expected microseconds");
        return time;
    }

    RecordedLink link_of(std::string_view word) const {
        if (word == "serial") return RecordedLink::serial;
        if (word == "usb") return RecordedLink::usb;
        refuse("expected serial or usb");
    }

    Pattern pattern_of(std::string_view text, bool may_be_anything) const {
        if (text.empty()) refuse("expected pairs of hexadecimal digits");
        if (text.size() / 2 > max_chunk) refuse("more than 65536 bytes at once");
        std::string digits(text);
        Pattern pattern;
        for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
            const bool any = may_be_anything && text.substr(at, 2) == any_byte;
            if (any) digits.replace(at, 2, "00");
            pattern.known.push_back(!any);
        }
        try {
            pattern.bytes = from_hex(digits);
        } catch (const std::invalid_argument&) {
            refuse("expected pairs of hexadecimal digits");
        }
        return pattern;
    }

    std::string_view rest_;
    const std::string& source_;
    std::size_t number_;
};

std::string_view without_return(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

}  // namespace

bool Pattern::agrees_with(View other) const {
    const std::size_t count = std::min(bytes.size(), other.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (known[i] && bytes[i] != other[i]) return false;
    }
    return true;
}

std::string_view recording_header() {
    return "# deskreader recording 1\n"
           "# What went over the wire between a host and its card reader, one event a line:\n"
           "#   + TIME serial|usb NAME   the host opened the reader\n"
           "#   > TIME HEX               the host sent this: a chunk of bytes on a serial line,\n"
           "#                            a report of HID on USB, as hidapi is given it\n"
           "#   < TIME HEX               the host received this, likewise\n"
           "#   - TIME                   the host closed the reader\n"
           "# TIME is in microseconds since the recording began, HEX has two digits a byte. In "
           "what\n"
           "# the host sends, ?? is any byte: write it for times and random numbers. Lines that\n"
           "# begin with # and empty ones mean nothing, but for the first.\n"
           "# \"virtual-reader --replay FILE\" is the reader of this file.\n";
}

std::string_view masked_recording_note() {
    return "# Masked: card numbers, tracks, PINs, keys and the text of identity cards are not in\n"
           "# it. Lengths and check bytes are kept; what the host sent of them is ??.\n";
}

std::string opened_line(RecordedLink link, std::uint64_t microseconds, std::string_view name) {
    return "+ " + std::to_string(microseconds) +
           (link == RecordedLink::usb ? " usb " : " serial ") + std::string(name) + "\n";
}

std::string traffic_line(RecordedLine::Kind kind, std::uint64_t microseconds,
                         const Pattern& pattern) {
    std::string line = kind == RecordedLine::Kind::sent ? "> " : "< ";
    line += std::to_string(microseconds) + " ";
    for (std::size_t i = 0; i < pattern.bytes.size(); ++i)
        line += pattern.known[i] ? to_hex(View(pattern.bytes).subspan(i, 1)) : any_byte;
    return line + "\n";
}

std::string closed_line(std::uint64_t microseconds) {
    return "- " + std::to_string(microseconds) + "\n";
}

std::vector<RecordedLine> read_recording(std::string_view text, const std::string& source) {
    if (!text.starts_with(first_line)) {
        throw RecordingError(source + ": is no recording: those begin with \"" +
                             std::string(first_line) + "\"");
    }
    std::vector<RecordedLine> lines;
    RecordedLink link = RecordedLink::serial;
    for (std::size_t number = 1; !text.empty(); ++number) {
        if (number > max_lines) throw RecordingError(source + ": more than a million lines");
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = without_return(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.starts_with('#')) continue;
        lines.push_back(LineParser(line, source, number).parse(link));
        link = lines.back().link;
    }
    return lines;
}

std::vector<RecordedLine> read_recording_file(const std::string& path) {
    std::error_code error;
    const auto kind = std::filesystem::status(path, error).type();
    if (kind == std::filesystem::file_type::directory)
        throw RecordingError(path + ": is a directory");
    if (kind != std::filesystem::file_type::regular)
        throw RecordingError(path + ": cannot be read");
    if (std::filesystem::file_size(path, error) > max_file)
        throw RecordingError(path + ": is longer than 32 MiB");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw RecordingError(path + ": cannot be read");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return read_recording(text, path);
}

}  // namespace virtual_reader
