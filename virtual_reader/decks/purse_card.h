// Cards of type "purse" in a deck.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_purse_card(const Node& node);

}  // namespace virtual_reader
