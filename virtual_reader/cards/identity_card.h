// An identity card: a text block, a photo block, and on some a fingerprint block. The people on
// them are made up.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bytes.h"

namespace virtual_reader {

enum class IdentityKind {
    resident,
    foreign,    // of foreigners with permanent residence
    residence,  // of residents of Hong Kong, Macau and Taiwan
};

// One text of a card: where it stands in the text block, and how many characters it has.
struct IdentityField {
    std::string_view name;
    std::size_t offset;
    std::size_t characters;
};

std::span<const IdentityField> identity_fields(IdentityKind kind);

constexpr std::size_t identity_text_size = 256;
constexpr std::size_t identity_image_size = 1024;  // of a photo, and of a fingerprint

using IdentityTexts = std::map<std::string, std::string, std::less<>>;  // UTF-8, by field name

// What is wrong with a text.
class IdentityTextError : public std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

// The bytes of a UTF-8 text as it stands on the card, two a character with the low one first.
// Throws IdentityTextError for more than so many characters, for one beyond U+FFFF, and for broken
// UTF-8.
Bytes identity_text(std::string_view utf8, std::size_t characters);

struct IdentityCardSettings {
    std::string name;  // of the card in the deck
    IdentityKind kind = IdentityKind::resident;
    IdentityTexts texts;               // a field without one is blank
    Bytes photo;                       // at most identity_image_size, as are fingerprints
    std::optional<Bytes> fingerprint;  // absent on cards that carry none
    Bytes chip_number;                 // behind the fingerprint, on cards that tell it: 8 bytes
    Bytes card_number;                 // and 16 bytes
};

class IdentityCard {
  public:
    // Throws IdentityTextError.
    explicit IdentityCard(IdentityCardSettings settings);

    const std::string& name() const { return name_; }

    const Bytes& text() const { return text_; }    // identity_text_size bytes
    const Bytes& photo() const { return photo_; }  // identity_image_size bytes, as the fingerprint
    const std::optional<Bytes>& fingerprint() const { return fingerprint_; }
    const Bytes& numbers() const { return numbers_; }  // what follows the fingerprint

  private:
    std::string name_;
    Bytes text_;
    Bytes photo_;
    std::optional<Bytes> fingerprint_;
    Bytes numbers_;
};

}  // namespace virtual_reader
