// One value of a deck, with its path for errors. What is not as it should be is thrown as
// DeckError.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "bytes.h"

namespace virtual_reader {

using Json = nlohmann::json;

class Node {
  public:
    Node(const Json& json, std::string source, std::string path)
        : json_(json), source_(std::move(source)), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string& expected) const;

    // The members of an object; any other than the known ones is an error.
    void allow(const std::vector<std::string>& known) const;

    bool has(const std::string& key) const { return json_.contains(key); }
    Node at(const std::string& key) const;
    std::vector<Node> elements() const;

    std::string text() const;
    bool flag() const;
    int number(int lowest, int highest) const;
    Bytes hex() const;
    std::uint16_t file_id() const;

    // Hexadecimal digits of exactly so many bytes.
    template <std::size_t size>
    std::array<std::uint8_t, size> hex_array() const {
        const Bytes bytes = hex();
        if (bytes.size() != size) fail(std::to_string(2 * size) + " hexadecimal digits");
        std::array<std::uint8_t, size> array;
        std::ranges::copy(bytes, array.begin());
        return array;
    }

    // A text, or an object with the key hex.
    Bytes content() const;
    Bytes content(std::size_t at_most) const;

  private:
    std::string found() const;
    std::string place() const { return source_ + ": " + (path_.empty() ? "/" : path_) + ": "; }

    const Json& json_;
    std::string source_;
    std::string path_;
};

}  // namespace virtual_reader
