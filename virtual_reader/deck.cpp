#include "deck.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include <nlohmann/json.hpp>

#include "cards/iso_card.h"

namespace virtual_reader {
namespace {

using Json = nlohmann::json;

// One value of the deck, with its path for errors.
class Node {
  public:
    Node(const Json& json, std::string source, std::string path)
        : json_(json), source_(std::move(source)), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string& expected) const {
        throw DeckError(source_ + ": " + (path_.empty() ? "/" : path_) + ": expected " + expected +
                        ", found " + found());
    }

    // The members of an object; any other than the known ones is an error.
    void allow(std::initializer_list<const char*> known) const {
        if (!json_.is_object()) fail("an object");
        for (const auto& [key, value] : json_.items()) {
            if (std::ranges::find(known, key, [](const char* one) { return std::string(one); }) !=
                known.end())
                continue;
            std::string names;
            for (const char* one : known) {
                if (!names.empty()) names += ", ";
                names += one;
            }
            throw DeckError(source_ + ": " + path_ + "/" + key + ": unknown key, expected one of " +
                            names);
        }
    }

    bool has(const char* key) const { return json_.contains(key); }

    Node at(const char* key) const {
        if (!json_.is_object()) fail("an object");
        if (!has(key)) {
            throw DeckError(source_ + ": " + (path_.empty() ? "/" : path_) + ": expected a key " +
                            key);
        }
        return {json_.at(key), source_, path_ + "/" + key};
    }

    std::vector<Node> elements() const {
        if (!json_.is_array()) fail("an array");
        std::vector<Node> nodes;
        for (std::size_t i = 0; i < json_.size(); ++i)
            nodes.emplace_back(json_[i], source_, path_ + "/" + std::to_string(i));
        return nodes;
    }

    std::string text() const {
        if (!json_.is_string()) fail("a text");
        return json_.get<std::string>();
    }

    bool flag() const {
        if (!json_.is_boolean()) fail("true or false");
        return json_.get<bool>();
    }

    int number(int lowest, int highest) const {
        const std::string expected =
            "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
        if (!json_.is_number_integer()) fail(expected);
        const auto value = json_.get<long long>();
        if (value < lowest || value > highest) fail(expected);
        return static_cast<int>(value);
    }

    Bytes hex() const {
        try {
            return from_hex(text());
        } catch (const std::invalid_argument&) {
            fail("an even number of hexadecimal digits");
        }
    }

    std::uint16_t file_id() const {
        const Bytes bytes = hex();
        if (bytes.size() != 2) fail("four hexadecimal digits");
        return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
    }

    // A text, or an object with the key hex.
    Bytes content() const {
        if (json_.is_string()) return to_bytes(text());
        if (!json_.is_object()) fail("a text or {\"hex\": ...}");
        allow({"hex"});
        return at("hex").hex();
    }

  private:
    std::string found() const {
        return json_.is_structured() ? std::string(json_.type_name()) : json_.dump();
    }

    const Json& json_;
    std::string source_;
    std::string path_;
};

ReaderSettings read_settings(const Node& node) {
    node.allow({"information", "serial_number", "baud", "answer_mode_on_serial"});
    ReaderSettings settings;
    if (node.has("information")) settings.information = node.at("information").text();
    if (settings.information.size() > 100) node.at("information").fail("at most 100 characters");
    if (node.has("serial_number")) settings.serial_number = node.at("serial_number").text();
    if (settings.serial_number.size() > 32) node.at("serial_number").fail("at most 32 characters");
    if (node.has("baud")) settings.baud = node.at("baud").number(1200, 115200);
    if (node.has("answer_mode_on_serial"))
        settings.answer_mode_on_serial = node.at("answer_mode_on_serial").flag();
    return settings;
}

ElementaryFile read_file(const Node& node) {
    node.allow({"id", "sfi", "data", "records"});
    ElementaryFile file;
    file.id = node.at("id").file_id();
    if (node.has("sfi")) file.sfi = static_cast<std::uint8_t>(node.at("sfi").number(1, 30));
    if (node.has("data") == node.has("records")) node.fail("either data or records");
    if (node.has("data")) file.data = node.at("data").content();
    if (node.has("records")) {
        for (const Node& record : node.at("records").elements()) {
            file.records.push_back(record.content());
            if (file.records.back().size() > 255) record.fail("at most 255 bytes");
        }
    }
    return file;
}

Directory read_directory(const Node& node) {
    node.allow({"id", "name", "files"});
    Directory directory;
    directory.id = node.at("id").file_id();
    directory.name = node.at("name").hex();
    if (directory.name.empty() || directory.name.size() > 16) node.at("name").fail("1 to 16 bytes");
    if (node.has("files")) {
        for (const Node& file : node.at("files").elements())
            directory.files.push_back(read_file(file));
    }
    return directory;
}

std::unique_ptr<Card> read_iso_card(const Node& node) {
    node.allow({"type", "name", "contactless", "inserted", "slot", "answer", "procedure_bytes",
                "seed", "files", "directories"});
    IsoCardSettings settings;
    settings.name = node.at("name").text();
    if (node.has("contactless")) settings.contactless = node.at("contactless").flag();
    settings.answer = from_hex(settings.contactless ? "0400088041424344" : "3B0444455348");
    if (node.has("answer")) settings.answer = node.at("answer").hex();
    if (settings.answer.size() > 64) node.at("answer").fail("at most 64 bytes");
    if (node.has("procedure_bytes"))
        settings.by_procedure_bytes = node.at("procedure_bytes").flag();
    if (node.has("seed"))
        settings.seed = static_cast<std::uint32_t>(node.at("seed").number(0, 2147483647));
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

using CardMaker = std::unique_ptr<Card> (*)(const Node&);

struct CardType {
    const char* name;
    CardMaker make;
};

constexpr CardType card_types[] = {
    {"iso", read_iso_card},
};

std::unique_ptr<Card> read_card(const Node& node) {
    const std::string type = node.at("type").text();
    const auto* known = std::ranges::find(
        card_types, type, [](const CardType& one) { return std::string(one.name); });
    if (known == std::end(card_types)) node.at("type").fail("\"iso\"");
    return known->make(node);
}

void put_in(Reader& reader, const Node& node, std::set<std::string>& names) {
    auto card = read_card(node);
    const std::string name = card->name();
    if (name.empty() || name.find_first_of(" \n") != std::string::npos)
        node.at("name").fail("a name without blanks");
    if (!names.insert(name).second) node.at("name").fail("a name of its own for each card");
    const int slot = node.has("slot") ? node.at("slot").number(0, 31) : 0;
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
    }
  ]
}
)";
}

}  // namespace virtual_reader
