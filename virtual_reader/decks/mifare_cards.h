// Cards of the types "mifare-classic" and "ultralight-c" in a deck.
//
//   { "type": "mifare-classic", "name": "...", "inserted": false, "size": "1K", "uid": "...",
//     "sectors": [ { "number": 1, "key_a": "...", "key_b": "...", "access": "7F078869" } ],
//     "blocks": [ { "number": 4, "data": content }, { "number": 5, "value": 250 } ] }
//
// Sizes are "1K" and "4K". Sectors count from 1 and blocks from 0, as in the reader's commands.
// What is not named is as delivered: keys of FF, and blocks of zeros. Access is bytes 6 to 9 of the
// trailer.
//
//   { "type": "ultralight-c", "name": "...", "inserted": false, "uid": "...", "key": "...",
//     "data": content, "locks": "00000000", "protected_from": 48, "protects_reading": true,
//     "seed": 1 }
//
// The data stand from page 4 on. Locks are lock bytes 0 to 3; pages from the protected one on need
// authentication, for writing and, if so wanted, for reading.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_mifare_classic_card(const Node& node);
std::unique_ptr<Card> read_ultralight_c_card(const Node& node);

}  // namespace virtual_reader
