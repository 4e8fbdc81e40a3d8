// deskreader: the reader from a command line. A host like any other: it knows the library by its
// public header alone.
#include <algorithm>
#include <clocale>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command_table.h"
#include "errors.h"
#include "exit_status.h"
#include "help.h"
#include "waiting.h"

namespace {

using namespace desk_tool;

// The group of a name, which is added when its first command is.
CLI::App& group_of(CLI::App& app, const std::string& name) {
    const std::size_t end = name.rfind(' ');
    if (end == std::string::npos) return app;
    const std::string path = name.substr(0, end);
    CLI::App& above = group_of(app, path);
    const std::string own = path.substr(path.rfind(' ') + 1);
    const auto known =
        above.get_subcommands([&](const CLI::App* one) { return one->get_name() == own; });
    if (!known.empty()) return *known.front();
    const auto group = std::ranges::find(all_groups(), path, &Group::name);
    CLI::App* added = above.add_subcommand(own, group->help);
    added->require_subcommand(1);
    return *added;
}

CLI::App* add_command(CLI::App& app, const Command& command, Options& options) {
    const std::string name = command.name;
    CLI::App* added =
        group_of(app, name).add_subcommand(name.substr(name.rfind(' ') + 1), command.help);
    if (command.examples != nullptr) added->footer(examples_of(command));
    if (command.add_options != nullptr) command.add_options(*added, options);
    return added;
}

// How links were named before they had schemes, and still may be.
struct ShortForms {
    bool usb = false;
    std::string port;
    std::string deck;
    CLI::Option* port_option = nullptr;
    CLI::Option* virtual_option = nullptr;

    // Empty if none was used.
    std::string link() const {
        if (virtual_option->count() > 0) return (usb ? "virtual-usb:" : "virtual:") + deck;
        if (usb) return "hid:";
        return port_option->count() > 0 ? "serial:" + port : "";
    }
};

std::string complaint_about_link(const std::string& text) {
    try {
        link_from(text);
        return "";
    } catch (const MisuseError& error) {
        return error.what();
    }
}

void add_links(CLI::App& app, LinkOptions& link, ShortForms& forms) {
    auto* named = app.add_option("--link", link.link,
                                 "Which reader: hid:, serial:ttyS1, virtual:[DECK], "
                                 "virtual-usb:[DECK], replay:FILE (DESKREADER_LINK, else hid:)")
                      ->type_name("LINK")
                      ->check(CLI::Validator(complaint_about_link, ""));
    auto* usb = app.add_flag("--usb", forms.usb,
                             "Short for --link hid:; with --virtual, for virtual-usb:...");
    forms.port_option = app.add_option("--port", forms.port, "Short for --link serial:...");
    forms.port_option->type_name("DEVICE");
    forms.virtual_option =
        app.add_option("--virtual", forms.deck, "Short for --link virtual:...")->expected(0, 1);
    forms.virtual_option->type_name("FILE");
    for (CLI::Option* form : {usb, forms.port_option, forms.virtual_option})
        form->excludes(named);
    forms.port_option->excludes(usb);
    forms.virtual_option->excludes(forms.port_option);
    app.add_option("--card", link.card, "Put this card of the deck into the virtual reader");
    app.add_option("--baud", link.baud, "Rate of the serial device (9600)")
        ->check(CLI::Range(1200, 115200));
}

void add_global_options(CLI::App& app, Options& options, ShortForms& forms) {
    add_links(app, options.link, forms);
    app.add_option("--timeout", options.timeout_s,
                   "Seconds to wait for a card (10), 0 waits without end")
        ->check(CLI::Range(0, 1000000));
    app.add_flag("--json", options.json, "Print one JSON object");
}

int attempt(const Command& command, const Options& options, Output& output) {
    try {
        command.run(options, output);
        return output.status();
    } catch (const ReaderError& error) {
        output.failure(error);
    } catch (const MisuseError& error) {
        output.failure(error.what());
        return misused;
    } catch (const std::exception& error) {
        output.failure(error.what());
    }
    return interrupted() ? interrupted_waiting : failed;
}

int run(const Command& command, Options& options) {
    std::optional<Interruption> interruption;
    if (!command.leaves_signals) interruption.emplace();
    Output output(options.json);
    ReplayReport report;
    options.link.replay_report = &report;
    options.link.default_card = command.virtual_card;
    int status = attempt(command, options, output);
    if (report.strayed) output.strays(report.words);
    if (report.strayed && status == succeeded) status = strayed;
    return output.finish() ? status : failed;
}

int explain(const CLI::App& app, const CLI::ParseError& error) {
    const bool wrong = app.exit(error) != 0;
    if (!(std::cout << std::flush)) {
        std::cerr << "deskreader: the output could not be written\n";
        return failed;
    }
    return wrong ? misused : succeeded;
}

// The words behind "help" are no commands to run. Empty for all other command lines.
std::vector<std::string> take_topic(std::vector<std::string>& words) {
    const auto help =
        std::ranges::find_if(words, [](const std::string& word) { return word != "--json"; });
    if (help == words.end() || *help != "help") return {};
    const auto is_word = [](const std::string& word) { return !word.starts_with('-'); };
    const auto end = std::find_if_not(help + 1, words.end(), is_word);
    std::vector<std::string> topic(help + 1, end);
    words.erase(help + 1, end);
    return topic;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    CLI::App app{"The card reader on the command line.", "deskreader"};
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(closing_words());
    Options options;
    options.app = &app;
    ShortForms forms;
    add_global_options(app, options, forms);
    std::vector<CLI::App*> added;
    for (const Command& command : all_commands())
        added.push_back(add_command(app, command, options));
    std::vector<std::string> words(argv + 1, argv + argc);
    options.topic = take_topic(words);
    std::ranges::reverse(words);  // as it is wanted there
    try {
        app.parse(words);
    } catch (const CLI::ParseError& error) {
        return explain(app, error);
    }
    const auto given = std::ranges::find_if(added, &CLI::App::parsed);
    if (given == added.end()) return misused;
    if (const std::string link = forms.link(); !link.empty()) options.link.link = link;
    return run(all_commands()[static_cast<std::size_t>(given - added.begin())], options);
}
