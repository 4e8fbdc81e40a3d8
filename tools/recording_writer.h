// Writes a recording while it is made. What goes in one direction is held until the other one's
// turn, so that frames in pieces are masked whole; then it is in the file.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <recording.h>

#include "explain/mask.h"
#include "record_protocol.h"

namespace desk_tool {

class RecordingWriter {
  public:
    // Throws ToolError when the file cannot be written, here as in all that follows.
    RecordingWriter(const std::string& path, bool unmasked);

    // An event as the companion tells it. What is no message of it is left out.
    void take(explain::View message);

    // Writes what is held.
    void finish();

    int lines() const { return lines_; }

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct Chunk {
        std::uint64_t microseconds;
        explain::Bytes bytes;
    };

    void write(const std::string& text);
    void hold(record::Event event, std::uint64_t microseconds, explain::View bytes);
    std::vector<explain::Bytes> masked() const;

    std::string path_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::unique_ptr<explain::Mask> mask_;  // none: everything is written as it is
    virtual_reader::RecordedLink link_ = virtual_reader::RecordedLink::serial;
    record::Event direction_ = record::Event::sent;
    std::vector<Chunk> held_;
    std::uint64_t begin_ = 0;
    int lines_ = 0;
};

}  // namespace desk_tool
