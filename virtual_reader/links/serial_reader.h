// A reader on a serial line that serves itself on a thread of its own, for tests and other
// programs.
#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "links/serial_line.h"

namespace virtual_reader {

class SerialReader {
  public:
    explicit SerialReader(std::unique_ptr<Reader> reader, Timing timing = Timing::at_once)
        : reader_(std::move(reader)),
          line_(timing),
          thread_([this](const std::stop_token& stop) { run(stop); }) {}

    // By value: the reader may be plugged in again meanwhile.
    std::string device() const {
        const std::lock_guard lock(mutex_);
        return line_.device();
    }

    // Runs `action` on the reader while no request is being handled.
    template <class Action>
    auto with_reader(Action action) {
        const std::lock_guard lock(mutex_);
        return action(*reader_);
    }

  private:
    void run(const std::stop_token& stop);

    std::unique_ptr<Reader> reader_;
    SerialLine line_;
    mutable std::mutex mutex_;
    std::jthread thread_;  // last: it uses all the others
};

}  // namespace virtual_reader
