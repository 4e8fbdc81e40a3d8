#include "classic_commands.h"

#include <algorithm>

#include "cards/mifare_classic.h"

namespace virtual_reader {
namespace {

constexpr Place field{true, 0};
constexpr std::size_t value_size = 4;

const Result refused{Outcome::refused, {}};

Result done_if(bool success) {
    return success ? Result{Outcome::done, {}} : refused;
}

std::uint32_t number_of(View value) {
    std::uint32_t number = 0;
    for (std::size_t at = value.size(); at-- > 0;)
        number = number << 8 | value[at];
    return number;
}

Result power_on(IcModule& ic) {
    const Card* card = ic.card_at(field);
    if (card != nullptr && dynamic_cast<const MifareClassic*>(card) == nullptr) return refused;
    return ic.power_on(field);
}

Result authenticate(MifareClassic& card, const KeyTypes& types, View command) {
    if (command[2] != types.a && command[2] != types.b) return refused;
    const auto kind = command[2] == types.a ? MifareClassic::KeyKind::a : MifareClassic::KeyKind::b;
    return done_if(card.authenticate(command[1] - 1, kind, command.subspan(3)));
}

Result read(const MifareClassic& card, int block) {
    const auto data = card.read(block);
    return data ? Result{Outcome::done, to_bytes(*data)} : refused;
}

Result write(MifareClassic& card, int block, View data) {
    ClassicBlock whole;
    std::ranges::copy(data, whole.begin());
    return done_if(card.write(block, whole));
}

Result read_value(const MifareClassic& card, int block) {
    const auto data = card.read(block);
    if (!data || !value_of(*data)) return refused;
    return {Outcome::done, to_bytes(View(*data).first(value_size))};
}

Result write_value(MifareClassic& card, int block, View value) {
    return done_if(
        card.write(block, value_block(number_of(value), static_cast<std::uint8_t>(block))));
}

Result change_value(MifareClassic& card, int block, View operand, bool up) {
    const std::uint32_t number = number_of(operand);
    const bool loaded = up ? card.increment(block, number) : card.decrement(block, number);
    return done_if(loaded && card.transfer(block));
}

// The number of bytes of a command to an activated card; authentication has at least as many, since
// hosts may send short keys.
std::optional<std::size_t> size_of(std::uint8_t letter) {
    switch (letter) {
        case 'B':
            return 3;
        case 'C':
        case 'E':
            return 2;
        case 'D':
            return 2 + classic_block_size;
        case 'F':
        case 'G':
        case 'H':
            return 2 + value_size;
        default:
            return std::nullopt;
    }
}

Result card_command(MifareClassic& card, const KeyTypes& types, View command) {
    const View rest = command.subspan(2);
    switch (command[0]) {
        case 'B':
            return authenticate(card, types, command);
        case 'C':
            return read(card, command[1]);
        case 'D':
            return write(card, command[1], rest);
        case 'E':
            return read_value(card, command[1]);
        case 'F':
            return write_value(card, command[1], rest);
        case 'G':
            return change_value(card, command[1], rest, true);
        default:
            return change_value(card, command[1], rest, false);
    }
}

}  // namespace

std::optional<Result> classic_command(IcModule& ic, const KeyTypes& types, View command) {
    if (command.empty()) return std::nullopt;
    if (command[0] == 'A') return power_on(ic);
    if (command[0] == 'K') return ic.power_off(field);
    const auto size = size_of(command[0]);
    const bool fits = command[0] == 'B' ? command.size() >= 3 : command.size() == size;
    if (!size || !fits) return std::nullopt;
    Card* card = ic.card_at(field);
    if (card == nullptr) return Result{Outcome::no_card, {}};
    auto* classic = dynamic_cast<MifareClassic*>(card);
    if (classic == nullptr) return refused;
    if (!ic.is_powered(field)) return Result{Outcome::not_powered, {}};
    return card_command(*classic, types, command);
}

}  // namespace virtual_reader
