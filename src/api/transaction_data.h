// The fields of a transaction as hosts hand them in, a tagged text, on their way into the
// terminal's transaction store.
#pragma once

#include <string_view>

namespace deskreader::api {

// Whether a host's transaction text has an acceptable length.
bool is_transaction_text(std::string_view text) noexcept;

// Stores the fields P to V that the text has, in this order. Returns 0, or -1007 with a line in the
// log for the first whose characters are not accepted; those before it stay stored.
int store_transaction_fields(const char* text) noexcept;

}  // namespace deskreader::api
