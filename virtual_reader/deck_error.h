#pragma once

#include <stdexcept>

namespace virtual_reader {

// What is wrong with a deck, and where: "desk.json:3:7: ..." or "desk.json: /cards/0/name: ...".
class DeckError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace virtual_reader
