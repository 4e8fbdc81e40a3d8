// What the program virtual-reader can be told on its command line.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace virtual_reader {

struct Options {
    std::string deck;  // file; empty: the built-in one
    bool show_deck = false;
    bool usb = false;
    bool check = false;
    std::string card;
    std::string recording;    // file to be the reader of; empty: one with cards
    std::string control;      // path of a socket
    std::string vpcd;         // HOST:PORT to connect to
    std::string vpcd_listen;  // HOST:PORT to listen at
    bool true_timing = false;
};

// A row of --help, and of the manual.
struct OptionRow {
    const char* name;
    const char* value;  // what stands behind the name; nullptr for a switch
    std::variant<bool Options::*, std::string Options::*> member;
    const char* help;
};

std::span<const OptionRow> option_rows();

enum ExitStatus { ended = 0, failed = 1, misused = 2, strayed = 3 };

// The options of a command line; none if the program has no more to do, and then `status` is what
// it ends with. Help goes to `output`, and what is wrong to `errors`.
std::optional<Options> read_options(int argc, const char* const* argv, std::ostream& output,
                                    std::ostream& errors, int& status);

}  // namespace virtual_reader
