// A plain ISO 7816-4 card: a file tree, and the commands to look into it.
#pragma once

#include <random>

#include "cards/apdu.h"
#include "cards/card.h"
#include "cards/file_tree.h"

namespace virtual_reader {

struct IsoCardSettings {
    std::string name;
    bool contactless = false;
    Bytes answer;  // to reset
    // T=0: responses wait for GET RESPONSE (61 xx) and a wrong Le is refused (6C xx).
    bool by_procedure_bytes = false;
    std::uint32_t seed = 1;  // of GET CHALLENGE
    FileTree files;
};

class IsoCard final : public Card {
  public:
    explicit IsoCard(IsoCardSettings settings);

    const std::string& name() const override { return settings_.name; }
    bool contactless() const override { return settings_.contactless; }
    Bytes power_on() override;
    void power_off() override;
    Bytes transmit(View command) override;

  private:
    Bytes select(const Command& command);
    Bytes select_by_name(View name);
    Bytes select_by_id(std::uint16_t id, bool directories_too);
    Bytes read_binary(const Command& command);
    Bytes read_record(const Command& command);
    Bytes get_challenge(const Command& command);

    const ElementaryFile* find_file(std::uint8_t sfi) const;

    IsoCardSettings settings_;
    std::mt19937 random_;
    Responder responder_;
    const Directory* directory_ = nullptr;
    const ElementaryFile* file_ = nullptr;
};

}  // namespace virtual_reader
