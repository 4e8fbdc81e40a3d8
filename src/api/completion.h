// The second half of an online transaction: what the issuer answered goes to the card, and the
// card's last word comes back. The card is powered off at the end.
#pragma once

#include "api/payment_flow.h"

namespace deskreader::api {

struct Completion {
    int slot;
    const char* transaction;
    const char* issuer_text;  // hexadecimal data objects
    int result_size;          // of the script result, in characters
    char* result;
    char* cryptogram;
    Bytes application_data;  // with CDOL2 (tag 8D)
    int script_failure;      // the number for a script that failed
};

int complete_transaction(const Completion& completion) noexcept;

}  // namespace deskreader::api
