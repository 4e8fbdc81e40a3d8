// The magnetic stripe module. A card that is "in" it has been swiped and can be swiped again and
// again; without one a request waits for the next swipe.
#pragma once

#include <string>
#include <string_view>

#include "bytes.h"
#include "cards/magnetic_card.h"
#include "desk_place.h"

namespace virtual_reader {

class MagneticModule {
  public:
    // A card in the drawer, not yet in the module.
    void add(std::unique_ptr<MagneticCard> card) { place_.add(std::move(card)); }
    bool has(std::string_view name) const { return place_.has(name); }

    // Swipes a card, and answers the request that waited for one (see take_late). Both throw
    // std::invalid_argument as DeskPlace does.
    void insert(std::string_view name);
    void remove(std::string_view name) { place_.remove(name); }
    void remove_all() { place_.remove_all(); }

    // A read or write request, without its ESC. Nothing when it has to wait; one request waits at a
    // time, the last.
    Bytes request(View body);

    // Gives up waiting.
    void reset();
    bool is_waiting() const { return !waiting_.empty(); }

    // The answer to a request that waited, once a card came.
    Bytes take_late();

    const MagneticCard* card() const { return place_.card(); }
    std::string describe() const { return place_.describe("swiped"); }

  private:
    DeskPlace<MagneticCard> place_;
    Bytes waiting_;
    Bytes late_;
};

}  // namespace virtual_reader
