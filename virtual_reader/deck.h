// A deck: the reader's settings and its cards, from a JSON file. decks/deck.schema.json tells the
// same to editors, and to whoever has no sources.
//
//   {
//     "reader": { "information": "...", "serial_number": "...", "baud": 9600,
//                 "answer_mode_on_serial": false },
//     "cards": [ { "type": "iso", ... }, ... ],
//     "faults": [ { "kind": "delay", "after": 1, "ms": 500 }, ... ],      see decks/faults.h
//     "$schema": "..."                                                    for editors
//   }
//
// Every card:
//
//   "type": "iso", "name": "...", "contactless": false, "inserted": true, "slot": 0,
//   "answer": "3B...", "procedure_bytes": false
//
// Further keys of type "iso":
//
//   "seed": 1, "files": [ ... ], "directories": [
//     { "id": "DF01", "name": "F0...", "files": [
//       { "id": "EF01", "sfi": 1, "records": ["text", {"hex": "..."}] },
//       { "id": "EF02", "sfi": 2, "data": "text" } ] } ]
//
// of type "payment" (amounts in cents; lists are those of the card for the terminal's data):
//
//   "application": "A000000333010101", "label": "DESK DEBIT",
//   "account_number": "9999990000000013", "sequence_number": 1, "expiry": "301231",
//   "effective": "260101", "holder": "EXAMPLE/ADA", "holder_more": "...", "identity_type": "00",
//   "identity_number": "...", "product": "...", "track1_more": "...",
//   "keys": { "cryptogram": "32 digits", "integrity": "...", "secrecy": "..." },   the issuer's
//   "pin": "1234", "pin_tries": 3, "transaction_counter": 0,
//   "balance": 10000, "balance_limit": 100000, "reset_threshold": 2000, "single_limit": 50000,
//   "options": "plain" | "objects" | "cryptogram", "cryptogram_objects": false,
//   "directory": true,
//   "block": "none" | "directory" | "directory-locked" | "application" | "card",
//   "options_list": "9F66049F0206...", "first_list": "...", "second_list": "...",
//   "without": ["5F20", "9F38"]                                     objects that it does not show
//
// of type "purse":
//
//   "seed": 1, "application": "F04445534B50", "pin": "1234", "pin_tries": 3, "deposit": 0,
//   "purse": 5000, "key_index": 1,
//   "keys": { "purchase": "32 digits", "load": "...", "transaction": "...", "maintenance": "..." },
//   "files": [ { "id": "EF15", "sfi": 21, "data": "text" } ]
//
// of type "social-security":
//
//   "identification", "card_type", "version", "organisation", "issued", "expires", "card_number",
//   "number", "person", "sex", "nationality", "birth_place", "birth_date": contents,
//   "without": [2],       numbers of elements, 1 to 13, whose records are empty
//   "ends_after": 12      there are no records behind this element's
//
// All but a card's type and name may be left out. A content is a text or {"hex": "..."}. Cards that
// are not in the reader lie beside it. The types "magnetic" and "identity" are told in
// decks/stripe_and_identity.h, "mifare-classic" and "ultralight-c" in decks/mifare_cards.h,
// "hostile" in decks/hostile_card.h, "vpcd" in decks/vpcd_card.h.
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
