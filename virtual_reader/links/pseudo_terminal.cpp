#include "links/pseudo_terminal.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace virtual_reader {

PseudoTerminal open_pseudo_terminal() {
    std::array<char, 128> name{};
    PseudoTerminal terminal;
    terminal.master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal.master < 0 || grantpt(terminal.master) != 0 || unlockpt(terminal.master) != 0 ||
        ptsname_r(terminal.master, name.data(), name.size()) != 0) {
        const int error = errno;
        if (terminal.master >= 0) close(terminal.master);
        throw std::system_error(error, std::generic_category(), "pseudo-terminal");
    }
    terminal.device = name.data();
    return terminal;
}

}  // namespace virtual_reader
