// What all flows with a payment card have in common: power, the directory, the application, its
// options and its records. A flow reads as its steps; each step returns 0 or the number with which
// the flow ends.
#pragma once

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "api/fail.h"
#include "cards/bytes.h"

namespace deskreader::api {

using cards::Bytes;

// The card of a flow: powered off with its scope, unless it is kept.
class PoweredCard {
  public:
    PoweredCard() noexcept = default;

    // A card that an earlier flow left powered.
    explicit PoweredCard(int kind) noexcept : kind_(kind), powered_(true) {}

    ~PoweredCard();
    PoweredCard(const PoweredCard&) = delete;
    PoweredCard& operator=(const PoweredCard&) = delete;

    // Waits for a card as RD_IcPowerOn does. Returns its result.
    [[nodiscard]] int power_on(int slot, int timeout_s) noexcept;

    // The same, and once more in the other command frame when that fails; "Iccmd" keeps the change.
    [[nodiscard]] int power_on_in_either_frame(int slot, int timeout_s) noexcept;

    // The kind of card that answered: the slot of every command from then on.
    int kind() const noexcept { return kind_; }

    // Leaves the card powered at the end of the scope.
    void keep() noexcept { powered_ = false; }

  private:
    [[nodiscard]] int try_power_on(int slot, int timeout_s) noexcept;

    int kind_ = 0;
    bool powered_ = false;
};

// Where the flows differ on purpose.
struct FlowOptions {
    bool tries_either_frame = false;  // at power-on
    bool ends_when_blocked = false;   // a directory whose application is blocked ends the flow
    bool needs_pdol = false;          // otherwise an absent PDOL is an empty one
    std::string_view application{};   // hexadecimal; if empty, what the directory names
};

class PaymentFlow {
  public:
    explicit PaymentFlow(const FlowOptions& options) noexcept : options_(options) {}

    // Powers the card. Returns 0 or an API number.
    [[nodiscard]] int power_on(int slot, int timeout_s) noexcept;

    // Selects the directory (1PAY.SYS.DDF01 on contact and contactless cards alike), finds the
    // application there unless it is given, and selects it.
    [[nodiscard]] int select_application() noexcept;

    // Answers the card's PDOL and gets its options.
    [[nodiscard]] int start_application() noexcept;

    // Reads the records that the options name.
    void read_records() noexcept;

    // Leaves the card powered at the end of the flow.
    void keep_power() noexcept { card_.keep(); }

    int slot() const noexcept { return card_.kind(); }

    // What SELECT answered, status word included.
    Bytes selection() const noexcept { return std::span(selection_).first(selection_size_); }

    // The application that was selected.
    Bytes application() const noexcept { return std::span(application_).first(application_size_); }

    // The application interchange profile, two bytes; empty when the card refused its options.
    Bytes profile() const noexcept { return std::span(profile_).first(profile_size_); }

    // The file locator, or the whole answer of a card that answered with its data.
    Bytes locator() const noexcept { return std::span(locator_).first(locator_size_); }

    Bytes records() const noexcept { return std::span(records_).first(records_size_); }

  private:
    [[nodiscard]] int find_application(Bytes directory) noexcept;

    FlowOptions options_;
    PoweredCard card_;
    std::array<std::uint8_t, 512> application_;
    std::size_t application_size_ = 0;
    std::array<std::uint8_t, 8> profile_;
    std::size_t profile_size_ = 0;
    std::array<std::uint8_t, 512> selection_;
    std::size_t selection_size_ = 0;
    std::array<std::uint8_t, 512> locator_;
    std::size_t locator_size_ = 0;
    std::array<std::uint8_t, 8000> records_;
    std::size_t records_size_ = 0;
};

}  // namespace deskreader::api
