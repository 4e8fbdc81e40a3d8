// What doctor looks at. Each check adds what it found, and what to do about it.
#pragma once

#include <string>
#include <vector>

#include "link.h"

namespace desk_tool::doctor {

enum class State { ok, warning, problem };

struct Finding {
    State state;
    const char* subject;
    std::string text;
    std::string advice;  // empty if there is nothing to do
};

using Findings = std::vector<Finding>;

// The library that this program got, its directory, and the libraries that it works with.
void check_library(Findings& findings);
void check_companions(Findings& findings);

// config.ini as the library reads it, line by line.
void check_config(const std::string& path, Findings& findings);

// The folder of the daily logs. Whether the library can log at all: it must not be let to if not,
// because it would wait for ever.
bool check_log(const std::string& directory, int level, Findings& findings);

// The rule that gives the reader to the desk's user.
void check_udev_rule(Findings& findings);

// The reader on USB and the serial ports, with who may use them.
void check_usb(bool needed, Findings& findings);
void check_serial_ports(Findings& findings);

// Which link is used, and whether a reader answers there.
void check_link(const LinkOptions& options, Findings& findings);
void check_reader(const LinkOptions& options, Findings& findings);

}  // namespace desk_tool::doctor
