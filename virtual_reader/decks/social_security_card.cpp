#include "decks/social_security_card.h"

#include "cards/social_security_card.h"
#include "decks/card_basics.h"

namespace virtual_reader {
namespace {

// In the order of the elements.
constexpr const char* element_keys[citizen_elements] = {
    "identification", "card_type",   "version",   "organisation", "issued",
    "expires",        "card_number", "number",    "person",       "sex",
    "nationality",    "birth_place", "birth_date"};

constexpr std::size_t longest_element = 64;

}  // namespace

std::unique_ptr<Card> read_social_security_card(const Node& node) {
    allow_card_keys(node, {"identification", "card_type", "version", "organisation", "issued",
                           "expires", "card_number", "number", "person", "sex", "nationality",
                           "birth_place", "birth_date", "without", "ends_after"});
    auto settings = with_basics<SocialSecurityCardSettings>(node);
    for (std::size_t element = 0; element < citizen_elements; ++element) {
        const char* key = element_keys[element];
        if (node.has(key)) settings.elements[element] = node.at(key).content(longest_element);
    }
    if (node.has("without")) {
        for (const Node& tag : node.at("without").elements())
            settings.without.insert(tag.number(1, citizen_elements));
    }
    if (node.has("ends_after")) {
        settings.ends_after =
            static_cast<std::size_t>(node.at("ends_after").number(0, citizen_elements));
    }
    return std::make_unique<IsoCard>(social_security_card(settings));
}

}  // namespace virtual_reader
