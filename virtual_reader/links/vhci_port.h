// The USB controller in software that Linux has (module vhci-hcd), into which a program can plug
// devices of its own. Only root may, and has to load the module first.
#pragma once

#include <string>

namespace virtual_reader {

inline constexpr char vhci_directory[] = "/sys/devices/platform/vhci_hcd.0";

// Plugs a full-speed device into a free port. Returns a stream on which the controller speaks
// USB/IP to the device; closing it takes the device out again. Throws std::runtime_error with what
// a person can do about it.
int plug_into_vhci(const std::string& directory);

inline int plug_into_this_machine() {
    return plug_into_vhci(vhci_directory);
}

}  // namespace virtual_reader
