// Countries (ISO 3166-1) and currencies (ISO 4217) by name, from Debian's package iso-codes, which
// is looked for at run time: its data change more often than this program, and have a licence of
// their own. Without it the codes stand alone.
#pragma once

#include <string>
#include <string_view>

namespace explain {

// "China" for "156", "CN" or "CHN". Empty for what is not known.
std::string country_name(std::string_view code);

// "CNY Yuan Renminbi" for "156".
std::string currency_name(std::string_view code);

}  // namespace explain
