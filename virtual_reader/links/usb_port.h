// The reader's end of a USB HID connection, in reports, for a bus within the same process.
//
//   output report, 65 bytes as hidapi's write gets it: 00 | mode id | n | n payload bytes | filler
//   input report, 64 bytes: mode id | n | n payload bytes, at most 62 | zeros
//
// A reader with faults may send other input reports than these.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "links/wire_time.h"
#include "reader.h"

namespace virtual_reader {

class UsbPort {
  public:
    explicit UsbPort(Reader& reader, Now now = steady_now, Timing timing = Timing::at_once)
        : reader_(reader),
          now_(std::move(now)),
          report_time_(timing == Timing::true_to_wire ? report_time : Time(0)) {}

    // Returns the report's size, -1 once unplugged or when a fault refuses it.
    int write_report(View report);

    // The next input report; nothing within the limit, or once unplugged (see is_plugged).
    std::optional<Bytes> read_report(std::chrono::milliseconds limit);

    // The same without waiting, and how long it is until there is one, in whole milliseconds: for
    // programs that keep the time themselves.
    std::optional<Bytes> take_report();
    std::optional<std::chrono::milliseconds> next_report_in() const;

    // Nobody gets anything through until it is plugged again; what waited to be read is lost.
    void unplug();
    void plug();
    bool is_plugged() const;

    // What waits to be read is lost, as when a cable is pulled.
    void forget_input();

    // Runs `action` on the reader while no report is being handled. What the reader says of it, for
    // a request that waited for a card, can be read then.
    template <class Action>
    auto with_reader(Action action) {
        const std::lock_guard lock(mutex_);
        const CollectLate collect{*this};
        return action(reader_);
    }

  private:
    struct Input {
        Time due;
        Bytes report;
    };

    void put(std::uint8_t mode_id, Bytes answer);
    void collect_late();
    bool is_due() const { return !input_.empty() && input_.front().due <= now_(); }
    std::optional<Bytes> take();

    struct CollectLate {
        UsbPort& port;
        ~CollectLate() { port.collect_late(); }
    };

    Reader& reader_;
    Now now_;
    Time report_time_;
    Time received_{};  // when the last output report was through
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Input> input_;
};

}  // namespace virtual_reader
