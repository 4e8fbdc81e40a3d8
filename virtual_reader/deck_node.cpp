#include "deck_node.h"

#include <limits>
#include <stdexcept>

#include "deck_error.h"

namespace virtual_reader {

void Node::fail(const std::string& expected) const {
    throw DeckError(place() + "expected " + expected + ", found " + found());
}

std::string Node::found() const {
    return json_.is_structured() ? std::string(json_.type_name()) : json_.dump();
}

void Node::allow(const std::vector<std::string>& known) const {
    if (!json_.is_object()) fail("an object");
    for (const auto& [key, value] : json_.items()) {
        if (std::ranges::find(known, key) != known.end()) continue;
        std::string names;
        for (const std::string& one : known)
            names += (names.empty() ? "" : ", ") + one;
        throw DeckError(source_ + ": " + path_ + "/" + key + ": unknown key, expected one of " +
                        names);
    }
}

Node Node::at(const std::string& key) const {
    if (!json_.is_object()) fail("an object");
    if (!has(key)) throw DeckError(place() + "expected a key " + key);
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
    const std::string expected =
        "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
    if (!json_.is_number_integer()) fail(expected);
    // The type is of the sign: a positive number may be too large for a signed one.
    constexpr auto highest_signed = std::numeric_limits<long long>::max();
    if (json_.is_number_unsigned() && json_.get<unsigned long long>() > highest_signed)
        fail(expected);
    const auto value = json_.get<long long>();
    if (value < lowest || value > highest) fail(expected);
    return static_cast<int>(value);
}

Bytes Node::hex() const {
    try {
        return from_hex(text());
    } catch (const std::invalid_argument&) {
        fail("an even number of hexadecimal digits");
    }
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

Bytes Node::content(std::size_t at_most) const {
    Bytes bytes = content();
    if (bytes.size() > at_most) fail("at most " + std::to_string(at_most) + " bytes");
    return bytes;
}

}  // namespace virtual_reader
