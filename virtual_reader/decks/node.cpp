#include "decks/node.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "deck_error.h"

namespace virtual_reader {
namespace {

std::string byte_count(std::size_t fewest, std::size_t most) {
    const std::string unit = most == 1 ? " byte" : " bytes";
    if (fewest == most) return std::to_string(most) + unit;
    return std::to_string(fewest) + " to " + std::to_string(most) + unit;
}

// The value of a whole number, however it is written: 9600 and 9600.0 are one.
std::optional<std::int64_t> whole_number(const nlohmann::json& json) {
    constexpr double exact = 9007199254740992;  // beyond 2 to the 53rd not all numbers are
    if (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX) return std::nullopt;
    if (json.is_number_integer()) return json.get<std::int64_t>();
    if (!json.is_number_float()) return std::nullopt;
    const double value = json.get<double>();
    if (std::abs(value) > exact || value != std::floor(value)) return std::nullopt;
    return static_cast<std::int64_t>(value);
}

}  // namespace

void Node::fail(const std::string& expected) const {
    throw DeckError(source_ + ": " + (path_.empty() ? "/" : path_) + ": expected " + expected +
                    ", found " + found());
}

std::string Node::found() const {
    return json_.is_structured() ? std::string(json_.type_name()) : json_.dump();
}

void Node::allow(const std::vector<std::string>& known) const {
    if (!json_.is_object()) fail("an object");
    for (const auto& [key, value] : json_.items()) {
        if (std::ranges::find(known, key) != known.end()) continue;
        std::string names;
        for (const std::string& one : known) {
            if (!names.empty()) names += ", ";
            names += one;
        }
        throw DeckError(source_ + ": " + path_ + "/" + key + ": unknown key, expected one of " +
                        names);
    }
}

bool Node::has(const std::string& key) const {
    return json_.contains(key);
}

Node Node::at(const std::string& key) const {
    if (!json_.is_object()) fail("an object");
    if (!has(key)) {
        throw DeckError(source_ + ": " + (path_.empty() ? "/" : path_) + ": expected a key " + key);
    }
    return {json_.at(key), source_, path_ + "/" + key};
}

std::vector<Node> Node::elements() const {
    if (!json_.is_array()) fail("an array");
    std::vector<Node> nodes;
    for (std::size_t i = 0; i < json_.size(); ++i)
        nodes.emplace_back(json_[i], source_, path_ + "/" + std::to_string(i));
    return nodes;
}

std::string Node::text() const {
    if (!json_.is_string()) fail("a text");
    return json_.get<std::string>();
}

bool Node::flag() const {
    if (!json_.is_boolean()) fail("true or false");
    return json_.get<bool>();
}

int Node::number(int lowest, int highest) const {
    return static_cast<int>(large_number(lowest, highest));
}

std::int64_t Node::large_number(std::int64_t lowest, std::int64_t highest) const {
    const std::string expected =
        "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
    const auto value = whole_number(json_);
    if (!value || *value < lowest || *value > highest) fail(expected);
    return *value;
}

std::string Node::digits(std::size_t fewest, std::size_t most) const {
    std::string value = text();
    const bool only_digits = value.find_first_not_of("0123456789") == std::string::npos;
    if (!only_digits || value.size() < fewest || value.size() > most) {
        fail(fewest == most ? std::to_string(most) + " digits"
                            : std::to_string(fewest) + " to " + std::to_string(most) + " digits");
    }
    return value;
}

Bytes Node::hex() const {
    try {
        return from_hex(text());
    } catch (const std::invalid_argument&) {
        fail("an even number of hexadecimal digits");
    }
}

Bytes Node::hex(std::size_t fewest, std::size_t most) const {
    Bytes bytes = hex();
    if (bytes.size() < fewest || bytes.size() > most) fail(byte_count(fewest, most));
    return bytes;
}

std::uint16_t Node::file_id() const {
    const Bytes bytes = hex();
    if (bytes.size() != 2) fail("four hexadecimal digits");
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

Bytes Node::content() const {
    if (json_.is_string()) return to_bytes(text());
    if (!json_.is_object()) fail("a text or {\"hex\": ...}");
    allow({"hex"});
    return at("hex").hex();
}

Bytes Node::content(std::size_t most) const {
    Bytes bytes = content();
    if (bytes.size() > most) fail("at most " + byte_count(most, most));
    return bytes;
}

std::size_t Node::choice(std::initializer_list<const char*> words) const {
    std::string names;
    std::size_t at = 0;
    const std::string value = json_.is_string() ? text() : std::string();
    for (const char* word : words) {
        if (value == word) return at;
        if (at > 0) names += at + 1 == words.size() ? " or " : ", ";
        names += '"' + std::string(word) + '"';
        ++at;
    }
    fail(names);
}

}  // namespace virtual_reader
