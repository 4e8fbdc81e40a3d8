// The ethnic groups by the codes of GB/T 3304, and the two codes that stand beside them.
#pragma once

#include <string_view>

namespace deskreader::nations {

inline constexpr std::size_t name_room = 19;  // of the longest name, with its terminator

// The name without suffix, in GB 18030; empty for a code that there is not.
std::string_view name_of(int code) noexcept;

}  // namespace deskreader::nations
