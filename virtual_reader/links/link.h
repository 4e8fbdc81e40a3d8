// The way between the reader and whoever uses it, as the program serves it.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "links/wire_time.h"
#include "reader.h"

namespace virtual_reader {

class Link {
  public:
    virtual ~Link() = default;

    // Where it is to be found, for a person or a program to open; it is printed whenever it has
    // become another.
    virtual std::string place() const = 0;

    // Becomes readable when somebody wants something; -1 while there is nothing to wait for.
    virtual int descriptor() const = 0;

    // Takes what came, if anything, and sends the reader's answers that are due, without waiting.
    // Returns false while nobody is there on the other side.
    virtual bool serve(Reader& reader) = 0;

    // How long it is until an answer is due that is late on purpose; nothing while none is, or
    // where nobody keeps such times.
    virtual std::optional<Time> next_output_in() const { return std::nullopt; }
};

// How long a program may wait for the link's descriptor before it serves the link again.
inline Time wait_for(const Link& link, Time longest) {
    return std::min(longest, link.next_output_in().value_or(longest));
}

}  // namespace virtual_reader
