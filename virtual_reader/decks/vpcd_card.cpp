#include "decks/vpcd_card.h"

#include "cards/vpcd_card.h"

namespace virtual_reader {

std::unique_ptr<Card> read_vpcd_card(const Node& node) {
    node.allow(
        {"type", "name", "contactless", "inserted", "slot", "host", "port", "connect", "limit_ms"});
    VpcdCardSettings settings;
    settings.name = node.at("name").text();
    if (node.has("contactless")) settings.contactless = node.at("contactless").flag();
    if (node.has("host")) settings.address.host = node.at("host").text();
    if (settings.address.host.empty()) node.at("host").fail("a host");
    if (node.has("port")) settings.address.port = node.at("port").number(0, 65535);
    if (node.has("connect")) settings.connects = node.at("connect").flag();
    if (node.has("limit_ms"))
        settings.limit = std::chrono::milliseconds(node.at("limit_ms").number(1, 60000));
    return std::make_unique<VpcdCard>(std::move(settings));
}

}  // namespace virtual_reader
