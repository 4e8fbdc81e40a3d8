// Cards of type "hostile" in a deck. Their keys are "manner" (see cards/hostile_card.h), or
// "responses", a list of hexadecimal texts.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_hostile_card(const Node& node);

}  // namespace virtual_reader
