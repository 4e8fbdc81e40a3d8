// An IC card that means harm. It goes along with whatever it is asked as a payment card would, and
// misbehaves in one manner:
//
//   sizes          responses of 0, 1, 255, 256, 600 and 2,000 bytes in turn, the last two bytes
//                  90 00 where there is room
//   lengths        data objects whose lengths lie, one way after another
//   endless-61     61 10 to everything, also to GET RESPONSE; endless-62 and endless-6C likewise
//   records        a file locator with 30 files of 255 records, and records of 250 bytes
//   logs           logs of 255 records
//   names          names, labels and texts of 250 bytes without an end
//   lists          data object lists with unknown tags, and such that ask for 64 KiB
//
// Or it gives the responses that it was told, again and again.
#pragma once

#include <vector>

#include "cards/apdu.h"
#include "cards/card.h"

namespace virtual_reader {

enum class HostileManner {
    sizes,
    lengths,
    endless_61,
    endless_62,
    endless_6c,
    records,
    logs,
    names,
    lists,
};

struct HostileCardSettings {
    std::string name;
    bool contactless = false;
    Bytes answer;
    bool by_procedure_bytes = false;  // it has manners of its own
    HostileManner manner = HostileManner::sizes;
    std::vector<Bytes> responses;  // if there are any, it knows no others
};

class HostileCard final : public Card {
  public:
    explicit HostileCard(HostileCardSettings settings) : settings_(std::move(settings)) {}

    const std::string& name() const override { return settings_.name; }
    bool contactless() const override { return settings_.contactless; }
    Bytes power_on() override { return settings_.answer; }
    void power_off() override {}
    Bytes transmit(View command) override;

  private:
    Bytes in_its_manner(const Command& command);
    Bytes dialogue(const Command& command) const;
    Bytes selection(View name) const;
    Bytes record(int file, int number) const;
    Bytes lying(Bytes response);

    HostileCardSettings settings_;
    std::size_t turn_ = 0;
};

}  // namespace virtual_reader
