// The public data of a payment card as one text record, by field letters: one flow, and which
// letters there are is a table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "api/payment_flow.h"

namespace deskreader::api {

// Where the card has a value.
enum class Source { records, get_data };

enum class Form {
    hex,
    hex_to_first_f,  // pad nibbles removed
    track_2,         // the same, with '=' for every D
    bytes,           // as the card has them
};

struct InformationField {
    char letter;
    std::uint8_t tag[2];
    std::size_t tag_size;
    Source source;
    Form form;

    Bytes tag_bytes() const noexcept { return {tag, tag_size}; }
};

struct InformationFlow {
    FlowOptions options;
    bool looks_into_options;  // a card that answered GET PROCESSING OPTIONS with its data
    std::span<const InformationField> fields;  // in the order of the record
};

// Reads the fields whose letters the list has. `kind` becomes the kind of card on success only.
int read_card_information(const InformationFlow& flow, int slot, const char* tag_list, char* out,
                          int timeout_s, int& kind) noexcept;

}  // namespace deskreader::api
