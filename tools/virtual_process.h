// The virtual reader as a child process of the tool, for as long as this object lives.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "descriptor.h"

namespace desk_tool {

class VirtualProcess {
  public:
    using Arguments = std::vector<std::string>;

    // Starts virtual-reader. Throws ToolError with the program's own words when it does not come
    // up; nothing of it is left then.
    explicit VirtualProcess(const Arguments& arguments);
    ~VirtualProcess() { end(); }
    VirtualProcess(const VirtualProcess&) = delete;
    VirtualProcess& operator=(const VirtualProcess&) = delete;

    // The serial device that it serves, or "USB".
    const std::string& device() const { return device_; }

    // Puts a card of the deck into the reader, or takes it out. Throw ToolError with the reader's
    // own words.
    void insert(const std::string& card) const { tell("insert " + card); }
    void remove(const std::string& card) const { tell("remove " + card); }

    // Ends the program and returns what it had to say on standard error, line by line, without its
    // name.
    std::vector<std::string> end();

  private:
    void start(const Arguments& arguments);
    void tell(const std::string& text) const;

    pid_t child_ = -1;
    Descriptor input_;  // its standard input: closing it ends the program
    Descriptor output_;
    Descriptor errors_;
    std::string device_;
};

}  // namespace desk_tool
