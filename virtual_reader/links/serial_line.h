// The reader's end of a serial line: a pseudo-terminal whose other end a host opens like a port.
#pragma once

#include <string>

#include "reader.h"

namespace virtual_reader {

class SerialLine {
  public:
    // Throws std::system_error without a pseudo-terminal.
    SerialLine();
    ~SerialLine();
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    // The device that the host opens.
    const std::string& device() const { return device_; }

    // Becomes readable when the host has sent something.
    int descriptor() const { return master_; }

    // Takes what the host has sent, if anything, and writes the reader's answers, also those for
    // which it waited for a card. Bytes at another rate than the reader's are noise to it. Returns
    // false while no host has the line open.
    bool serve(Reader& reader);

    // Bytes that came at another rate.
    std::size_t misread() const { return misread_; }

  private:
    int host_rate();
    bool is_open() const;
    void receive(Reader& reader, std::uint8_t byte, int rate_before);
    void write_all(View bytes) const;

    int master_;
    std::string device_;
    int last_rate_ = 0;
    std::size_t misread_ = 0;
};

}  // namespace virtual_reader
