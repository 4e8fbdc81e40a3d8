// Text of cards, as the tool shows it.
#pragma once

#include <string>

namespace desk_tool {

// Bytes of a card as UTF-8: they may be that already, or GB18030; what is neither becomes '?'.
std::string as_utf8(const std::string& bytes);

// GB18030 text as UTF-8; '?' for each byte beyond ASCII if it is none.
std::string from_gb18030(const std::string& bytes);

// Without the blanks at its end.
std::string trimmed(const std::string& text);

// With the letters a to z as A to Z.
std::string upper(std::string text);

// 20261121 is 2026-11-21; any other text stays as it is.
std::string long_date(const std::string& digits);

}  // namespace desk_tool
