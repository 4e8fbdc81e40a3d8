// The reader that the command line names, opened for as long as this object lives.
#pragma once

#include <optional>
#include <string>

#include "link.h"
#include "virtual_process.h"

namespace desk_tool {

class Connection {
  public:
    // Throws ReaderError when the reader cannot be opened, MisuseError for a link that is none.
    explicit Connection(const LinkOptions& options);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // "USB" or the device's name.
    const std::string& name() const { return name_; }

    // The virtual reader at the other end. Throws ToolError if there is none.
    VirtualProcess& virtual_reader();

  private:
    void open(int baud) const;

    std::optional<VirtualProcess> virtual_;
    bool is_replay_ = false;
    ReplayReport* report_;
    std::string name_ = "USB";
};

}  // namespace desk_tool
