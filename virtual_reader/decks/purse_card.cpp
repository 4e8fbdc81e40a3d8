#include "decks/purse_card.h"

#include <algorithm>

#include "cards/purse_card.h"
#include "decks/card_basics.h"

namespace virtual_reader {
namespace {

struct KeyRow {
    const char* key;
    Key PurseKeys::*member;
};

constexpr KeyRow key_rows[] = {
    {"purchase", &PurseKeys::purchase},
    {"load", &PurseKeys::load},
    {"transaction", &PurseKeys::transaction},
    {"maintenance", &PurseKeys::maintenance},
};

PurseKeys read_keys(const Node& node) {
    node.allow({"purchase", "load", "transaction", "maintenance"});
    PurseKeys keys = example_purse_keys;
    for (const KeyRow& row : key_rows) {
        if (!node.has(row.key)) continue;
        Key& key = keys.*row.member;
        std::ranges::copy(node.at(row.key).hex(key.size(), key.size()), key.begin());
    }
    return keys;
}

}  // namespace

std::unique_ptr<Card> read_purse_card(const Node& node) {
    allow_card_keys(node, {"seed", "application", "pin", "pin_tries", "deposit", "purse",
                           "key_index", "keys", "files"});
    auto settings = with_basics<PurseCardSettings>(node);
    if (node.has("seed")) settings.seed = read_seed(node.at("seed"));
    if (node.has("application")) settings.application = node.at("application").hex(5, 16);
    if (node.has("pin")) settings.pin = node.at("pin").hex(2, 6);
    if (node.has("pin_tries")) settings.pin_tries = node.at("pin_tries").number(1, 15);
    if (node.has("deposit")) {
        settings.deposit =
            static_cast<std::uint32_t>(node.at("deposit").large_number(0, UINT32_MAX));
    }
    if (node.has("purse")) {
        settings.purse = static_cast<std::uint32_t>(node.at("purse").large_number(0, UINT32_MAX));
    }
    if (node.has("key_index")) {
        settings.key_index = static_cast<std::uint8_t>(node.at("key_index").number(0, 255));
    }
    if (node.has("keys")) settings.keys = read_keys(node.at("keys"));
    if (node.has("files")) {
        for (const Node& file : node.at("files").elements()) {
            settings.files.push_back(read_file(file));
            if (!settings.files.back().data) file.fail("a file with data");
        }
    }
    return std::make_unique<PurseCard>(std::move(settings));
}

}  // namespace virtual_reader
