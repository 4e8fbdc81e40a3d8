// Data objects of payment and social security cards: EMV Book 3 annex A, EMV contactless Book A,
// PBOC (JR/T 0025), ISO 7816-4 and -6.
#pragma once

#include <cstdint>

namespace explain {

// How a value is read.
enum class Form : std::uint8_t {
    bytes,
    objects,  // data objects, also where the tag does not say so
    text,     // of the common character set
    digits,   // BCD, padded with F behind
    number,   // BCD, zeros in front
    count,    // binary
    amount,   // BCD, in hundredths of the currency
    date,     // YYMMDD
    time,     // HHMMSS
    country,  // ISO 3166-1, numeric
    country_letters,
    currency,  // ISO 4217, numeric
    currencies,
    language,
    track_2,
    application,
    object_list,  // tags and lengths
    tag_list,
    locator,
    profile,
    verification,
    status_information,
    cardholder_verification,
    verification_results,
    usage,
    cryptogram_kind,
    transaction_kind,
    terminal_kind,
    terminal_abilities,
    terminal_qualifiers,
    card_qualifiers,
    response_code,
    life_cycle,
    priority,
    script,
    format_1,
    log_entry,
};

// What must not leave the desk, and how much of it may.
enum class Secret : std::uint8_t {
    no,
    card_number,      // BCD
    track_2,          // BCD with separator D
    track_text,       // as a stripe has it
    name,             // letters
    identity_number,  // characters
    all,
};

struct Tag {
    std::uint32_t number;
    const char* name;
    Form form = Form::bytes;
    Secret secret = Secret::no;
};

// The row of a tag, or null.
const Tag* find_tag(std::uint32_t number);

}  // namespace explain
