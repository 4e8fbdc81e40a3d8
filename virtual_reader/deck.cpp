#include "deck.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <nlohmann/json.hpp>

#include "decks/faults.h"
#include "decks/hostile_card.h"
#include "decks/iso_card.h"
#include "decks/mifare_cards.h"
#include "decks/node.h"
#include "decks/payment_card.h"
#include "decks/purse_card.h"
#include "decks/social_security_card.h"
#include "decks/stripe_and_identity.h"
#include "decks/vpcd_card.h"

namespace virtual_reader {
namespace {

using Json = nlohmann::json;

// The rates that a serial port of a host has, too.
int read_rate(const Node& node) {
    constexpr int rates[] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
    const int rate = node.number(0, INT_MAX);
    if (std::ranges::find(rates, rate) == std::end(rates))
        node.fail("1200, 2400, 4800, 9600, 19200, 38400, 57600 or 115200");
    return rate;
}

ReaderSettings read_settings(const Node& node) {
    node.allow({"information", "serial_number", "baud", "answer_mode_on_serial"});
    ReaderSettings settings;
    if (node.has("information")) settings.information = node.at("information").text();
    if (settings.information.size() > 100) node.at("information").fail("at most 100 characters");
    if (node.has("serial_number")) settings.serial_number = node.at("serial_number").text();
    if (settings.serial_number.size() > 32) node.at("serial_number").fail("at most 32 characters");
    if (node.has("baud")) settings.baud = read_rate(node.at("baud"));
    if (node.has("answer_mode_on_serial"))
        settings.answer_mode_on_serial = node.at("answer_mode_on_serial").flag();
    return settings;
}

// Reads a card and puts it into the drawer of the module that it belongs to.
using CardReader = void (*)(Reader&, const Node&);

template <auto read>
void add_ic(Reader& reader, const Node& node) {
    reader.ic().add(read(node));
}

void add_magnetic(Reader& reader, const Node& node) {
    reader.magnetic().add(read_magnetic_card(node));
}

void add_identity(Reader& reader, const Node& node) {
    reader.id().add(read_identity_card(node));
}

struct CardType {
    const char* name;
    CardReader add;
};

constexpr CardType card_types[] = {
    {"iso", add_ic<read_iso_card>},
    {"payment", add_ic<read_payment_card>},
    {"purse", add_ic<read_purse_card>},
    {"social-security", add_ic<read_social_security_card>},
    {"magnetic", add_magnetic},
    {"identity", add_identity},
    {"mifare-classic", add_ic<read_mifare_classic_card>},
    {"ultralight-c", add_ic<read_ultralight_c_card>},
    {"hostile", add_ic<read_hostile_card>},
    {"vpcd", add_ic<read_vpcd_card>},
};

const CardType& type_of(const Node& node) {
    const std::string type = node.at("type").text();
    std::string names;
    for (const CardType& one : card_types) {
        if (type == one.name) return one;
        names += std::string(names.empty() ? "" : ", ") + '"' + one.name + '"';
    }
    node.at("type").fail("one of " + names);
}

void put_in(Reader& reader, const Node& node, std::set<std::string>& names) {
    type_of(node).add(reader, node);
    const std::string name = node.at("name").text();
    if (name.empty() || name.find_first_of(" \t\n\v\f\r") != std::string::npos)
        node.at("name").fail("a name without blanks");
    if (!names.insert(name).second) node.at("name").fail("a name of its own for each card");
    const int slot = node.has("slot") ? node.at("slot").number(0, 31) : 0;
    if (node.has("inserted") && node.at("inserted").flag()) reader.insert(name, slot);
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
    } catch (const Json::out_of_range& error) {
        // A number beyond all numbers; the library does not tell where.
        const std::string text = error.what();
        throw DeckError(source + ": " + text.substr(text.find(' ') + 1));
    }
}

}  // namespace

std::unique_ptr<Reader> reader_from_deck(std::string_view json, const std::string& source) {
    const Json parsed = parse(json, source);
    const Node deck(parsed, source, "");
    deck.allow({"$schema", "reader", "cards", "faults"});
    if (deck.has("$schema")) deck.at("$schema").text();  // for editors
    auto reader = std::make_unique<Reader>(deck.has("reader") ? read_settings(deck.at("reader"))
                                                              : ReaderSettings{});
    std::set<std::string> names;
    if (deck.has("cards")) {
        for (const Node& card : deck.at("cards").elements())
            put_in(*reader, card, names);
    }
    if (deck.has("faults")) {
        for (const Node& fault : deck.at("faults").elements())
            reader->faults().add(read_fault(fault));
    }
    return reader;
}

std::unique_ptr<Reader> reader_from_deck_file(const std::string& path) {
    if (std::filesystem::is_directory(path)) throw DeckError(path + ": is a directory");
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
    },
    {
      "type": "magnetic", "name": "loyalty", "track1": "B9999000000000003^EXAMPLE/CAT^3012",
      "track2": "9999000000000003=3012", "track3": "009999000000000003'0012'0"
    },
    {
      "type": "identity", "name": "resident", "kind": "resident", "texts": {
        "name": "样本甲", "sex": "2", "nation": "01", "birth": "20000101",
        "address": "样本市无名路1号", "number": "999999200001019991", "authority": "样本市无名局",
        "valid_from": "20200101", "valid_until": "20400101" },
      "fingerprint": "No finger has ever left this print."
    },
    {
      "type": "identity", "name": "foreign", "kind": "foreign", "texts": {
        "english_name": "EXAMPLE DAN", "sex": "1", "number": "CAN999900010199",
        "nationality": "CAN", "chinese_name": "样本乙", "valid_from": "20200101",
        "valid_until": "20300101", "birth": "19900101", "version": "01", "authority": "9999" }
    },
    {
      "type": "identity", "name": "residence", "kind": "residence", "texts": {
        "name": "样本丙", "sex": "1", "birth": "19950101", "address": "样本市无名路2号",
        "number": "830000199501019992", "authority": "样本市无名局", "valid_from": "20200101",
        "valid_until": "20250101", "pass_number": "Z99999999", "issues": "01" },
      "fingerprint": "Nor this one.", "chip_number": "0102030405060708",
      "card_number": "000102030405060708090A0B0C0D0E0F"
    },
    {
      "type": "mifare-classic", "name": "locker", "size": "1K", "uid": "5A5B5C5D",
      "sectors": [ { "number": 2, "key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5" } ],
      "blocks": [ { "number": 4, "data": "LOCKER 17" }, { "number": 5, "value": 250 } ]
    },
    {
      "type": "ultralight-c", "name": "ticket", "uid": "04515253545556",
      "key": "49454D4B41455242214E4143554F5946", "data": "TEN RIDES, TO NOWHERE",
      "protected_from": 16
    }
  ]
}
)";
}

}  // namespace virtual_reader
