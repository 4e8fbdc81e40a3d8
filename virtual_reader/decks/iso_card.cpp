#include "decks/iso_card.h"

#include "cards/iso_card.h"
#include "decks/card_basics.h"

namespace virtual_reader {
namespace {

Directory read_directory(const Node& node) {
    node.allow({"id", "name", "files"});
    Directory directory;
    directory.id = node.at("id").file_id();
    directory.name = node.at("name").hex(1, 16);
    if (node.has("files")) {
        for (const Node& file : node.at("files").elements())
            directory.files.push_back(read_file(file));
    }
    return directory;
}

}  // namespace

std::unique_ptr<Card> read_iso_card(const Node& node) {
    allow_card_keys(node, {"seed", "files", "directories"});
    auto settings = with_basics<IsoCardSettings>(node);
    if (node.has("seed")) settings.seed = read_seed(node.at("seed"));
    if (node.has("files")) {
        for (const Node& file : node.at("files").elements())
            settings.files.master.files.push_back(read_file(file));
    }
    if (node.has("directories")) {
        for (const Node& one : node.at("directories").elements())
            settings.files.directories.push_back(read_directory(one));
    }
    return std::make_unique<IsoCard>(std::move(settings));
}

}  // namespace virtual_reader
