// A card in another program, which speaks vpcd as vsmartcard's virtual cards and JavaCard
// simulators do: this is the reader's side (see vpcd/connection.h). While the card is in the reader
// it listens for the program, or connects to it; without a connection there is no card.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "cards/card.h"
#include "vpcd/connection.h"
#include "vpcd/door.h"

namespace virtual_reader {

struct VpcdCardSettings {
    std::string name;
    bool contactless = false;
    Address address{"127.0.0.1", 35963};
    bool connects = false;                  // or listens
    std::chrono::milliseconds limit{5000};  // for each answer
};

class VpcdCard final : public Card {
  public:
    explicit VpcdCard(VpcdCardSettings settings) : settings_(std::move(settings)) {}

    const std::string& name() const override { return settings_.name; }
    bool contactless() const override { return settings_.contactless; }
    void enter() override;
    void leave() override;
    bool is_present() override;
    std::string situation() override;
    Bytes power_on() override;
    void power_off() override;
    Bytes transmit(View command) override;

  private:
    void say(VpcdControl control);
    Bytes ask(View message);

    VpcdCardSettings settings_;
    std::unique_ptr<Door> door_;
    std::optional<VpcdConnection> connection_;
    bool is_powered_ = false;
};

}  // namespace virtual_reader
