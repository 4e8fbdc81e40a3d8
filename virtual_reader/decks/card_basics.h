// What every IC card of a deck has: its name, its answer to reset, how it speaks.
#pragma once

#include <string>

#include "cards/file_tree.h"
#include "decks/node.h"

namespace virtual_reader {

struct CardBasics {
    std::string name;
    bool contactless = false;
    Bytes answer;
    bool by_procedure_bytes = false;
};

// Checks the keys of a card: its own, and those of every card.
void allow_card_keys(const Node& node, std::initializer_list<const char*> own);

CardBasics read_card_basics(const Node& node);

// Fills the members that the settings of every card have.
template <class Settings>
Settings with_basics(const Node& node) {
    const CardBasics basics = read_card_basics(node);
    Settings settings;
    settings.name = basics.name;
    settings.contactless = basics.contactless;
    settings.answer = basics.answer;
    settings.by_procedure_bytes = basics.by_procedure_bytes;
    return settings;
}

std::uint32_t read_seed(const Node& node);
ElementaryFile read_file(const Node& node);

}  // namespace virtual_reader
