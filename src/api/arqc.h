// The first half of an online transaction, up to the authorisation request cryptogram and the data
// for the issuer. The card stays powered for the completion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "api/payment_flow.h"

namespace deskreader::api {

// Where a further object of the issuer's data comes from; it has its fallback otherwise.
enum class ObjectSource { fallback, get_data, records };

struct FurtherObject {
    std::uint8_t tag[2];
    std::size_t tag_size;
    ObjectSource source;
    std::uint8_t fallback[10];
    std::size_t fallback_size;

    Bytes tag_bytes() const noexcept { return {tag, tag_size}; }
    Bytes fallback_bytes() const noexcept { return {fallback, fallback_size}; }
};

struct ArqcFlow {
    FlowOptions options;
    bool takes_terminal_fields;  // J to V of the host's text, the unpredictable number among them
    std::span<const FurtherObject> further;
};

struct ArqcOutput {
    char* text;  // the data for the issuer, hexadecimal
    int size;
    char* selection;  // what SELECT answered, hexadecimal and terminated; may be null
};

// Runs it. `kind` becomes the kind of card once one is powered.
int generate_arqc(const ArqcFlow& flow, int slot, const char* transaction, const ArqcOutput& output,
                  int timeout_s, int& kind) noexcept;

}  // namespace deskreader::api
