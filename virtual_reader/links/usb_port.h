// The reader's end of a USB HID connection, in reports, for a bus within the same process.
//
//   output report, 65 bytes as hidapi's write gets it: 00 | mode id | n | n payload bytes | filler
//   input report, 64 bytes: mode id | n | n payload bytes, at most 62 | zeros
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "reader.h"

namespace virtual_reader {

class UsbPort {
  public:
    explicit UsbPort(Reader& reader) : reader_(reader) {}

    // Returns the report's size, -1 once unplugged.
    int write_report(View report);

    // The next input report; nothing within the limit, or once unplugged (see is_plugged).
    std::optional<Bytes> read_report(std::chrono::milliseconds limit);

    // Nobody gets anything through until it is plugged again; what waited to be read is lost.
    void unplug();
    void plug();
    bool is_plugged() const;

    // Runs `action` on the reader while no report is being handled. What the reader says of it, for
    // a request that waited for a card, can be read then.
    template <class Action>
    auto with_reader(Action action) {
        const std::lock_guard lock(mutex_);
        const CollectLate collect{*this};
        return action(reader_);
    }

  private:
    void collect_late();

    struct CollectLate {
        UsbPort& port;
        ~CollectLate() { port.collect_late(); }
    };

    Reader& reader_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Bytes> input_;
    bool plugged_ = true;
};

}  // namespace virtual_reader
