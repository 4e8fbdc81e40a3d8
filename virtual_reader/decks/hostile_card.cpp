#include "decks/hostile_card.h"

#include "cards/hostile_card.h"
#include "decks/card_basics.h"

namespace virtual_reader {

std::unique_ptr<Card> read_hostile_card(const Node& node) {
    allow_card_keys(node, {"manner", "responses"});
    auto settings = with_basics<HostileCardSettings>(node);
    if (node.has("manner") == node.has("responses")) node.fail("either manner or responses");
    if (node.has("manner")) {
        // In the order of HostileManner.
        settings.manner = static_cast<HostileManner>(
            node.at("manner").choice({"sizes", "lengths", "endless-61", "endless-62", "endless-6C",
                                      "records", "logs", "names", "lists"}));
    }
    if (node.has("responses")) {
        for (const Node& response : node.at("responses").elements())
            settings.responses.push_back(response.hex());
    }
    return std::make_unique<HostileCard>(std::move(settings));
}

}  // namespace virtual_reader
