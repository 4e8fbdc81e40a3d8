// Amounts, dates and log entries of payment cards, as people read them.
#pragma once

#include <string>
#include <vector>

#include "payment_calls.h"

namespace desk_tool {

// Twelve digits of cents as an amount: 000000001234 is 12.34.
std::string amount_of(const std::string& digits);

// One entry of a card's log, in a line.
std::string transaction_line(const std::vector<CardField>& entry);
std::string load_line(const std::vector<CardField>& entry);

}  // namespace desk_tool
