// Cards of type "vpcd" in a deck: those of another program.
//
//   { "type": "vpcd", "name": "...", "contactless": false, "inserted": false, "slot": 0,
//     "host": "127.0.0.1", "port": 35963, "connect": false, "limit_ms": 5000 }
//
// It listens there while it is in the reader, or connects to a program that does. Port 0 is a free
// one, which "status" tells. An answer that takes longer than the limit is none.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_vpcd_card(const Node& node);

}  // namespace virtual_reader
