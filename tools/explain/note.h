// What is to be said of bytes: a tree of notes, printed as indented lines or as JSON.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <cJSON.h>

#include "bytes.h"

namespace explain {

struct Note {
    std::string label{};    // a tag, or which part it is
    std::string name{};     // of what has a name
    std::string bytes{};    // hexadecimal
    std::string meaning{};  // of the bytes
    bool problem = false;
    std::vector<Note> parts{};

    Note& add(Note part) { return parts.emplace_back(std::move(part)); }
    void add_problem(std::string what) { add({.meaning = std::move(what), .problem = true}); }
};

enum class Colour { none, label, name, bytes, meaning, problem, sent, received, quiet };

// Adds the escape sequences of a terminal, or none.
std::string painted(std::string_view text, Colour colour, bool coloured);

// "1 byte", "2 bytes".
std::string byte_count(std::size_t count);

// One line a note, its parts below it, two blanks deeper.
std::string as_text(const Note& note, bool coloured, std::size_t depth = 0);

// The note as an object: its members that are not empty, "problem" where it is one, "parts".
cJSON* as_json(const Note& note);

// Text of a card as UTF-8: printable characters as they stand, '.' for the others. GB18030 and
// UTF-8 are understood.
std::string shown_text(View bytes);

// The same for characters of two bytes, the low one first, without the blanks behind them.
std::string shown_wide_text(View bytes);

}  // namespace explain
