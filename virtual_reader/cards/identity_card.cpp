#include "cards/identity_card.h"

#include <algorithm>
#include <array>

namespace virtual_reader {
namespace {

constexpr std::array<IdentityField, 9> resident_fields = {{
    {"name", 0, 15},
    {"sex", 30, 1},
    {"nation", 32, 2},
    {"birth", 36, 8},
    {"address", 52, 35},
    {"number", 122, 18},
    {"authority", 158, 15},
    {"valid_from", 188, 8},
    {"valid_until", 204, 8},
}};

constexpr std::array<IdentityField, 10> residence_fields = {{
    {"name", 0, 15},
    {"sex", 30, 1},
    {"birth", 36, 8},
    {"address", 52, 35},
    {"number", 122, 18},
    {"authority", 158, 15},
    {"valid_from", 188, 8},
    {"valid_until", 204, 8},
    {"pass_number", 220, 9},
    {"issues", 238, 2},
}};

constexpr std::array<IdentityField, 10> foreign_fields = {{
    {"english_name", 0, 60},
    {"sex", 120, 1},
    {"number", 122, 15},
    {"nationality", 152, 3},
    {"chinese_name", 158, 15},
    {"valid_from", 188, 8},
    {"valid_until", 204, 8},
    {"birth", 220, 8},
    {"version", 236, 2},
    {"authority", 240, 4},
}};

constexpr std::size_t kind_offset = 248;

char kind_character(IdentityKind kind) {
    switch (kind) {
        case IdentityKind::foreign:
            return 'I';
        case IdentityKind::residence:
            return 'J';
        case IdentityKind::resident:
            break;
    }
    return ' ';
}

[[noreturn]] void fail_broken() {
    throw IdentityTextError("UTF-8");
}

// The first character of a text, and how many bytes it takes.
std::pair<char32_t, std::size_t> first_character(std::string_view utf8) {
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(utf8[at]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    if (lead >= 0xF0) throw IdentityTextError("characters up to U+FFFF");
    const std::size_t size = lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || utf8.size() < size) fail_broken();
    char32_t value = size == 3 ? lead & 0x0F : lead & 0x1F;
    for (std::size_t at = 1; at < size; ++at) {
        if ((byte(at) & 0xC0) != 0x80) fail_broken();
        value = value << 6 | (byte(at) & 0x3F);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (surrogate || (size == 3 && value < 0x800)) fail_broken();
    return {value, size};
}

Bytes text_block(IdentityKind kind, const IdentityTexts& texts) {
    Bytes block = identity_text(std::string(identity_text_size / 2, ' '), identity_text_size / 2);
    block[kind_offset] = static_cast<std::uint8_t>(kind_character(kind));
    for (const IdentityField& field : identity_fields(kind)) {
        const auto text = texts.find(field.name);
        if (text == texts.end()) continue;
        std::ranges::copy(identity_text(text->second, field.characters),
                          block.begin() + static_cast<std::ptrdiff_t>(field.offset));
    }
    return block;
}

Bytes resized(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

}  // namespace

std::span<const IdentityField> identity_fields(IdentityKind kind) {
    switch (kind) {
        case IdentityKind::foreign:
            return foreign_fields;
        case IdentityKind::residence:
            return residence_fields;
        case IdentityKind::resident:
            break;
    }
    return resident_fields;
}

Bytes identity_text(std::string_view utf8, std::size_t characters) {
    Bytes bytes;
    while (!utf8.empty()) {
        const auto [character, size] = first_character(utf8);
        if (bytes.size() == 2 * characters)
            throw IdentityTextError("at most " + std::to_string(characters) + " characters");
        bytes.push_back(static_cast<std::uint8_t>(character));
        bytes.push_back(static_cast<std::uint8_t>(character >> 8));
        utf8.remove_prefix(size);
    }
    return bytes;
}

IdentityCard::IdentityCard(IdentityCardSettings settings)
    : name_(std::move(settings.name)),
      text_(text_block(settings.kind, settings.texts)),
      photo_(resized(std::move(settings.photo), identity_image_size)),
      fingerprint_(std::move(settings.fingerprint)) {
    if (fingerprint_) fingerprint_->resize(identity_image_size);
    if (settings.chip_number.empty() && settings.card_number.empty()) return;
    numbers_ = resized(std::move(settings.chip_number), 8);
    append(numbers_, resized(std::move(settings.card_number), 16));
}

}  // namespace virtual_reader
