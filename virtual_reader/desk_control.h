// What a person does at the desk, as lines of text, and what comes of it:
//
//   insert visitor              ok
//   list                          member: slot 0, powered
//                                 visitor: in the field, not powered
//                               ok
//   remove nobody               error no card is named nobody
//
// Every line but a blank one is answered, last by a line that begins with "ok" or "error"; lines
// before it are indented. desk_commands() tells the commands.
#pragma once

#include <string>
#include <string_view>

#include "reader.h"

namespace virtual_reader {

struct ControlAnswer {
    std::string text;  // lines, each with its end
    bool quit = false;
};

// The commands and what they do, and the same of faults; for people.
std::string desk_commands();
std::string fault_help();

// Does what a line says.
ControlAnswer control(Reader& reader, std::string_view line);

}  // namespace virtual_reader
