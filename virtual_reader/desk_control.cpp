#include "desk_control.h"

#include <charconv>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace virtual_reader {
namespace {

constexpr std::string_view commands =
    "insert NAME [slot N]   puts a card into the reader, or where its kind belongs: the field, the "
    "ID\n"
    "                       module; a magnetic card is swiped, again and again until it is "
    "removed\n"
    "remove NAME            takes it out\n"
    "fault KIND [NAME VALUE ...]   one of its answers goes wrong; names: after, times, at, count,\n"
    "                       ms, bytes\n"
    "fault none             its answers are right again\n"
    "unplug, plug           takes the reader off its line, and puts it back\n"
    "status                 cards and counters\n"
    "help                   this list\n"
    "quit                   ends the program\n";

std::vector<std::string> words_of(std::string_view line) {
    std::istringstream stream{std::string(line)};
    std::vector<std::string> words;
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

void control_faults(FaultScript& faults, const std::vector<std::string>& words) {
    if (words.size() == 2 && words[1] == "none") return faults.clear();
    faults.add(fault_from_words({words.begin() + 1, words.end()}));
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

ControlAnswer carry_out(Reader& reader, const std::vector<std::string>& words) {
    const std::string& command = words[0];
    if (command == "insert" && words.size() == 2) {
        reader.insert(words[1]);
    } else if (command == "insert" && words.size() == 4 && words[2] == "slot") {
        reader.insert(words[1], slot_number(words[3]));
    } else if (command == "remove" && words.size() == 2) {
        reader.remove(words[1]);
    } else if (command == "fault") {
        control_faults(reader.faults(), words);
    } else if (command == "unplug" && words.size() == 1) {
        reader.faults().unplug();
    } else if (command == "plug" && words.size() == 1) {
        reader.plug_in();
    } else if (command == "status" && words.size() == 1) {
        return {status_of(reader)};
    } else if (command == "help" && words.size() == 1) {
        return {std::string(commands)};
    } else if (command == "quit" && words.size() == 1) {
        return {"", true};
    } else {
        return {"unknown command, expected one of\n" + std::string(commands)};
    }
    return {"ok\n"};
}

}  // namespace

std::string desk_commands() {
    return std::string(commands);
}

ControlAnswer control(Reader& reader, std::string_view line) {
    const auto words = words_of(line);
    if (words.empty()) return {};
    try {
        return carry_out(reader, words);
    } catch (const std::exception& error) {
        return {std::string(error.what()) + "\n"};
    }
}

}  // namespace virtual_reader
