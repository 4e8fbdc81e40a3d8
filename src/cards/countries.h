// Countries and territories as identity cards of foreigners name them. The rows themselves are
// szCitizenship in deskreader.h.
#pragma once

#include <string_view>

namespace deskreader::countries {

// The first row in which the text stands anywhere, also where it is no whole code; the first of all
// for the empty text. Empty if there is none.
std::string_view find(std::string_view text) noexcept;

}  // namespace deskreader::countries
