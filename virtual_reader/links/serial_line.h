// The reader's end of a serial line: a pseudo-terminal whose other end a host opens like a port.
#pragma once

#include <optional>
#include <string>

#include "links/link.h"
#include "links/output_queue.h"
#include "links/wire_time.h"

namespace virtual_reader {

class SerialLine final : public Link {
  public:
    // Throws std::system_error without a pseudo-terminal.
    explicit SerialLine(Timing timing = Timing::at_once, Now now = steady_now);
    ~SerialLine() override;
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    // The device that the host opens. A reader that is plugged in again has another one.
    const std::string& device() const { return device_; }
    std::string place() const override { return device_; }

    // Becomes readable when the host has sent something; -1 while the reader is unplugged.
    int descriptor() const override { return master_; }

    // Takes what the host has sent, if anything, and writes the reader's answers, also those for
    // which it waited for a card. Bytes at another rate than the reader's are noise to it. An
    // unplugged reader takes the line away, as a USB adapter does. Returns false while no host has
    // the line open.
    bool serve(Reader& reader) override;

    // How long it is until there is something to write; nothing while there is not.
    std::optional<Time> next_output_in() const override;

    // Bytes that came at another rate.
    std::size_t misread() const { return misread_; }

  private:
    void open_line();
    void close_line();
    void unplug_line();
    void plug_line();
    void release_name();
    bool follow_plug(const Reader& reader);
    bool take_request(Reader& reader, int rate_before, bool host_is_there);
    int host_rate();
    bool is_open() const;
    void receive(Reader& reader, std::uint8_t byte, int rate_before);
    void put(Reader& reader, Bytes answer, int rate);
    Time on_the_wire(std::size_t bytes, int rate) const;
    void write_due();
    void write_all(View bytes) const;

    Timing timing_;
    Now now_;
    Time received_{};  // when the last byte was through
    int master_ = -1;
    int name_holder_ = -1;
    std::string device_;
    int last_rate_ = 0;
    std::size_t misread_ = 0;
    OutputQueue output_;
    int replugs_ = 0;
};

}  // namespace virtual_reader
