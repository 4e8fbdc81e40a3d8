// Cards of type "social-security" in a deck.
#pragma once

#include <memory>

#include "cards/card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<Card> read_social_security_card(const Node& node);

}  // namespace virtual_reader
