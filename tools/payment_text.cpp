#include "payment_text.h"

#include <algorithm>

#include <fmt/core.h>

#include "text.h"

namespace desk_tool {
namespace {

// 261121 is 2026-11-21, 101112 is 10:11:12.
std::string with_separators(const std::string& digits, const char* century, char separator) {
    if (digits.size() != 6) return digits;
    return century + digits.substr(0, 2) + separator + digits.substr(2, 2) + separator +
           digits.substr(4, 2);
}

std::string date_of(const std::string& digits) {
    return with_separators(digits, "20", '-');
}

std::string time_of(const std::string& digits) {
    return with_separators(digits, "", ':');
}

}  // namespace

std::string amount_of(const std::string& digits) {
    if (digits.size() < 3) return digits;
    const std::string whole = digits.substr(0, digits.size() - 2);
    const std::size_t first = std::min(whole.find_first_not_of('0'), whole.size() - 1);
    return whole.substr(first) + "." + digits.substr(digits.size() - 2);
}

std::string transaction_line(const std::vector<CardField>& entry) {
    return fmt::format("{} {} {:>13} {}  {}  counter {}", date_of(value_of(entry, 'S')),
                       time_of(value_of(entry, 'U')), amount_of(value_of(entry, 'P')),
                       value_of(entry, 'R'), as_utf8(value_of(entry, 'W')), value_of(entry, 'X'));
}

std::string load_line(const std::vector<CardField>& entry) {
    return fmt::format("{} {} {:>13} -> {}  {}  counter {}", date_of(value_of(entry, 'S')),
                       time_of(value_of(entry, 'U')), amount_of(value_of(entry, 'P')),
                       amount_of(value_of(entry, 'Q')), as_utf8(value_of(entry, 'W')),
                       value_of(entry, 'X'));
}

}  // namespace desk_tool
