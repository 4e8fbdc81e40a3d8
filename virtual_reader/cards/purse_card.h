// An electronic purse: an account to spend from, two balances (deposit and purse), a PIN, and keys
// that prove loads and purchases (the PBOC deposit and purse application, with its MACs and TACs).
#pragma once

#include <optional>
#include <random>

#include "cards/apdu.h"
#include "cards/card.h"
#include "cards/emv_crypto.h"
#include "cards/file_tree.h"

namespace virtual_reader {

struct PurseKeys {
    Key purchase;
    Key load;
    Key transaction;  // its halves together make the key of TACs
    Key maintenance;  // of UPDATE BINARY
};

// Nobody else has ever used these.
constexpr PurseKeys example_purse_keys = {
    {0x50, 0x9B, 0xE6, 0x31, 0x7C, 0xC7, 0x12, 0x5D, 0xA8, 0xF3, 0x3E, 0x89, 0xD4, 0x1F, 0x6A,
     0xB5},
    {0x61, 0xAC, 0xF7, 0x42, 0x8D, 0xD8, 0x23, 0x6E, 0xB9, 0x04, 0x4F, 0x9A, 0xE5, 0x30, 0x7B,
     0xC6},
    {0x72, 0xBD, 0x08, 0x53, 0x9E, 0xE9, 0x34, 0x7F, 0xCA, 0x15, 0x60, 0xAB, 0xF6, 0x41, 0x8C,
     0xD7},
    {0x83, 0xCE, 0x19, 0x64, 0xAF, 0xFA, 0x45, 0x90, 0xDB, 0x26, 0x71, 0xBC, 0x07, 0x52, 0x9D,
     0xE8},
};

struct PurseCardSettings {
    std::string name;
    bool contactless = false;
    Bytes answer;  // to reset
    bool by_procedure_bytes = false;
    std::uint32_t seed = 1;  // of its random numbers
    Bytes application = from_hex("F04445534B50");
    Bytes pin = from_hex("1234");  // 2 to 6 bytes
    int pin_tries = 3;
    std::uint32_t deposit = 0;  // in cents
    std::uint32_t purse = 5000;
    std::uint8_t key_index = 1;  // the one of loads and purchases
    PurseKeys keys = example_purse_keys;
    std::vector<ElementaryFile> files;  // transparent
};

class PurseCard final : public Card {
  public:
    explicit PurseCard(PurseCardSettings settings);

    const std::string& name() const override { return settings_.name; }
    bool contactless() const override { return settings_.contactless; }
    Bytes power_on() override;
    void power_off() override;
    Bytes transmit(View command) override;

  private:
    // The two purses of the card; their numbers in P2.
    struct Purse {
        std::uint32_t balance = 0;
        std::uint16_t loads = 0;
        std::uint16_t purchases = 0;
    };

    // A load or purchase between its two commands.
    struct Pending {
        bool load = false;
        std::uint8_t purse = 0;
        Bytes amount;    // four bytes
        Bytes terminal;  // six
        Bytes random;    // four
    };

    Bytes select(const Command& command);
    Bytes read_binary(const Command& command);
    Bytes update_binary(const Command& command);
    Bytes verify(const Command& command);
    Bytes get_challenge(const Command& command);
    Bytes get_balance(const Command& command);
    Bytes initialise(const Command& command);
    Bytes initialise_load();
    Bytes initialise_purchase();
    Bytes credit(const Command& command);
    Bytes debit(const Command& command);

    Purse& pending_purse() { return purses_[pending_->purse - 1u]; }
    ElementaryFile* find_file(std::uint8_t sfi);
    Bytes draw(std::size_t count);
    Bytes transaction_code(View content) const;

    PurseCardSettings settings_;
    std::mt19937 random_;
    Responder responder_;
    std::array<Purse, 2> purses_;
    int tries_left_;
    bool pin_given_ = false;
    Bytes challenge_;
    std::optional<Pending> pending_;
};

}  // namespace virtual_reader
