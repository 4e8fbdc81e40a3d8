// A pseudo-terminal: the end that a program serves, and the name of the one that a host opens.
#pragma once

#include <string>

namespace virtual_reader {

struct PseudoTerminal {
    int master = -1;
    std::string device;
};

// The caller closes the master. Throws std::system_error if there is none to be had.
PseudoTerminal open_pseudo_terminal();

}  // namespace virtual_reader
