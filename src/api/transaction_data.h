// The fields of a transaction as hosts hand them in, a tagged text, on their way into the
// terminal's stores.
#pragma once

namespace deskreader::api {

// Whether a host's text for a transaction or from its issuer has an acceptable length.
bool is_transaction_text(const char* text) noexcept;

// Stores the fields P to V that the text has, in this order. Returns 0, or -1007 with a line in the
// log for the first whose characters are not accepted; those before it stay stored.
int store_transaction_fields(const char* text) noexcept;

// Stores the fields J to V. A field that is not hexadecimal when it is fitted is left out.
void store_terminal_fields(const char* text) noexcept;

}  // namespace deskreader::api
