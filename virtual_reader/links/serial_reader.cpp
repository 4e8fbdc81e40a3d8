#include "links/serial_reader.h"

#include <chrono>

#include <poll.h>

namespace virtual_reader {

void SerialReader::run(const std::stop_token& stop) {
    constexpr Time longest_wait = std::chrono::milliseconds(1);
    while (!stop.stop_requested()) {
        pollfd line{line_.descriptor(), POLLIN, 0};
        const timespec wait = as_timespec(wait_for(line_, longest_wait));
        ppoll(&line, 1, &wait, nullptr);
        // While nobody has the line open its hang-up wakes the poll at once, over and over.
        if (!with_reader([this](Reader& reader) { return line_.serve(reader); })) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

}  // namespace virtual_reader
