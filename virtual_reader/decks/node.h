// One value of a deck, with its path for errors.
#pragma once

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
    void allow(const std::vector<const char*>& known) const;

    bool has(const char* key) const;
    Node at(const char* key) const;
    std::vector<Node> elements() const;

    std::string text() const;
    bool flag() const;
    std::int64_t number(std::int64_t lowest, std::int64_t highest) const;

    // Decimal digits in a text, `fewest` to `most` of them.
    std::string digits(std::size_t fewest, std::size_t most) const;

    Bytes hex() const;
    Bytes hex(std::size_t fewest, std::size_t most) const;
    std::uint16_t file_id() const;

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
