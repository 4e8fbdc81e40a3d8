// One value of a deck, with its path for errors.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "bytes.h"

namespace virtual_reader {

// Whatever is not as it was expected is thrown as DeckError.
class Node {
  public:
    Node(const nlohmann::json& json, std::string source, std::string path)
        : json_(json), source_(std::move(source)), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string& expected) const;

    // The members of an object; any other than the known ones is an error.
    void allow(const std::vector<std::string>& known) const;

    bool has(const std::string& key) const;
    Node at(const std::string& key) const;
    std::vector<Node> elements() const;

    std::string text() const;
    bool flag() const;
    int number(int lowest, int highest) const;
    std::int64_t large_number(std::int64_t lowest, std::int64_t highest) const;

    // Decimal digits in a text, `fewest` to `most` of them.
    std::string digits(std::size_t fewest, std::size_t most) const;

    Bytes hex() const;
    Bytes hex(std::size_t fewest, std::size_t most) const;
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
    Bytes content(std::size_t most) const;

    // One of some words; its place among them.
    std::size_t choice(std::initializer_list<const char*> words) const;

  private:
    std::string found() const;

    const nlohmann::json& json_;
    std::string source_;
    std::string path_;
};

}  // namespace virtual_reader
