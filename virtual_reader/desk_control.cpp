#include "desk_control.h"

#include <charconv>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace virtual_reader {
namespace {

using Words = std::vector<std::string>;

Words words_of(std::string_view line) {
    std::istringstream stream{std::string(line)};
    Words words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

int slot_number(const std::string& word) {
    int number = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size() || number < 0 || number > 31) {
        throw std::invalid_argument("a slot is a number from 0 to 31, not " + word);
    }
    return number;
}

// Nothing of a reader that never misbehaved.
std::string status_of(const FaultScript& faults) {
    if (faults.waiting() == 0 && faults.spoiled() == 0 && faults.is_plugged()) return {};
    std::ostringstream text;
    text << "faults waiting: " << faults.waiting() << ", answers spoiled: " << faults.spoiled()
         << (faults.is_mute() ? ", mute" : "") << (faults.is_plugged() ? "" : ", unplugged")
         << '\n';
    return text.str();
}

std::string status_of(const Reader& reader) {
    const ReaderCounts& counts = reader.counts();
    std::ostringstream text;
    text << reader.describe() << "requests: " << counts.requests << ", beeps: " << counts.beeps
         << ", resets: " << counts.resets << ", rejected frames: " << reader.stream().rejected()
         << ", noise bytes: " << reader.stream().noise() << ", baud: " << reader.baud() << '\n'
         << status_of(reader.faults());
    return text.str();
}

// What a command has to say, in lines; most have nothing.
using Run = std::string (*)(Reader&, const Words&);

template <auto action>
std::string do_it(Reader& reader, const Words& words) {
    action(reader, words);
    return {};
}

// In a command's words small letters stand for themselves, capitals for any word, and dots for any
// number of words.
struct Row {
    std::string_view words;
    std::string_view help;
    Run run;
};

constexpr Row rows[] = {
    {"insert NAME",
     "puts a card where its kind belongs: slot 0, the field, the ID module;\n"
     "a magnetic card is swiped, again and again until it is removed",
     do_it<[](Reader& reader, const Words& words) { reader.insert(words[1]); }>},
    {"insert NAME slot N", "puts a contact card into another slot, 0 to 31",
     do_it<[](Reader& reader, const Words& words) {
         reader.insert(words[1], slot_number(words[3]));
     }>},
    {"insert NAME beside",
     "puts a contactless card into the field where another one is: the\n"
     "reader powers neither until one is taken away",
     do_it<[](Reader& reader, const Words& words) { reader.insert_beside(words[1]); }>},
    {"swap OLD NEW", "takes a card out and puts another one in its place",
     do_it<[](Reader& reader, const Words& words) { reader.swap(words[1], words[2]); }>},
    {"remove NAME", "takes a card out",
     do_it<[](Reader& reader, const Words& words) { reader.remove(words[1]); }>},
    {"empty", "takes all cards out",
     do_it<[](Reader& reader, const Words&) { reader.remove_all(); }>},
    {"list", "tells where each card is",
     [](Reader& reader, const Words&) { return reader.describe(); }},
    {"fault none", "the reader's answers are right again",
     do_it<[](Reader& reader, const Words&) { reader.faults().clear(); }>},
    {"fault KIND ...", "one of its answers goes wrong; help faults tells how",
     do_it<[](Reader& reader, const Words& words) {
         reader.faults().add(fault_from_words({words.begin() + 1, words.end()}));
     }>},
    {"unplug", "takes the reader off its line",
     do_it<[](Reader& reader, const Words&) { reader.faults().unplug(); }>},
    {"plug", "puts it back; it begins anew, with its cards where they are",
     do_it<[](Reader& reader, const Words&) { reader.plug_in(); }>},
    {"status", "cards and counters",
     [](Reader& reader, const Words&) { return status_of(reader); }},
    {"help", "this list", [](Reader&, const Words&) { return desk_commands(); }},
    {"help faults", "what can go wrong, and when",
     [](Reader&, const Words&) { return fault_help(); }},
    {"quit", "ends the program", do_it<[](Reader&, const Words&) {}>},
};

bool fits(const Words& pattern, const Words& words) {
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] == "...") return true;
        const bool is_any = pattern[at][0] >= 'A' && pattern[at][0] <= 'Z';
        if (at >= words.size() || (!is_any && pattern[at] != words[at])) return false;
    }
    return pattern.size() == words.size();
}

// What would have been right for a command that is not.
[[noreturn]] void refuse(const std::string& command) {
    std::string forms;
    for (const Row& row : rows) {
        if (words_of(row.words)[0] != command) continue;
        forms += (forms.empty() ? "" : ", or ") + std::string(row.words);
    }
    if (forms.empty())
        throw std::invalid_argument("no command is named " + command + "; help tells them");
    throw std::invalid_argument("expected " + forms);
}

const Row& row_of(const Words& words) {
    for (const Row& row : rows) {
        if (fits(words_of(row.words), words)) return row;
    }
    refuse(words[0]);
}

std::string indented(const std::string& lines) {
    std::istringstream stream(lines);
    std::string text;
    for (std::string line; std::getline(stream, line);)
        text += "  " + line + '\n';
    return text;
}

// A word, or words, and what they are about, in two columns.
void append_entry(std::string& text, std::string_view words, std::string_view help) {
    constexpr std::size_t column = 20;
    std::string begin(words);
    std::istringstream lines{std::string(help)};
    for (std::string line; std::getline(lines, line); begin.clear()) {
        begin.resize(column, ' ');
        text += begin + line + '\n';
    }
}

}  // namespace

std::string desk_commands() {
    std::string text;
    for (const Row& row : rows)
        append_entry(text, row.words, row.help);
    return text;
}

std::string fault_help() {
    std::string text =
        "fault KIND [after N] [times N] [at N] [count N] [ms N] [bytes HEX]\n"
        "spoils an answer: the next one, or that after N others; as many as TIMES says (1),\n"
        "all for 0. Several faults may wait at a time.\n";
    for (const FaultKind& kind : fault_kinds())
        append_entry(text, kind.name, kind.help);
    return text;
}

ControlAnswer control(Reader& reader, std::string_view line) {
    const Words words = words_of(line);
    if (words.empty()) return {};
    try {
        const Row& row = row_of(words);
        return {indented(row.run(reader, words)) + "ok\n", row.words == "quit"};
    } catch (const std::exception& error) {
        return {"error " + std::string(error.what()) + "\n"};
    }
}

}  // namespace virtual_reader
