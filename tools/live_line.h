// One line on standard error that is written over again and again, for people at a terminal;
// nothing anywhere else. What else is printed takes it away first.
#pragma once

#include <string>

namespace desk_tool::live_line {

void show(const std::string& text);
void clear();

}  // namespace desk_tool::live_line
