// Cards of type "payment" in a deck.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_payment_card(const Node& node);

}  // namespace virtual_reader
