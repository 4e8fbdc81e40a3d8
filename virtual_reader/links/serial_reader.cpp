#include "links/serial_reader.h"

#include <chrono>

#include <poll.h>

namespace virtual_reader {

void SerialReader::run(const std::stop_token& stop) {
    // Answers that are late on purpose are late by whole milliseconds.
    constexpr int poll_ms = 1;
    while (!stop.stop_requested()) {
        pollfd line{line_.descriptor(), POLLIN, 0};
        poll(&line, 1, poll_ms);
        // While nobody has the line open its hang-up wakes the poll at once, over and over.
        if (!with_reader([this](Reader& reader) { return line_.serve(reader); })) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

}  // namespace virtual_reader
