// The ID module: searches for, selects and reads the identity card that lies on it.
#pragma once

#include <string>
#include <string_view>

#include "bytes.h"
#include "cards/identity_card.h"
#include "desk_place.h"

namespace virtual_reader {

class IdModule {
  public:
    // A card in the drawer, not yet on the module.
    void add(std::unique_ptr<IdentityCard> card) { place_.add(std::move(card)); }
    bool has(std::string_view name) const { return place_.has(name); }

    // Both throw std::invalid_argument as DeskPlace does.
    void insert(std::string_view name);
    void remove(std::string_view name);
    void remove_all();

    // The answer to a command: three status bytes and data.
    Bytes answer(View command);

    // The rate at which the module talks to the base unit; no host's line changes with it.
    int baud() const { return baud_; }

    const IdentityCard* card() const { return place_.card(); }
    std::string describe() const { return place_.describe("on the ID module"); }

  private:
    enum class Step { none, found, selected };

    Bytes find();
    Bytes select();
    Bytes read(bool with_fingerprint) const;
    Bytes set_baud(std::uint8_t code);

    DeskPlace<IdentityCard> place_;
    Step step_ = Step::none;
    int baud_ = 115200;
};

}  // namespace virtual_reader
