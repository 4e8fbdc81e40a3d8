// The virtual reader as a child process of the tool, for as long as this object lives.
#pragma once

#include <string>

#include <sys/types.h>

namespace desk_tool {

class VirtualProcess {
  public:
    // Starts virtual-reader with a deck, or with its built-in one, on USB or on a serial line.
    // Throws ToolError with the program's own words when it does not come up.
    VirtualProcess(const std::string& deck, bool on_usb);
    ~VirtualProcess();
    VirtualProcess(const VirtualProcess&) = delete;
    VirtualProcess& operator=(const VirtualProcess&) = delete;

    // The serial device that it serves, or "USB".
    const std::string& device() const { return device_; }

    // Puts a card of the deck into the reader, or takes it out. Throw ToolError with the reader's
    // own words.
    void insert(const std::string& card) const { tell("insert " + card); }
    void remove(const std::string& card) const { tell("remove " + card); }

  private:
    void tell(const std::string& text) const;
    void stop();

    pid_t child_ = -1;
    int input_ = -1;  // its standard input: closing it ends the program
    int output_ = -1;
    int errors_ = -1;
    std::string device_;
};

}  // namespace desk_tool
