#include "cards/mifare_classic.h"

#include <algorithm>
#include <limits>

namespace virtual_reader {
namespace {

constexpr int small_sectors = 32;  // of four blocks; those behind them have sixteen
constexpr int small_sector_blocks = 4;
constexpr int large_sector_blocks = 16;
constexpr std::size_t access_offset = 6;
constexpr std::size_t key_b_offset = 10;

// Who may do something: key A is bit 0, key B bit 1.
enum Keys : std::uint8_t { never = 0, a = 1, b = 2, both = 3 };

bool holds(Keys keys, MifareClassic::KeyKind kind) {
    return (keys & (kind == MifareClassic::KeyKind::a ? a : b)) != 0;
}

struct DataCondition {
    Keys read;
    Keys write;
    Keys increment;
    Keys decrement;  // and transfer and restore
};

// By C1 C2 C3 as a binary number.
constexpr std::array<DataCondition, 8> data_conditions = {{
    {both, both, both, both},
    {both, never, never, both},
    {both, never, never, never},
    {b, b, never, never},
    {both, b, never, never},
    {b, never, never, never},
    {both, b, b, both},
    {never, never, never, never},
}};

struct TrailerCondition {
    Keys write_keys_a;
    Keys read_access;
    Keys write_access;
    Keys read_key_b;
    Keys write_key_b;
};

constexpr std::array<TrailerCondition, 8> trailer_conditions = {{
    {a, a, never, a, a},
    {a, a, a, a, a},
    {never, a, never, a, never},
    {b, both, b, never, b},
    {b, both, never, never, b},
    {never, both, b, never, never},
    {never, both, never, never, never},
    {never, both, never, never, never},
}};

// The condition of each group of a sector, 0 to 3; nothing if the bits contradict each other.
std::optional<std::array<std::size_t, 4>> conditions_of(const ClassicBlock& trailer) {
    const unsigned byte6 = trailer[access_offset];
    const unsigned byte7 = trailer[access_offset + 1];
    const unsigned byte8 = trailer[access_offset + 2];
    const unsigned c1 = byte7 >> 4;
    const unsigned c2 = byte8 & 0x0F;
    const unsigned c3 = byte8 >> 4;
    if ((byte6 & 0x0F) != (~c1 & 0x0F) || byte6 >> 4 != (~c2 & 0x0F) ||
        (byte7 & 0x0F) != (~c3 & 0x0F)) {
        return std::nullopt;
    }
    std::array<std::size_t, 4> conditions{};
    for (std::size_t group = 0; group < conditions.size(); ++group) {
        conditions[group] = (c1 >> group & 1u) << 2 | (c2 >> group & 1u) << 1 | (c3 >> group & 1u);
    }
    return conditions;
}

std::optional<TrailerCondition> trailer_condition_of(const ClassicBlock& trailer) {
    const auto conditions = conditions_of(trailer);
    if (!conditions) return std::nullopt;
    return trailer_conditions[(*conditions)[3]];
}

// Groups are single blocks, and five blocks each in the large sectors.
std::size_t group_of(int block) {
    const int sector = sector_of(block);
    const int within = block - first_block_of(sector);
    return static_cast<std::size_t>(sector < small_sectors ? within : within / 5);
}

std::size_t index(int number) {
    return static_cast<std::size_t>(number);
}

}  // namespace

int sector_count(ClassicSize size) {
    return size == ClassicSize::small ? 16 : 40;
}

int block_count(ClassicSize size) {
    return size == ClassicSize::small ? 64 : 256;
}

int sector_of(int block) {
    constexpr int first_large = small_sectors * small_sector_blocks;
    return block < first_large ? block / small_sector_blocks
                               : small_sectors + (block - first_large) / large_sector_blocks;
}

int first_block_of(int sector) {
    return sector < small_sectors ? sector * small_sector_blocks
                                  : small_sectors * small_sector_blocks +
                                        (sector - small_sectors) * large_sector_blocks;
}

int trailer_of(int sector) {
    return first_block_of(sector + 1) - 1;
}

ClassicBlock value_block(std::uint32_t value, std::uint8_t address) {
    ClassicBlock block{};
    for (std::size_t i = 0; i < 4; ++i) {
        const auto byte = static_cast<std::uint8_t>(value >> (8 * i));
        block[i] = block[i + 8] = byte;
        block[i + 4] = static_cast<std::uint8_t>(~byte);
    }
    block[12] = block[14] = address;
    block[13] = block[15] = static_cast<std::uint8_t>(~address);
    return block;
}

std::optional<std::uint32_t> value_of(const ClassicBlock& block) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | block[i];
    if (block != value_block(value, block[12])) return std::nullopt;
    return value;
}

ClassicBlock trailer_block(const ClassicKey& key_a, const std::array<std::uint8_t, 4>& access,
                           const ClassicKey& key_b) {
    ClassicBlock block{};
    auto end = std::ranges::copy(key_a, block.begin()).out;
    end = std::ranges::copy(access, end).out;
    std::ranges::copy(key_b, end);
    return block;
}

std::vector<ClassicBlock> delivered_blocks(ClassicSize size) {
    std::vector<ClassicBlock> blocks(index(block_count(size)));
    ClassicKey key;
    key.fill(0xFF);
    for (int sector = 0; sector < sector_count(size); ++sector)
        blocks[index(trailer_of(sector))] = trailer_block(key, open_access, key);
    return blocks;
}

MifareClassic::MifareClassic(MifareClassicSettings settings)
    : name_(std::move(settings.name)), blocks_(delivered_blocks(settings.size)) {
    const std::size_t given = std::min(settings.blocks.size(), blocks_.size());
    std::copy_n(settings.blocks.begin(), given, blocks_.begin());
    const auto& uid = settings.uid;
    const bool large = settings.size == ClassicSize::large;
    // The manufacturer's block: serial number, its XOR, SAK, ATQA.
    blocks_[0] = {uid[0],
                  uid[1],
                  uid[2],
                  uid[3],
                  xor_of(uid),
                  static_cast<std::uint8_t>(large ? 0x18 : 0x08),
                  static_cast<std::uint8_t>(large ? 0x02 : 0x04),
                  0x00};
}

Bytes MifareClassic::power_on() {
    power_off();
    return to_bytes(View(blocks_[0]).first(4));
}

void MifareClassic::power_off() {
    authenticated_.reset();
    register_.reset();
}

bool MifareClassic::authenticate(int sector, KeyKind kind, View key) {
    authenticated_.reset();
    if (sector < 0 || trailer_of(sector) >= static_cast<int>(blocks_.size())) return false;
    const ClassicBlock& trailer = blocks_[index(trailer_of(sector))];
    const auto condition = trailer_condition_of(trailer);
    if (!condition || (kind == KeyKind::b && condition->read_key_b != never)) return false;
    const View known =
        View(trailer).subspan(kind == KeyKind::a ? 0 : key_b_offset, std::tuple_size_v<ClassicKey>);
    if (!std::ranges::equal(known, key)) return false;
    authenticated_ = {sector, kind};
    return true;
}

// Of data blocks; trailers are no values, and have conditions of their own.
bool MifareClassic::allows(int block, Operation operation) const {
    if (!authenticated_ || block < 0 || sector_of(block) != authenticated_->sector ||
        block == trailer_of(authenticated_->sector)) {
        return false;
    }
    const auto conditions = conditions_of(blocks_[index(trailer_of(authenticated_->sector))]);
    if (!conditions) return false;
    const DataCondition& condition = data_conditions[(*conditions)[group_of(block)]];
    const KeyKind kind = authenticated_->kind;
    switch (operation) {
        case Operation::read:
            return holds(condition.read, kind);
        case Operation::write:
            return block != 0 && holds(condition.write, kind);
        case Operation::increment:
            return holds(condition.increment, kind);
        case Operation::decrement:
            return holds(condition.decrement, kind);
    }
    return false;
}

std::optional<ClassicBlock> MifareClassic::read(int block) const {
    if (allows(block, Operation::read)) return blocks_[index(block)];
    if (!authenticated_ || block != trailer_of(authenticated_->sector)) return std::nullopt;
    const auto condition = trailer_condition_of(blocks_[index(block)]);
    if (!condition) return std::nullopt;
    // Key A is never shown; what may not be read is zeros.
    ClassicBlock shown{};
    const ClassicBlock& trailer = blocks_[index(block)];
    if (holds(condition->read_access, authenticated_->kind))
        std::copy_n(trailer.begin() + access_offset, 4, shown.begin() + access_offset);
    if (holds(condition->read_key_b, authenticated_->kind))
        std::copy_n(trailer.begin() + key_b_offset, 6, shown.begin() + key_b_offset);
    return shown;
}

bool MifareClassic::write(int block, const ClassicBlock& data) {
    if (authenticated_ && block == trailer_of(authenticated_->sector))
        return write_trailer(block, data);
    if (!allows(block, Operation::write)) return false;
    blocks_[index(block)] = data;
    return true;
}

// Parts that may not be written stay as they are, and the write is done if any may.
bool MifareClassic::write_trailer(int block, const ClassicBlock& data) {
    ClassicBlock& trailer = blocks_[index(block)];
    const auto condition = trailer_condition_of(trailer);
    if (!condition) return false;
    const KeyKind kind = authenticated_->kind;
    const bool key_a = holds(condition->write_keys_a, kind);
    const bool access = holds(condition->write_access, kind);
    const bool key_b = holds(condition->write_key_b, kind);
    if (key_a) std::copy_n(data.begin(), 6, trailer.begin());
    if (access) std::copy_n(data.begin() + access_offset, 4, trailer.begin() + access_offset);
    if (key_b) std::copy_n(data.begin() + key_b_offset, 6, trailer.begin() + key_b_offset);
    return key_a || access || key_b;
}

bool MifareClassic::load(int block, Operation operation, std::int64_t difference) {
    if (!allows(block, operation)) return false;
    const ClassicBlock& held = blocks_[index(block)];
    const auto value = value_of(held);
    if (!value) return false;
    const std::int64_t result = static_cast<std::int32_t>(*value) + difference;
    using Limits = std::numeric_limits<std::int32_t>;
    if (result < Limits::min() || result > Limits::max()) return false;
    register_ = {static_cast<std::uint32_t>(result), held[12]};
    return true;
}

bool MifareClassic::increment(int block, std::uint32_t operand) {
    return load(block, Operation::increment, operand);
}

bool MifareClassic::decrement(int block, std::uint32_t operand) {
    return load(block, Operation::decrement, -static_cast<std::int64_t>(operand));
}

bool MifareClassic::restore(int block) {
    return load(block, Operation::decrement, 0);
}

bool MifareClassic::transfer(int block) {
    if (!register_ || block == 0 || !allows(block, Operation::decrement)) return false;
    blocks_[index(block)] = value_block(register_->value, register_->address);
    register_.reset();
    return true;
}

}  // namespace virtual_reader
