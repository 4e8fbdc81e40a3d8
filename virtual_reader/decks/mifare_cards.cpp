#include "decks/mifare_cards.h"

#include <limits>

#include "cards/mifare_classic.h"
#include "cards/ultralight_c.h"

namespace virtual_reader {
namespace {

ClassicSize read_size(const Node& node) {
    if (!node.has("size") || node.at("size").text() == "1K") return ClassicSize::small;
    if (node.at("size").text() == "4K") return ClassicSize::large;
    node.at("size").fail("\"1K\" or \"4K\"");
}

ClassicBlock& block_of(MifareClassicSettings& settings, int number) {
    return settings.blocks[static_cast<std::size_t>(number)];
}

void read_sector(const Node& node, MifareClassicSettings& settings) {
    node.allow({"number", "key_a", "key_b", "access"});
    const int sector = node.at("number").number(1, sector_count(settings.size)) - 1;
    ClassicKey key_a;
    key_a.fill(0xFF);
    ClassicKey key_b = key_a;
    auto access = open_access;
    if (node.has("key_a")) key_a = node.at("key_a").hex_array<6>();
    if (node.has("key_b")) key_b = node.at("key_b").hex_array<6>();
    if (node.has("access")) access = node.at("access").hex_array<4>();
    block_of(settings, trailer_of(sector)) = trailer_block(key_a, access, key_b);
}

void read_block(const Node& node, MifareClassicSettings& settings) {
    node.allow({"number", "data", "value"});
    const int number = node.at("number").number(1, block_count(settings.size) - 1);
    if (number == trailer_of(sector_of(number)))
        node.at("number").fail("a data block, not the trailer of a sector");
    if (node.has("data") == node.has("value")) node.fail("either data or value");
    ClassicBlock& block = block_of(settings, number);
    if (node.has("data")) {
        std::ranges::copy(node.at("data").content(classic_block_size), block.begin());
        return;
    }
    using Limits = std::numeric_limits<int>;
    const int value = node.at("value").number(Limits::min(), Limits::max());
    block = value_block(static_cast<std::uint32_t>(value), static_cast<std::uint8_t>(number));
}

}  // namespace

std::unique_ptr<Card> read_mifare_classic_card(const Node& node) {
    node.allow({"type", "name", "inserted", "size", "uid", "sectors", "blocks"});
    MifareClassicSettings settings;
    settings.name = node.at("name").text();
    settings.size = read_size(node);
    settings.uid = {0x44, 0x45, 0x53, 0x4B};
    if (node.has("uid")) settings.uid = node.at("uid").hex_array<4>();
    settings.blocks = delivered_blocks(settings.size);
    if (node.has("sectors")) {
        for (const Node& sector : node.at("sectors").elements())
            read_sector(sector, settings);
    }
    if (node.has("blocks")) {
        for (const Node& block : node.at("blocks").elements())
            read_block(block, settings);
    }
    return std::make_unique<MifareClassic>(std::move(settings));
}

std::unique_ptr<Card> read_ultralight_c_card(const Node& node) {
    node.allow({"type", "name", "inserted", "uid", "key", "data", "locks", "protected_from",
                "protects_reading", "seed"});
    UltralightCSettings settings;
    settings.name = node.at("name").text();
    settings.uid = {0x04, 0x44, 0x45, 0x53, 0x4B, 0x55, 0x4C};
    settings.key = ultralight_delivery_key;
    if (node.has("uid")) settings.uid = node.at("uid").hex_array<7>();
    if (node.has("key")) settings.key = node.at("key").hex_array<16>();
    if (node.has("data")) settings.data = node.at("data").content(ultralight_data_size);
    if (node.has("locks")) settings.locks = node.at("locks").hex_array<4>();
    if (node.has("protected_from")) {
        settings.protected_from =
            static_cast<std::uint8_t>(node.at("protected_from").number(3, 48));
    }
    if (node.has("protects_reading"))
        settings.protects_reading = node.at("protects_reading").flag();
    if (node.has("seed"))
        settings.seed = static_cast<std::uint32_t>(node.at("seed").number(0, 2147483647));
    return std::make_unique<UltralightC>(std::move(settings));
}

}  // namespace virtual_reader
