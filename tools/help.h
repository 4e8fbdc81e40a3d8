// What the tool says of itself.
#pragma once

#include <string>

#include "commands.h"

namespace desk_tool {

// A command's examples, as they stand below its options.
std::string examples_of(const Command& command);

// What stands below the list of commands.
std::string closing_words();

}  // namespace desk_tool
