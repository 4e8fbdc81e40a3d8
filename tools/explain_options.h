// What "decode" and "log" are told on the command line.
#pragma once

#include <string>
#include <vector>

namespace desk_tool {

struct ExplainOptions {
    std::vector<std::string> typed;  // of "decode"
    std::string kind;                // "tlv", "atr", "apdu", "frame", or found out
    std::string file;                // of "log"
    bool timeline = false;
    bool unmasked = false;
};

}  // namespace desk_tool
