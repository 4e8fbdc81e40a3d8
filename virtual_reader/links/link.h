// The way between the reader and whoever uses it, as the program serves it.
#pragma once

#include <string>

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
};

}  // namespace virtual_reader
