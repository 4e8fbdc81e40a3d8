// What the terminal knows: three stores of data objects that the payment flows fill and the card
// asks for. Their bytes are exported data (g_szTxData, g_szAppInitData, g_szExData) and last for
// the life of the process: values change in place, lengths and order never.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "cards/tlv.h"

namespace deskreader::terminal_data {

// The value under a tag, from the first store that has it: transaction, application start, fixed.
std::optional<tlv::Bytes> find(tlv::Bytes tag) noexcept;

// The value under a tag of the transaction store.
std::optional<tlv::Bytes> find_transaction(tlv::Bytes tag) noexcept;

// Answers a data object list: the values of the tags it names, in its order, each at its stored
// length. Nothing when a tag is in no store or `out` is too small; `filled` counts what was written
// until then.
// kept: the lengths that the card asks for are not used; there is no padding and no truncation.
bool answer_list(tlv::Bytes list, std::span<std::uint8_t> out, std::size_t& filled) noexcept;

}  // namespace deskreader::terminal_data
