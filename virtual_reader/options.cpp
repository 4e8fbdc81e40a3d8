#include "options.h"

#include <ostream>

#include <CLI/CLI.hpp>

#include "desk_control.h"
#include "vpcd/door.h"

namespace virtual_reader {
namespace {

// In the order of --help.
constexpr OptionRow rows[] = {
    {"--deck", "FILE", &Options::deck,
     "The reader's settings and cards, in JSON; without it there is a built-in deck. The keys are "
     "told by deck.schema.json, which is installed in share/deskreader"},
    {"--show-deck", nullptr, &Options::show_deck, "Print the built-in deck, and end"},
    {"--check", nullptr, &Options::check, "Say what is wrong with the deck, if anything, and end"},
    {"--card", "NAME", &Options::card,
     "Put this card of the deck into the reader at the beginning"},
    {"--replay", "FILE", &Options::recording,
     "Be the reader of a recording that \"deskreader record\" made, and say on standard error "
     "where "
     "the host strays from it"},
    {"--control", "PATH", &Options::control,
     "Make a Unix-domain socket there that takes the same commands as standard input, from several "
     "programs at a time. Then the end of standard input is not the end"},
    {"--vpcd", "HOST:PORT", &Options::vpcd,
     "In place of the pseudo-terminal, be a card of vsmartcard's vpcd, which listens there (its "
     "usual port is 35963), for PC/SC programs: the card in slot 0, or that of --card"},
    {"--vpcd-listen", "HOST:PORT", &Options::vpcd_listen,
     "The same for a vpcd that connects; port 0 is a free one"},
    {"--usb", nullptr, &Options::usb,
     "In place of the pseudo-terminal, be a USB device of this machine: needs root and the kernel "
     "module vhci-hcd (modprobe vhci-hcd); prints USB when the host has found it"},
    {"--true-timing", nullptr, &Options::true_timing,
     "Take the time that bytes take on a real line: ten bits a byte at the reader's rate"},
};

constexpr const char* about =
    "A card reader with cards in it, in software. Prints the serial device to open, or\n"
    "where else it is to be found, then serves until its standard input ends.";

constexpr const char* examples =
    "Examples:\n"
    "  virtual-reader                        the built-in cards, on the device that it prints\n"
    "  virtual-reader --show-deck > my.json  a deck to begin with\n"
    "  virtual-reader --deck my.json --check\n"
    "  virtual-reader --deck my.json --card bank\n"
    "  virtual-reader --vpcd localhost:35963 --card bank   for pcscd, with vsmartcard-vpcd\n"
    "  virtual-reader --replay purchase.rec  the reader of a recording\n"
    "  virtual-reader --control /tmp/desk &  a reader that a test suite commands:\n"
    "  echo \"swap member bank\" | nc -UN /tmp/desk         prints ok\n";

constexpr const char* statuses =
    "Exit status:\n"
    "  0  ended by quit, by the end of standard input or by a signal; the deck is right\n"
    "  1  the deck is wrong, or what was asked for cannot be had\n"
    "  2  the command line is wrong\n"
    "  3  the host strayed from the recording\n";

constexpr const char* answers =
    "Commands, a line each, on standard input or at the control socket. The last line of\n"
    "an answer begins with \"ok\" or \"error\", lines before it are indented:\n";

std::string indented(const std::string& lines) {
    std::string text;
    for (std::size_t begin = 0, end; (end = lines.find('\n', begin)) != std::string::npos;
         begin = end + 1)
        text += "  " + lines.substr(begin, end + 1 - begin);
    return text;
}

std::string closing() {
    return answers + indented(desk_commands()) + "\nFaults:\n" + indented(fault_help()) + "\n" +
           examples + "\n" + statuses;
}

// Where --help breaks its lines.
constexpr std::size_t text_column = 28;
constexpr std::size_t text_width = 62;

// The library does not break lines by itself.
std::string broken(std::string text) {
    for (std::size_t begin = 0; text.size() - begin > text_width;) {
        const std::size_t blank = text.rfind(' ', begin + text_width);
        if (blank == std::string::npos || blank <= begin) break;
        text[blank] = '\n';
        begin = blank + 1;
    }
    return text;
}

// "HOST:PORT", or what is wrong with it.
std::string check_address(const std::string& text) {
    try {
        address_from_text(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

void add_options(CLI::App& app, Options& options) {
    for (const OptionRow& row : rows) {
        if (const auto* flag = std::get_if<bool Options::*>(&row.member)) {
            app.add_flag(row.name, options.**flag, broken(row.help));
            continue;
        }
        CLI::Option* option = app.add_option(
            row.name, options.*std::get<std::string Options::*>(row.member), broken(row.help));
        option->option_text(row.value);
        if (std::string_view(row.value) == "HOST:PORT") option->check(check_address);
    }
}

}  // namespace

std::span<const OptionRow> option_rows() {
    return rows;
}

std::optional<Options> read_options(int argc, const char* const* argv, std::ostream& output,
                                    std::ostream& errors, int& status) {
    Options options;
    CLI::App app{about, "virtual-reader"};
    app.footer(closing());
    app.get_formatter()->column_width(text_column);
    add_options(app, options);
    app.get_option("--vpcd")->excludes("--vpcd-listen");
    try {
        app.parse(argc, argv);
        return options;
    } catch (const CLI::ParseError& error) {
        status = app.exit(error, output, errors) == 0 ? ended : misused;
        return std::nullopt;
    }
}

}  // namespace virtual_reader
