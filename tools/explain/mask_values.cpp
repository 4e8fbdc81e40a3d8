#include "mask_values.h"

#include <algorithm>

namespace explain {
namespace {

constexpr std::size_t kept_in_front = 6;
constexpr std::size_t kept_behind = 4;
constexpr std::size_t shortest_with_end = 9;
constexpr std::size_t date_and_service = 7;  // YYMM and three digits behind the separator
constexpr std::size_t shortest_long_number = 12;

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

bool is_letter(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

// The digits 0 to F of packed bytes, one character each, and back.
std::string unpacked(View bytes) {
    return hex(bytes);
}

void pack(std::string_view digits, Room bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(digit_value(digits[2 * i]) << 4 |
                                             digit_value(digits[2 * i + 1]));
    }
}

std::size_t run_end(std::string_view text, std::size_t begin) {
    while (begin < text.size() && is_digit(text[begin]))
        ++begin;
    return begin;
}

// Digits behind the first few of a track become 0.
void mask_discretionary(std::string& digits, std::size_t begin, std::size_t end) {
    for (std::size_t i = std::min(begin + date_and_service, end); i < end; ++i) {
        if (is_digit(digits[i])) digits[i] = '0';
    }
}

std::string mask_card_number(Room value) {
    std::string digits = unpacked(value);
    const std::size_t end = run_end(digits, 0);
    std::string number = digits.substr(0, end);
    mask_number(digits, 0, end);
    pack(digits, value);
    return number;
}

std::string mask_track_2(Room value) {
    std::string digits = unpacked(value);
    const std::size_t end = run_end(digits, 0);
    std::string number = digits.substr(0, end);
    mask_number(digits, 0, end);
    mask_discretionary(digits, end + 1, digits.size());
    pack(digits, value);
    return number;
}

std::string text_of(View bytes) {
    return {bytes.begin(), bytes.end()};
}

void put_text(const std::string& text, Room bytes) {
    std::ranges::copy(text, bytes.begin());
}

void mask_name(Room value) {
    for (std::uint8_t& byte : value) {
        if (byte != ' ' && byte != '/' && byte != 0) byte = 'X';
    }
}

// Of an identity number nothing stays.
void mask_identity_number(Room value) {
    for (std::uint8_t& byte : value) {
        if (byte != ' ' && byte != 0) byte = is_letter(static_cast<char>(byte)) ? 'X' : '0';
    }
}

// One piece of a track between its separators.
void mask_piece(std::string& text, std::size_t begin, std::size_t end, bool first,
                std::vector<std::string>& numbers) {
    const bool has_format = first && end - begin > 1 && (text[begin] | 0x20) == 'b';
    const std::size_t digits = begin + (has_format ? 1 : 0);
    const bool plain = run_end(text, digits) >= end;
    if (plain && first) {
        numbers.push_back(text.substr(digits, end - digits));
        mask_number(text, digits, end);
    } else if (plain) {
        mask_discretionary(text, begin, end);
    } else {
        for (std::size_t i = begin; i < end; ++i) {
            if (is_digit(text[i])) text[i] = '0';
            if (is_letter(text[i])) text[i] = 'X';
        }
    }
}

// The replacement may be what it replaces: a number with nothing but zeros in its middle.
void replace_all(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
        text.replace(at, from.size(), to);
}

}  // namespace

void mask_number(std::string& text, std::size_t begin, std::size_t end) {
    const std::size_t count = end - begin;
    const std::size_t front = count >= shortest_card_number ? kept_in_front : 0;
    const std::size_t behind = count >= shortest_with_end ? kept_behind : 0;
    for (std::size_t i = begin + front; i < end - behind; ++i)
        text[i] = '0';
}

std::string mask_value(Room value, Secret secret) {
    switch (secret) {
        case Secret::no:
            return {};
        case Secret::card_number:
            return mask_card_number(value);
        case Secret::track_2:
            return mask_track_2(value);
        case Secret::track_text: {
            const auto numbers = mask_stripe(value, true);
            return numbers.empty() ? std::string() : numbers.front();
        }
        case Secret::name:
            mask_name(value);
            return {};
        case Secret::identity_number:
            mask_identity_number(value);
            return {};
        case Secret::all:
            std::ranges::fill(value, std::uint8_t{0});
            return {};
    }
    return {};
}

std::vector<std::string> mask_stripe(Room characters, bool is_track_1) {
    constexpr std::string_view separators = "=^>";
    std::string text = text_of(characters);
    std::vector<std::string> numbers;
    bool first = true;
    bool in_track_1 = is_track_1;
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const char character = at < text.size() ? text[at] : '?';
        const bool separates = separators.find(character) != separators.npos;
        const bool begins_track = character == '%' || character == ';' || character == '+' ||
                                  character == '?' || (character == 'A' && !in_track_1);
        if (!separates && !begins_track) continue;
        if (at > begin) mask_piece(text, begin, at, first, numbers);
        first = begins_track;
        in_track_1 = character == '%' || (in_track_1 && !begins_track);
        begin = at + 1;
    }
    put_text(text, characters);
    return numbers;
}

void mask_long_numbers(Room characters) {
    std::string text = text_of(characters);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = run_end(text, at);
        if (end - at >= shortest_long_number) mask_number(text, at, end);
        at = end + 1;
    }
    put_text(text, characters);
}

void mask_wide_text(Room characters) {
    for (std::size_t at = 0; at < characters.size(); at += 2) {
        const Room one = part(characters, at, 2);
        const unsigned high = one.size() == 2 ? one[1] : 0;
        const unsigned value = high << 8 | one[0];
        if (value == ' ' || value == 0) continue;
        one[0] = value >= '0' && value <= '9' ? '0' : '*';
        if (one.size() == 2) one[1] = 0;
    }
}

void mask_known_number(Room bytes, const std::string& digits) {
    if (digits.size() < shortest_card_number) return;
    std::string masked = digits;
    mask_number(masked, 0, masked.size());
    std::string packed = unpacked(bytes);
    replace_all(packed, digits, masked);
    pack(packed, bytes);
    std::string text = text_of(bytes);
    replace_all(text, digits, masked);
    put_text(text, bytes);
}

}  // namespace explain
