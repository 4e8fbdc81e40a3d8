// What the reader thinks of decks: each is a line of standard input, and its answer a line, either
// "right" or what is wrong.
#include <iostream>

#include "deck.h"

int main() {
    for (std::string deck; std::getline(std::cin, deck);) {
        try {
            virtual_reader::reader_from_deck(deck, "deck");
            std::cout << "right\n";
        } catch (const virtual_reader::DeckError& error) {
            std::cout << error.what() << '\n';
        }
    }
}
