// A MIFARE Classic card: blocks of 16 bytes in sectors, each sector with two keys and with access
// conditions. A 1K card has 16 sectors of 4 blocks; a 4K card has 32 of these and 8 of 16 blocks.
// The last block of a sector is its trailer: key A, access bits, key B.
//
// Blocks count from 0 and sectors from 0. The radio protocol and its cipher are left out: what is
// here is what a reader's own MIFARE commands see of a card.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cards/card.h"

namespace virtual_reader {

constexpr std::size_t classic_block_size = 16;
using ClassicBlock = std::array<std::uint8_t, classic_block_size>;
using ClassicKey = std::array<std::uint8_t, 6>;

enum class ClassicSize { small, large };  // 1K, 4K

int sector_count(ClassicSize size);
int block_count(ClassicSize size);
int sector_of(int block);
int first_block_of(int sector);
int trailer_of(int sector);

// Four bytes, and the 12 that repeat a value: inverted, again, and the block's address four times.
ClassicBlock value_block(std::uint32_t value, std::uint8_t address);

// Nothing for a block that does not repeat a value.
std::optional<std::uint32_t> value_of(const ClassicBlock& block);

// With these, either key may do everything with data blocks, and key B may write the trailer.
constexpr std::array<std::uint8_t, 4> open_access = {0x7F, 0x07, 0x88, 0x69};

ClassicBlock trailer_block(const ClassicKey& key_a, const std::array<std::uint8_t, 4>& access,
                           const ClassicKey& key_b);

struct MifareClassicSettings {
    std::string name;
    ClassicSize size = ClassicSize::small;
    std::array<std::uint8_t, 4> uid{};
    // All of the card's blocks in their order, block 0 without meaning. Fewer than there are: the
    // rest is as delivered, zeros with keys of FF.
    std::vector<ClassicBlock> blocks;
};

// The blocks of a card as it is delivered, for settings to start from.
std::vector<ClassicBlock> delivered_blocks(ClassicSize size);

class MifareClassic final : public Card {
  public:
    explicit MifareClassic(MifareClassicSettings settings);

    const std::string& name() const override { return name_; }
    bool contactless() const override { return true; }
    bool knows_apdus() const override { return false; }

    // Its answer is the serial number.
    Bytes power_on() override;
    void power_off() override;

    Bytes transmit(View) override { return {}; }

    enum class KeyKind { a, b };

    // A failed one ends the authentication that stood before. Key B opens nothing where it can be
    // read.
    bool authenticate(int sector, KeyKind kind, View key);

    // All of these fail outside the authenticated sector and against its access conditions.
    std::optional<ClassicBlock> read(int block) const;
    bool write(int block, const ClassicBlock& data);

    // Into the value register, from a block that holds a value. A value that would leave 32 bits
    // with a sign is refused.
    bool increment(int block, std::uint32_t operand);
    bool decrement(int block, std::uint32_t operand);
    bool restore(int block);

    // The value register into a block; it is empty then.
    bool transfer(int block);

  private:
    enum class Operation { read, write, increment, decrement };

    bool allows(int block, Operation operation) const;
    bool write_trailer(int block, const ClassicBlock& data);
    bool load(int block, Operation operation, std::int64_t difference);

    struct Register {
        std::uint32_t value;
        std::uint8_t address;
    };

    struct Authentication {
        int sector;
        KeyKind kind;
    };

    std::string name_;
    std::vector<ClassicBlock> blocks_;
    std::optional<Authentication> authenticated_;
    std::optional<Register> register_;
};

}  // namespace virtual_reader
