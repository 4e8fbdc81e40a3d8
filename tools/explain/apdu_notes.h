// Commands and responses of cards in words.
#pragma once

#include <optional>

#include "bytes.h"
#include "note.h"

namespace explain {

// What earlier traffic says of what follows: the lists by which a card wants its data.
struct CardContext {
    Bytes processing_options;  // PDOL
    Bytes risk_management_1;   // CDOL1
    Bytes risk_management_2;   // CDOL2
    Bytes log_format;
    std::uint8_t instruction = 0;  // of the last command
    std::size_t cryptograms = 0;   // that were asked for since the last selection

    // Keeps the lists that stand among data objects.
    void learn(View objects);
};

// The instruction's name, "SELECT"; empty for one without.
std::string instruction_name(View command);

// Whether it looks like a command: with a known instruction of a usual class, as long as it says.
bool is_command(View bytes);

// One line's worth: "SELECT A000000333010101 UnionPay debit".
std::string command_title(View command);

Note explain_command(View command, CardContext* context = nullptr);
Note explain_response(View response, CardContext* context = nullptr);

}  // namespace explain
