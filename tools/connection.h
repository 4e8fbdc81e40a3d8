// The reader that the command line names, opened for as long as this object lives.
#pragma once

#include <optional>
#include <string>

#include "virtual_process.h"

namespace desk_tool {

struct LinkOptions {
    bool use_usb = false;  // also what is used when nothing is named; or where the virtual one is
    std::string port;      // serial device
    int baud = 9600;
    bool use_virtual = false;
    std::string deck;  // of the virtual reader; empty for its built-in one
    std::string card;  // of the deck, to put into the reader; empty for what is in it
};

class Connection {
  public:
    // Throws ReaderError when the reader cannot be opened.
    explicit Connection(const LinkOptions& options);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // "USB" or the device's name.
    const std::string& name() const { return name_; }

    // The virtual reader at the other end. Throws ToolError if there is none.
    VirtualProcess& virtual_reader();

  private:
    std::optional<VirtualProcess> virtual_;
    std::string name_;
};

}  // namespace desk_tool
