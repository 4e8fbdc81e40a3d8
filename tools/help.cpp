#include "help.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "errors.h"
#include "exit_status.h"

namespace desk_tool {
namespace {

constexpr char about_links[] =
    "A link is the way to a reader:\n"
    "  hid:              the reader on USB; used when nothing is named\n"
    "  serial:DEVICE     a reader on a serial device: serial:ttyS1, serial:/dev/ttyUSB0\n"
    "  virtual:          a virtual reader with built-in cards, for as long as the command runs\n"
    "  virtual:DECK      the same with the cards of a JSON file\n"
    "  replay:FILE       the reader of a recording, which \"deskreader record\" made\n"
    "--link names one; without it DESKREADER_LINK in the environment does. --usb, --port and\n"
    "--virtual are short forms, and go before the environment like --link.\n";

struct Topic {
    const char* name;
    std::string (*text)();
};

std::string about_exit_codes() {
    return "Exit codes:\n" + exit_table();
}

constexpr Topic topics[] = {
    {"links", [] { return std::string(about_links); }},
    {"exit-codes", about_exit_codes},
};

const CLI::App* find(const CLI::App& app, const std::vector<std::string>& path) {
    const CLI::App* found = &app;
    for (const std::string& word : path) {
        const auto below =
            found->get_subcommands([&](const CLI::App* one) { return one->get_name() == word; });
        if (below.empty()) return nullptr;
        found = below.front();
    }
    return found;
}

}  // namespace

std::string examples_of(const Command& command) {
    std::string text = "Examples:";
    std::string rest = command.examples;
    while (!rest.empty()) {
        const std::string line = rest.substr(0, rest.find('\n'));
        rest.erase(0, line.size() + 1);
        text += "\n  deskreader " + line;
    }
    return text;
}

std::string closing_words() {
    return "Exit codes:\n" + exit_table() +
           "\n\"deskreader help COMMAND\" has examples, \"deskreader help links\" the ways to a "
           "reader.";
}

void run_help(const Options& options, Output& output) {
    for (const Topic& topic : topics) {
        if (options.topic == std::vector<std::string>{topic.name})
            return output.text("help", topic.text());
    }
    const CLI::App* found = find(*options.app, options.topic);
    if (found == nullptr)
        throw MisuseError(fmt::format("there is no help on {}", fmt::join(options.topic, " ")));
    std::string above;
    for (const CLI::App* one = found->get_parent(); one != nullptr; one = one->get_parent())
        above = one->get_name() + (above.empty() ? "" : " ") + above;
    const std::string name = above.empty() ? found->get_name() : above + " " + found->get_name();
    const auto formatter = found->get_formatter();
    output.text("help", formatter->make_help(found, name, CLI::AppFormatMode::Normal));
}

}  // namespace desk_tool
