// Takes requests out of the bytes of a line, whatever the pieces in which they come.
#pragma once

#include <optional>

#include "wire/request.h"

namespace virtual_reader {

class RequestStream {
  public:
    void feed(View bytes) { append(held_, bytes); }

    // What was fed and not yet taken is gone.
    void forget() { held_.clear(); }

    // Whether ID frames are understood, or IC and Union frames; escape commands always are. What
    // was fed and not yet taken is read in the new way.
    void listen_for_id(bool id) { listens_for_id_ = id; }

    // The next whole request. Bytes that begin none are dropped, and so are frames with a wrong
    // length or check byte; both are counted.
    std::optional<Request> next();

    // Whether an escape command has begun and not ended.
    bool is_within_escape() const;

    std::size_t noise() const { return noise_; }
    std::size_t rejected() const { return rejected_; }

  private:
    void drop(std::size_t count) {
        held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(count));
    }

    Bytes held_;
    bool listens_for_id_ = false;
    std::size_t noise_ = 0;
    std::size_t rejected_ = 0;
};

}  // namespace virtual_reader
