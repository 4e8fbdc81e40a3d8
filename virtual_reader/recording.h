// Recordings: what went over the wire between a host and its reader, as lines of text that people
// can read and edit. The words of `recording_header` stand at the top of every file and say how its
// lines are made.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bytes.h"

namespace virtual_reader {

class RecordingError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class RecordedLink { serial, usb };

// Bytes of which some may be anything.
struct Pattern {
    Bytes bytes;
    std::vector<bool> known;  // one for each byte

    // Whether these bytes begin as the pattern does, as far as both go.
    bool agrees_with(View other) const;
};

struct RecordedLine {
    enum class Kind { opened, sent, received, closed };  // as the host sees it

    Kind kind = Kind::sent;
    RecordedLink link = RecordedLink::serial;
    std::uint64_t microseconds = 0;  // since the recording began
    Pattern pattern;                 // of chunks and reports; empty for the others
    std::size_t number = 0;          // in the file, from 1
};

// How a recording begins; the second is what it says when it is masked.
std::string_view recording_header();
std::string_view masked_recording_note();

// A line of a recording, with its end. The name is that of the serial device or USB device.
std::string opened_line(RecordedLink link, std::uint64_t microseconds, std::string_view name);
std::string traffic_line(RecordedLine::Kind kind, std::uint64_t microseconds,
                         const Pattern& pattern);
std::string closed_line(std::uint64_t microseconds);

// Reads a recording. Throws RecordingError with the source and the line that makes no sense; files
// beyond the limits of recordings, 32 MiB and a million lines, make none.
std::vector<RecordedLine> read_recording(std::string_view text, const std::string& source);
std::vector<RecordedLine> read_recording_file(const std::string& path);

}  // namespace virtual_reader
