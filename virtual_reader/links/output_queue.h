// What is on its way to the other side of a link, and when it is due there.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "faults/fault.h"
#include "links/wire_time.h"

namespace virtual_reader {

class OutputQueue {
  public:
    // How long as many bytes are on the wire.
    using OnTheWire = std::function<Time(std::size_t)>;

    // Pieces follow what is there already, each after its pause, the first not before `from`; one
    // is due when its last byte is through. Input reports are left out: no link but USB has them.
    void put(std::vector<Piece> pieces, Time from, const OnTheWire& on_the_wire);
    void put(std::vector<Piece> pieces, Time from);

    // The next bytes, if they are due.
    std::optional<Bytes> take_due(Time now);

    // How long it is until there are some; nothing while none are on their way.
    std::optional<Time> next_due_in(Time now) const;

    void clear() { outputs_.clear(); }

  private:
    struct Output {
        Time due;
        Bytes bytes;
    };

    std::deque<Output> outputs_;
};

}  // namespace virtual_reader
