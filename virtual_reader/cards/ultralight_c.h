// A MIFARE Ultralight C card: 48 pages of four bytes, lock bits, and mutual authentication by
// triple DES.
//
//   00..02   serial number with its check bytes, in page 02 lock bytes 0 and 1
//   03       one-time bits           28   lock bytes 2 and 3
//   04..27   data                    29   counter of 16 bits, the low byte first
//                                    2A   first page that needs authentication (30: none)
//                                    2B   bit 0: only to write there, else to read as well
//   2C..2F   the key, never read
//
//   30 page            four pages, from page 00 again behind the last readable one
//   A2 page data       writes a page: 0A, or 00 if it may not be
//   1A 00              AF and the card's random number, encrypted
//   AF 16 bytes        both random numbers, encrypted: 00 and the reader's, encrypted
//   50 00              halt
//
// A card that refuses something answers 00, and nothing more until it is powered on again; so it
// does after a halt.
#pragma once

#include <array>
#include <optional>
#include <random>
#include <string>

#include "cards/card.h"
#include "triple_des.h"

namespace virtual_reader {

struct UltralightCSettings {
    std::string name;
    std::array<std::uint8_t, 7> uid{};
    std::array<std::uint8_t, 16> key{};  // as authentication uses it
    Bytes data;                          // from page 04 on, at most ultralight_data_size
    std::array<std::uint8_t, 4> locks{};
    std::uint8_t protected_from = 0x30;  // a page
    bool protects_reading = true;
    std::uint32_t seed = 1;       // of its random numbers
    std::optional<Block> random;  // in their place, always
};

constexpr std::size_t ultralight_data_size = 144;

// The key with which these cards are delivered.
constexpr std::array<std::uint8_t, 16> ultralight_delivery_key = {
    0x49, 0x45, 0x4D, 0x4B, 0x41, 0x45, 0x52, 0x42, 0x21, 0x4E, 0x41, 0x43, 0x55, 0x4F, 0x59, 0x46};

class UltralightC final : public Card {
  public:
    explicit UltralightC(UltralightCSettings settings);

    const std::string& name() const override { return name_; }
    bool contactless() const override { return true; }
    bool knows_apdus() const override { return false; }

    // Its answer is the serial number. A key that was written holds from here on.
    Bytes power_on() override;
    void power_off() override;
    Bytes transmit(View command) override;

    bool is_authenticated() const { return authenticated_; }

  private:
    static constexpr std::size_t page_size = 4;
    static constexpr std::size_t pages = 48;

    struct Challenge {
        Block random;
        Block encrypted;  // the next initial vector
    };

    std::uint8_t* page(std::size_t number) { return memory_.data() + number * page_size; }
    const std::uint8_t* page(std::size_t number) const {
        return memory_.data() + number * page_size;
    }

    Bytes refuse();
    Bytes carry_out(View command);
    Bytes read(std::size_t first);
    Bytes write(std::size_t number, View data);
    bool count(View data);
    Bytes begin_authentication();
    Bytes end_authentication(View encrypted, const Challenge& challenge);

    bool is_locked(std::size_t number) const;
    bool needs_authentication(std::size_t number, bool to_write) const;
    void set_locks(std::size_t first_lock, View bits);

    std::string name_;
    std::array<std::uint8_t, pages * page_size> memory_{};
    std::mt19937 random_;
    std::optional<Block> fixed_random_;
    std::array<std::uint8_t, 16> key_{};
    std::optional<Challenge> challenge_;
    bool authenticated_ = false;
    bool listens_ = false;
};

}  // namespace virtual_reader
