// A deck: the reader's settings and its cards, from a JSON file.
//
//   {
//     "reader": { "information": "...", "serial_number": "...", "baud": 9600,
//     "answer_mode_on_serial": false }, "cards": [
//       { "type": "iso", "name": "...", "contactless": false, "inserted": true, "slot": 0,
//         "answer": "3B...", "procedure_bytes": false, "seed": 1,
//         "directories": [
//           { "id": "DF01", "name": "F0...", "files": [
//             { "id": "EF01", "sfi": 1, "records": ["text", {"hex": "..."}] },
//             { "id": "EF02", "sfi": 2, "data": "text" } ] } ] } ]
//   }
//
// All but a card's type and name may be left out. A content is a text or {"hex": "..."}.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "reader.h"

namespace virtual_reader {

// What is wrong with a deck, and where: "desk.json:3:7: ..." or "desk.json: /cards/0/name: ...".
class DeckError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A reader with the deck's cards in it. `source` names the deck in errors.
std::unique_ptr<Reader> reader_from_deck(std::string_view json, const std::string& source);
std::unique_ptr<Reader> reader_from_deck_file(const std::string& path);

// The deck that is used without a file: a contact card and a contactless card, both in the reader.
std::string_view default_deck();

}  // namespace virtual_reader
