// A place for one card at a time, and the drawer with the cards that go there.
#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_reader {

template <class Card>
class DeskPlace {
  public:
    void add(std::unique_ptr<Card> card) { drawer_.push_back(std::move(card)); }

    bool has(std::string_view name) const { return find(name) != nullptr; }

    // Puts a card from the drawer there; another one goes back. Throws std::invalid_argument for an
    // unknown name.
    void insert(std::string_view name) {
        Card* card = find(name);
        if (card == nullptr) throw std::invalid_argument("no card is named " + std::string(name));
        card_ = card;
    }

    // Throws std::invalid_argument for a card that is not there.
    void remove(std::string_view name) {
        if (card_ == nullptr || card_->name() != name)
            throw std::invalid_argument("the card " + std::string(name) + " is not in the reader");
        card_ = nullptr;
    }

    void remove_all() { card_ = nullptr; }

    // The card that is there, or nullptr.
    Card* card() const { return card_; }

    // "name: WHERE" or "name: out" for every card, one a line.
    std::string describe(std::string_view where) const {
        std::string text;
        for (const auto& card : drawer_) {
            text += card->name() + ": ";
            text += card.get() == card_ ? where : std::string_view("out");
            text += '\n';
        }
        return text;
    }

  private:
    Card* find(std::string_view name) const {
        const auto card =
            std::ranges::find_if(drawer_, [&](const auto& one) { return one->name() == name; });
        return card == drawer_.end() ? nullptr : card->get();
    }

    std::vector<std::unique_ptr<Card>> drawer_;
    Card* card_ = nullptr;
};

}  // namespace virtual_reader
