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
// All but a card's type and name may be left out. A content is a text or {"hex": "..."}. Cards that
// are not in the reader lie beside it. The types "magnetic" and "identity" are told in
// deck_stripe_and_identity.h, "mifare-classic" and "ultralight-c" in deck_mifare_cards.h.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "deck_error.h"
#include "reader.h"

namespace virtual_reader {

// A reader with the deck's cards in it. `source` names the deck in errors.
std::unique_ptr<Reader> reader_from_deck(std::string_view json, const std::string& source);
std::unique_ptr<Reader> reader_from_deck_file(const std::string& path);

// The deck that is used without a file: a contact card and a contactless card, both in the reader,
// and beside it cards of all other types.
std::string_view default_deck();

}  // namespace virtual_reader
