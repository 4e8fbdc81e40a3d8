// What a person does at the desk, as lines of text.
//
//   insert NAME [slot N]   puts a card into the reader, or where its kind belongs: the field, the
//   ID
//                          module; a magnetic card is swiped, again and again until it is removed
//   remove NAME            takes it out
//   fault KIND [NAME VALUE ...]   from now on one of its answers goes wrong (see faults/fault.h):
//                          "fault corrupt after 2 at 5 bytes FF"
//   fault none             its answers are right again
//   unplug, plug           takes the reader off its line, and puts it back
//   status                 cards and counters
//   help                   this list
//   quit                   ends the program
#pragma once

#include <string>
#include <string_view>

#include "reader.h"

namespace virtual_reader {

// The commands and what they do, as "help" tells them.
std::string desk_commands();

struct ControlAnswer {
    std::string text;  // lines for the person, each with its end
    bool quit = false;
};

// Does what a line says. A line that makes no sense is answered with what would, and one that could
// not be carried out with why.
ControlAnswer control(Reader& reader, std::string_view line);

}  // namespace virtual_reader
