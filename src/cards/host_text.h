// The texts that hosts hand in to the payment flows: tagged fields, each a letter, three decimal
// digits of length and the value, and the checks of which characters a text may hold.
#pragma once

#include <optional>
#include <string_view>

namespace deskreader::host_text {

// The value of a field, nothing if the text has no such field or the value runs past its end.
// kept: the first place where the key stands wins, also within an earlier field's value.
std::optional<std::string_view> find_field(std::string_view text, std::string_view key) noexcept;

}  // namespace deskreader::host_text
