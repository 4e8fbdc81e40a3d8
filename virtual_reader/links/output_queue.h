// What is on its way to the other side of a link, and when it is due there.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <vector>

#include "faults/fault.h"

namespace virtual_reader {

class OutputQueue {
  public:
    // Pieces follow what is there already, each after its pause. Input reports are left out: no
    // link but USB has them.
    void put(std::vector<Piece> pieces);

    // The next bytes, if they are due.
    std::optional<Bytes> take_due();

    void clear() { outputs_.clear(); }

  private:
    struct Output {
        std::chrono::steady_clock::time_point due;
        Bytes bytes;
    };

    std::deque<Output> outputs_;
};

}  // namespace virtual_reader
