// The deck of these tests.
#pragma once

#include <string_view>

namespace robustness {

// All kinds of card; in the reader are a bank card, a MIFARE card in the field, a swiped card and
// an identity card.
std::string_view all_cards();

}  // namespace robustness
