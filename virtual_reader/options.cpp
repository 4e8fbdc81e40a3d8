#include "options.h"

#include <ostream>

#include <CLI/CLI.hpp>

#include "desk_control.h"

namespace virtual_reader {
namespace {

// In the order of --help.
constexpr OptionRow rows[] = {
    {"--deck", "FILE", &Options::deck,
     "JSON file with the reader's settings and cards; one is built in"},
    {"--show-deck", nullptr, &Options::show_deck, "Print the built-in deck and end"},
    {"--card", "NAME", &Options::card,
     "Put this card of the deck into the reader at the beginning"},
    {"--replay", "FILE", &Options::recording,
     "Be the reader of a recording that \"deskreader record\" made, and say on standard error "
     "where "
     "the host strays from it"},
    {"--vpcd", "HOST:PORT", &Options::vpcd,
     "Instead of a pseudo-terminal: connect the card to vsmartcard's vpcd, for PC/SC programs. It "
     "is the card in slot 0, or that of --card"},
    {"--vpcd-listen", "HOST:PORT", &Options::vpcd_listen,
     "The same, for a vpcd that connects by itself"},
    {"--usb", nullptr, &Options::usb,
     "Be a USB device of this machine instead: needs root and the kernel module vhci-hcd (modprobe "
     "vhci-hcd); prints USB when the host has found it"},
    {"--true-timing", nullptr, &Options::true_timing,
     "Take the time that bytes take on a real line: ten bits a byte at the reader's rate"},
};

constexpr const char* about =
    "A card reader with cards in it, in software, on a pseudo-terminal.\n"
    "Prints the device to open, then serves until its standard input ends.";

constexpr const char* examples =
    "Examples:\n"
    "  virtual-reader                              the built-in deck; open the printed device\n"
    "  virtual-reader --show-deck > my.json        a deck to begin with\n"
    "  virtual-reader --deck my.json               your own cards\n"
    "  virtual-reader --replay purchase.rec        the reader of a recording\n";

constexpr const char* statuses =
    "Exit status:\n"
    "  0  ended by quit, by the end of standard input or by a signal\n"
    "  1  the deck is wrong, or what was asked for cannot be had\n"
    "  2  the command line is wrong\n"
    "  3  the host strayed from the recording\n";

std::string closing() {
    return "Commands, a line each, on standard input:\n" + desk_commands() + "\n" + examples +
           "\n" + statuses;
}

void add_options(CLI::App& app, Options& options) {
    for (const OptionRow& row : rows) {
        if (const auto* flag = std::get_if<bool Options::*>(&row.member)) {
            app.add_flag(row.name, options.**flag, row.help);
        } else {
            app.add_option(row.name, options.*std::get<std::string Options::*>(row.member),
                           row.help)
                ->option_text(row.value);
        }
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
    add_options(app, options);
    try {
        app.parse(argc, argv);
        return options;
    } catch (const CLI::ParseError& error) {
        status = app.exit(error, output, errors) == 0 ? ended : misused;
        return std::nullopt;
    }
}

}  // namespace virtual_reader
