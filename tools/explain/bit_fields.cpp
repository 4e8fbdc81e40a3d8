#include "bit_fields.h"

#include <algorithm>
#include <iterator>

namespace explain {
namespace {

struct Bit {
    Form form;
    std::uint8_t byte;  // from 1
    std::uint8_t mask;
    const char* meaning;
};

using enum Form;

constexpr Bit bits[] = {
    {profile, 1, 0x40, "static data authentication (SDA) supported"},
    {profile, 1, 0x20, "dynamic data authentication (DDA) supported"},
    {profile, 1, 0x10, "cardholder verification supported"},
    {profile, 1, 0x08, "terminal risk management to be performed"},
    {profile, 1, 0x04, "issuer authentication with EXTERNAL AUTHENTICATE supported"},
    {profile, 1, 0x02, "on-device cardholder verification supported (contactless)"},
    {profile, 1, 0x01, "combined data authentication (CDA) supported"},
    {profile, 2, 0x80, "EMV mode supported (contactless)"},

    {verification, 1, 0x80, "offline data authentication was not performed"},
    {verification, 1, 0x40, "static data authentication (SDA) failed"},
    {verification, 1, 0x20, "card data missing"},
    {verification, 1, 0x10, "card appears on terminal exception file"},
    {verification, 1, 0x08, "dynamic data authentication (DDA) failed"},
    {verification, 1, 0x04, "combined data authentication (CDA) failed"},
    {verification, 1, 0x02, "static data authentication (SDA) selected"},
    {verification, 2, 0x80, "card and terminal have different application versions"},
    {verification, 2, 0x40, "expired application"},
    {verification, 2, 0x20, "application not yet effective"},
    {verification, 2, 0x10, "requested service not allowed for card product"},
    {verification, 2, 0x08, "new card"},
    {verification, 3, 0x80, "cardholder verification was not successful"},
    {verification, 3, 0x40, "unrecognised cardholder verification method"},
    {verification, 3, 0x20, "PIN try limit exceeded"},
    {verification, 3, 0x10, "PIN entry required and PIN pad not present or not working"},
    {verification, 3, 0x08, "PIN entry required, PIN pad present, but PIN was not entered"},
    {verification, 3, 0x04, "online PIN entered"},
    {verification, 4, 0x80, "transaction exceeds floor limit"},
    {verification, 4, 0x40, "lower consecutive offline limit exceeded"},
    {verification, 4, 0x20, "upper consecutive offline limit exceeded"},
    {verification, 4, 0x10, "transaction selected randomly for online processing"},
    {verification, 4, 0x08, "merchant forced transaction online"},
    {verification, 5, 0x80, "default TDOL used"},
    {verification, 5, 0x40, "issuer authentication failed"},
    {verification, 5, 0x20, "script processing failed before final GENERATE AC"},
    {verification, 5, 0x10, "script processing failed after final GENERATE AC"},

    {status_information, 1, 0x80, "offline data authentication was performed"},
    {status_information, 1, 0x40, "cardholder verification was performed"},
    {status_information, 1, 0x20, "card risk management was performed"},
    {status_information, 1, 0x10, "issuer authentication was performed"},
    {status_information, 1, 0x08, "terminal risk management was performed"},
    {status_information, 1, 0x04, "script processing was performed"},

    {usage, 1, 0x80, "valid for domestic cash transactions"},
    {usage, 1, 0x40, "valid for international cash transactions"},
    {usage, 1, 0x20, "valid for domestic goods"},
    {usage, 1, 0x10, "valid for international goods"},
    {usage, 1, 0x08, "valid for domestic services"},
    {usage, 1, 0x04, "valid for international services"},
    {usage, 1, 0x02, "valid at ATMs"},
    {usage, 1, 0x01, "valid at terminals other than ATMs"},
    {usage, 2, 0x80, "domestic cashback allowed"},
    {usage, 2, 0x40, "international cashback allowed"},

    {terminal_abilities, 1, 0x80, "manual key entry"},
    {terminal_abilities, 1, 0x40, "magnetic stripe"},
    {terminal_abilities, 1, 0x20, "IC with contacts"},
    {terminal_abilities, 2, 0x80, "plaintext PIN for verification by the card"},
    {terminal_abilities, 2, 0x40, "enciphered PIN for online verification"},
    {terminal_abilities, 2, 0x20, "signature"},
    {terminal_abilities, 2, 0x10, "enciphered PIN for offline verification"},
    {terminal_abilities, 2, 0x08, "no cardholder verification required"},
    {terminal_abilities, 3, 0x80, "static data authentication (SDA)"},
    {terminal_abilities, 3, 0x40, "dynamic data authentication (DDA)"},
    {terminal_abilities, 3, 0x20, "card capture"},
    {terminal_abilities, 3, 0x08, "combined data authentication (CDA)"},

    {terminal_qualifiers, 1, 0x80, "magnetic stripe mode supported"},
    {terminal_qualifiers, 1, 0x40, "PBOC debit and credit over contactless supported"},
    {terminal_qualifiers, 1, 0x20, "EMV mode (qPBOC) supported"},
    {terminal_qualifiers, 1, 0x10, "EMV contact chip supported"},
    {terminal_qualifiers, 1, 0x08, "offline-only reader"},
    {terminal_qualifiers, 1, 0x04, "online PIN supported"},
    {terminal_qualifiers, 1, 0x02, "signature supported"},
    {terminal_qualifiers, 1, 0x01, "offline data authentication for online authorisations"},
    {terminal_qualifiers, 2, 0x80, "online cryptogram required"},
    {terminal_qualifiers, 2, 0x40, "cardholder verification required"},
    {terminal_qualifiers, 2, 0x20, "offline PIN (contact chip) supported"},
    {terminal_qualifiers, 3, 0x80, "issuer update processing supported"},
    {terminal_qualifiers, 3, 0x40, "consumer device verification supported"},

    {card_qualifiers, 1, 0x80, "online PIN required"},
    {card_qualifiers, 1, 0x40, "signature required"},
    {card_qualifiers, 1, 0x20, "go online if offline data authentication fails"},
    {card_qualifiers, 1, 0x10, "switch interface if offline data authentication fails"},
    {card_qualifiers, 1, 0x08, "go online if the application has expired"},
    {card_qualifiers, 1, 0x04, "switch interface for cash transactions"},
    {card_qualifiers, 1, 0x02, "switch interface for cashback transactions"},
    {card_qualifiers, 2, 0x80, "consumer device verification performed"},
    {card_qualifiers, 2, 0x40, "issuer update processing supported"},

    {cryptogram_kind, 1, 0x08, "advice required"},
};

// Codes within the first byte, with what is no single bit of it.
constexpr std::uint8_t code_bits_of_cryptogram = 0xC0 | 0x07;

struct Code {
    std::uint8_t number;
    const char* name;
};

constexpr Code verification_methods[] = {
    {0x00, "fail cardholder verification"},
    {0x01, "plaintext PIN verified by the card"},
    {0x02, "enciphered PIN verified online"},
    {0x03, "plaintext PIN verified by the card, and signature"},
    {0x04, "enciphered PIN verified by the card"},
    {0x05, "enciphered PIN verified by the card, and signature"},
    {0x1E, "signature"},
    {0x1F, "no cardholder verification required"},
    {0x20, "identity document shown"},
    {0x3F, "no cardholder verification performed"},
};

constexpr Code verification_conditions[] = {
    {0x00, "always"},
    {0x01, "if unattended cash"},
    {0x02, "if not unattended cash, not manual cash and not purchase with cashback"},
    {0x03, "if the terminal supports it"},
    {0x04, "if manual cash"},
    {0x05, "if purchase with cashback"},
    {0x06, "if in the application's currency and under X"},
    {0x07, "if in the application's currency and over X"},
    {0x08, "if in the application's currency and under Y"},
    {0x09, "if in the application's currency and over Y"},
};

constexpr Code verification_outcomes[] = {
    {0x00, "unknown"}, {0x01, "failed"}, {0x02, "successful"}};

constexpr Code transactions[] = {
    {0x00, "goods and services"},
    {0x01, "cash"},
    {0x09, "purchase with cashback"},
    {0x20, "refund"},
    {0x21, "deposit"},
    {0x30, "available funds inquiry"},
    {0x31, "balance inquiry"},
    {0x40, "transfer"},
    {0x60, "electronic cash: load from the designated account"},
    {0x62, "electronic cash: load from another account"},
    {0x63, "electronic cash: load with cash"},
};

constexpr Code terminals[] = {
    {1, "attended, online only"},
    {2, "attended, offline with online capability"},
    {3, "attended, offline only"},
    {4, "unattended, online only"},
    {5, "unattended, offline with online capability"},
    {6, "unattended, offline only"},
};

constexpr Code operators[] = {{1, "financial institution"}, {2, "merchant"}, {3, "cardholder"}};

constexpr Code cryptogram_reasons[] = {
    {1, "service not allowed"},
    {2, "PIN try limit exceeded"},
    {3, "issuer authentication failed"},
};

struct ResponseCode {
    std::string_view code;
    const char* name;
};

constexpr ResponseCode response_codes[] = {
    {"00", "approved"},
    {"01", "refer to the card issuer"},
    {"05", "do not honour"},
    {"51", "insufficient funds"},
    {"54", "expired card"},
    {"55", "wrong PIN"},
    {"91", "issuer not available"},
    {"Y1", "approved offline"},
    {"Y3", "unable to go online, approved offline"},
    {"Z1", "declined offline"},
    {"Z3", "unable to go online, declined offline"},
};

template <std::size_t Count>
std::string name_in(const Code (&codes)[Count], std::uint8_t number) {
    const auto* row = std::ranges::find(codes, number, &Code::number);
    return row == std::end(codes) ? "" : row->name;
}

const Bit* find_bit(Form form, std::size_t byte, unsigned mask) {
    const auto* row = std::ranges::find_if(bits, [&](const Bit& bit) {
        return bit.form == form && bit.byte == byte && bit.mask == mask;
    });
    return row == std::end(bits) ? nullptr : row;
}

std::string place(std::size_t byte, int bit) {
    return "byte " + std::to_string(byte) + " bit " + std::to_string(bit);
}

}  // namespace

bool explain_bits(Form form, View value, Note& note) {
    const bool is_field = std::ranges::find(bits, form, &Bit::form) != std::end(bits);
    if (!is_field) return false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        for (int bit = 8; bit >= 1; --bit) {
            const unsigned mask = 1U << (bit - 1);
            const bool is_code = form == cryptogram_kind && (code_bits_of_cryptogram & mask) != 0;
            if ((value[i] & mask) == 0 || is_code) continue;
            const Bit* known = find_bit(form, i + 1, mask);
            note.add({.label = place(i + 1, bit),
                      .meaning = known != nullptr ? known->meaning : "reserved"});
        }
    }
    return true;
}

std::string cryptogram_name(std::uint8_t information) {
    constexpr const char* kinds[] = {"AAC, declined", "TC, approved offline",
                                     "ARQC, online authorisation requested", "reserved"};
    const std::string reason = name_in(cryptogram_reasons, information & 0x07);
    return kinds[information >> 6] + (reason.empty() ? "" : ", " + reason);
}

std::string verification_method_name(std::uint8_t code) {
    return name_in(verification_methods, code & 0x3F);
}

std::string verification_condition_name(std::uint8_t code) {
    return name_in(verification_conditions, code);
}

std::string verification_result_name(std::uint8_t code) {
    return name_in(verification_outcomes, code);
}

std::string transaction_name(std::uint8_t code) {
    return name_in(transactions, code);
}

std::string terminal_name(std::uint8_t code) {
    const std::string by = name_in(operators, code >> 4);
    const std::string how = name_in(terminals, code & 0x0F);
    return by.empty() || how.empty() ? "" : by + ", " + how;
}

std::string response_code_name(std::string_view code) {
    const auto* row = std::ranges::find(response_codes, code, &ResponseCode::code);
    return row == std::end(response_codes) ? "" : row->name;
}

}  // namespace explain
