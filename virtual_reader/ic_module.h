// The IC module: contact slots and the contactless field, and the cards in them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cards/card.h"

namespace virtual_reader {

// Where a card is, or could be: a contact slot, or the field.
struct Place {
    bool field = false;
    int slot = 0;  // of a contact card

    friend bool operator==(const Place&, const Place&) = default;
};

enum class Outcome {
    done,
    no_card,
    not_powered,
    refused,
};

struct Result {
    Outcome outcome;
    Bytes data;
};

class IcModule {
  public:
    // A card in the drawer, not yet in the reader.
    void add(std::unique_ptr<Card> card);

    // Puts a card from the drawer into its field or a slot; another one there goes back. Throws
    // std::invalid_argument for an unknown name, and what the card throws that cannot come.
    void insert(std::string_view name, int slot = 0);

    // Puts a contactless card beside the one in the field. While there are two, none of them can be
    // powered; one that is powered already stays so. Throws std::invalid_argument for other cards.
    void insert_beside(std::string_view name);

    bool has(std::string_view name) const;

    // Where a card is, if it is in.
    std::optional<Place> place_of(std::string_view name) const;

    // Takes a card out, or all of them. Throws std::invalid_argument for a card that is not in.
    void remove(std::string_view name);
    void remove_all();

    // The power of all cards is gone.
    void power_off_all();

    Result power_on(Place place);
    Result power_off(Place place);
    Result transmit(Place place, View command);

    const Card* card_at(Place place) const;
    Card* card_at(Place place);
    bool is_powered(Place place) const;

    // A number that is another one for each card that was put there; 0 without a card.
    int insertion(Place place) const;

    bool any_contact_card(bool powered) const;

    // "name: slot 0, powered" for every card, one a line.
    std::string describe() const;

  private:
    struct Inserted {
        Place place;
        Card* card;
        bool powered;
        int number;
    };

    Card& find(std::string_view name) const;
    const Inserted* at(Place place) const;
    Inserted* at(Place place);
    const Inserted* find_inserted(const Card& card) const;
    bool is_crowded(Place place) const;
    template <class Taken>
    void take_out(Taken is_taken);
    void put(Card& card, Place place);
    std::string where(const Card& card) const;

    std::vector<std::unique_ptr<Card>> drawer_;
    std::vector<Inserted> inserted_;  // in the order in which they came
    int insertions_ = 0;
};

}  // namespace virtual_reader
