// All commands of the tool, and the groups that some of them stand in. Help, completion and their
// tests go by this table.
#pragma once

#include <span>

#include "commands.h"

namespace desk_tool {

struct Group {
    const char* name;
    const char* help;
};

std::span<const Command> all_commands();
std::span<const Group> all_groups();

}  // namespace desk_tool
