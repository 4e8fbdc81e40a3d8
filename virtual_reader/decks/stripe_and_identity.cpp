#include "decks/stripe_and_identity.h"

#include <numeric>

#include "cards/portrait.h"

namespace virtual_reader {
namespace {

Track read_track(const Node& node, int number) {
    const std::string key = "track" + std::to_string(number);
    if (!node.has(key)) return {};
    const Node text = node.at(key);
    if (!fits_track(number, text.text())) {
        text.fail("at most " + std::to_string(track_capacity(number)) + " of the characters " +
                  (number == 1 ? "from blank to _, without % and ?" : "0 to 9 = ' @ # :"));
    }
    return {text.text(), false};
}

IdentityKind read_kind(const Node& node) {
    if (!node.has("kind")) return IdentityKind::resident;
    const Node kind = node.at("kind");
    if (kind.text() == "resident") return IdentityKind::resident;
    if (kind.text() == "foreign") return IdentityKind::foreign;
    if (kind.text() == "residence") return IdentityKind::residence;
    kind.fail("\"resident\", \"foreign\" or \"residence\"");
}

IdentityTexts read_texts(const Node& node, IdentityKind kind) {
    std::vector<std::string> names;
    for (const IdentityField& field : identity_fields(kind))
        names.emplace_back(field.name);
    node.allow(names);
    IdentityTexts texts;
    for (const IdentityField& field : identity_fields(kind)) {
        const std::string name(field.name);
        if (!node.has(name)) continue;
        texts[name] = node.at(name).text();
        try {
            identity_text(texts[name], field.characters);
        } catch (const IdentityTextError& error) {
            node.at(name).fail(error.what());
        }
    }
    return texts;
}

}  // namespace

std::unique_ptr<MagneticCard> read_magnetic_card(const Node& node) {
    node.allow({"type", "name", "inserted", "track1", "track2", "track3", "damaged"});
    std::array<Track, 3> tracks = {read_track(node, 1), read_track(node, 2), read_track(node, 3)};
    if (node.has("damaged")) {
        for (const Node& number : node.at("damaged").elements())
            tracks[static_cast<std::size_t>(number.number(1, 3) - 1)].damaged = true;
    }
    return std::make_unique<MagneticCard>(node.at("name").text(), std::move(tracks));
}

std::unique_ptr<IdentityCard> read_identity_card(const Node& node) {
    node.allow({"type", "name", "inserted", "kind", "texts", "photo", "fingerprint", "chip_number",
                "card_number"});
    IdentityCardSettings settings;
    settings.name = node.at("name").text();
    settings.kind = read_kind(node);
    if (node.has("texts")) settings.texts = read_texts(node.at("texts"), settings.kind);
    const auto seed = std::accumulate(settings.name.begin(), settings.name.end(), 0);
    settings.photo = node.has("photo") ? node.at("photo").content(identity_image_size)
                                       : portrait(static_cast<std::uint32_t>(seed));
    if (node.has("fingerprint"))
        settings.fingerprint = node.at("fingerprint").content(identity_image_size);
    if (node.has("chip_number"))
        settings.chip_number = to_bytes(node.at("chip_number").hex_array<8>());
    if (node.has("card_number"))
        settings.card_number = to_bytes(node.at("card_number").hex_array<16>());
    const bool has_numbers = node.has("chip_number") || node.has("card_number");
    if (has_numbers && !settings.fingerprint) node.at("fingerprint");
    return std::make_unique<IdentityCard>(std::move(settings));
}

}  // namespace virtual_reader
