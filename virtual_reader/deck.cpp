#include "deck.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include <nlohmann/json.hpp>

#include "decks/iso_card.h"
#include "decks/node.h"
#include "decks/payment_card.h"
#include "decks/purse_card.h"
#include "decks/social_security_card.h"

namespace virtual_reader {
namespace {

using Json = nlohmann::json;

ReaderSettings read_settings(const Node& node) {
    node.allow({"information", "serial_number", "baud", "answer_mode_on_serial"});
    ReaderSettings settings;
    if (node.has("information")) settings.information = node.at("information").text();
    if (settings.information.size() > 100) node.at("information").fail("at most 100 characters");
    if (node.has("serial_number")) settings.serial_number = node.at("serial_number").text();
    if (settings.serial_number.size() > 32) node.at("serial_number").fail("at most 32 characters");
    if (node.has("baud")) settings.baud = static_cast<int>(node.at("baud").number(1200, 115200));
    if (node.has("answer_mode_on_serial"))
        settings.answer_mode_on_serial = node.at("answer_mode_on_serial").flag();
    return settings;
}

using CardMaker = std::unique_ptr<Card> (*)(const Node&);

struct CardType {
    const char* name;
    CardMaker make;
};

constexpr CardType card_types[] = {
    {"iso", read_iso_card},
    {"payment", read_payment_card},
    {"purse", read_purse_card},
    {"social-security", read_social_security_card},
};

std::unique_ptr<Card> read_card(const Node& node) {
    const std::string type = node.at("type").text();
    const auto* known = std::ranges::find(
        card_types, type, [](const CardType& one) { return std::string(one.name); });
    if (known == std::end(card_types))
        node.at("type").fail("\"iso\", \"payment\", \"purse\" or \"social-security\"");
    return known->make(node);
}

void put_in(Reader& reader, const Node& node, std::set<std::string>& names) {
    auto card = read_card(node);
    const std::string name = card->name();
    if (name.empty() || name.find_first_of(" \n") != std::string::npos)
        node.at("name").fail("a name without blanks");
    if (!names.insert(name).second) node.at("name").fail("a name of its own for each card");
    const int slot = node.has("slot") ? static_cast<int>(node.at("slot").number(0, 31)) : 0;
    const bool inserted = node.has("inserted") && node.at("inserted").flag();
    reader.ic().add(std::move(card));
    if (inserted) reader.ic().insert(name, slot);
}

// "source:line:column", counted from 1.
std::string place_of(std::string_view json, const std::string& source, std::size_t byte) {
    const std::string_view before = json.substr(0, byte > 0 ? byte - 1 : 0);
    const auto line = std::ranges::count(before, '\n') + 1;
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    return source + ":" + std::to_string(line) + ":" + std::to_string(column);
}

Json parse(std::string_view json, const std::string& source) {
    try {
        return Json::parse(json);
    } catch (const Json::parse_error& error) {
        // The library's text tells what was expected behind its own account of the place.
        const std::string text = error.what();
        const std::size_t begin = text.find(": ", text.find("column"));
        throw DeckError(place_of(json, source, error.byte) +
                        (begin == std::string::npos ? ": " + text : text.substr(begin)));
    }
}

}  // namespace

std::unique_ptr<Reader> reader_from_deck(std::string_view json, const std::string& source) {
    const Json parsed = parse(json, source);
    const Node deck(parsed, source, "");
    deck.allow({"reader", "cards"});
    auto reader = std::make_unique<Reader>(deck.has("reader") ? read_settings(deck.at("reader"))
                                                              : ReaderSettings{});
    std::set<std::string> names;
    if (deck.has("cards")) {
        for (const Node& card : deck.at("cards").elements())
            put_in(*reader, card, names);
    }
    return reader;
}

std::unique_ptr<Reader> reader_from_deck_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw DeckError(path + ": cannot be read");
    const std::string json{std::istreambuf_iterator<char>(file), {}};
    return reader_from_deck(json, path);
}

std::string_view default_deck() {
    return R"({
  "reader": { "information": "DESK READER VIRTUAL 1.0", "serial_number": "DR2026000001" },
  "cards": [
    {
      "type": "iso", "name": "member", "inserted": true, "answer": "3B0444455348",
      "directories": [
        { "id": "DF01", "name": "F04445534B01", "files": [
          { "id": "EF01", "sfi": 1, "records": ["MEMBER 0001", "ADA EXAMPLE", "VALID 2030-12"] },
          { "id": "EF02", "sfi": 2, "data": "Nobody real has ever owned this card." } ] } ]
    },
    {
      "type": "iso", "name": "visitor", "contactless": true, "inserted": true, "answer": "0400088041424344",
      "directories": [
        { "id": "DF01", "name": "F04445534B01", "files": [
          { "id": "EF01", "sfi": 1, "records": ["VISITOR 0002", "BOB EXAMPLE"] } ] } ]
    },
    {
      "type": "payment", "name": "bank", "answer": "3B0442414E4B", "label": "DESK DEBIT",
      "account_number": "9999990000000013", "sequence_number": 1, "expiry": "301231",
      "holder": "EXAMPLE/ADA", "pin": "1234", "balance": 10000
    },
    {
      "type": "social-security", "name": "citizen", "answer": "3B04434954495A",
      "person": "ADA EXAMPLE", "number": "999999190001010013", "card_number": "X00000013"
    }
  ]
}
)";
}

}  // namespace virtual_reader
