#include "cards/host_text.h"

#include <deskreader.h>

#include <cstring>

#include "status.h"
#include "support/bounded.h"
#include "support/pointers.h"

namespace deskreader::host_text {
namespace {

constexpr std::size_t length_digits = 3;
constexpr int max_length = 512;

constexpr std::string_view decimal_digits = "0123456789";
constexpr std::string_view capital_letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view digits_and_capitals = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// kept: whether the three characters are digits is not checked; the number they give decides.
int length_of(std::string_view three) noexcept {
    int length = 0;
    for (const char character : three)
        length = length * 10 + (static_cast<signed char>(character) - '0');
    return length;
}

// Whether every character of the text is allowed; the first that is not is logged.
int holds_only(std::string_view text, std::string_view allowed) noexcept {
    const std::size_t bad = text.find_first_not_of(allowed);
    if (bad == std::string_view::npos) return 1;
    GLogI("szPbocData[%d] = %02X\r\n", static_cast<int>(bad),
          static_cast<unsigned char>(text[bad]));
    return 0;
}

}  // namespace

std::optional<std::string_view> find_field(std::string_view text, std::string_view key) noexcept {
    if (key.empty()) return std::nullopt;
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view after_key = bounded::without_first(text, at + key.size());
    if (after_key.size() < length_digits) return std::nullopt;
    const int length = length_of({after_key.data(), length_digits});
    const std::string_view rest = bounded::without_first(after_key, length_digits);
    if (length < 0 || length > max_length) return std::nullopt;
    if (static_cast<std::size_t>(length) > rest.size()) return std::nullopt;
    return std::string_view(rest.data(), static_cast<std::size_t>(length));
}

}  // namespace deskreader::host_text

using namespace deskreader;

int PBOC_GetSimpTagValue(const char* key, int key_length, const char* text, int, char* value,
                         int* value_length) {
    if (any_null(key, text, value, value_length)) return status::invalid_argument;
    const std::string_view wanted(key, static_cast<std::size_t>(key_length < 0 ? 0 : key_length));
    const auto found = host_text::find_field(text, wanted);
    if (!found) return status::failed;
    std::memcpy(value, found->data(), found->size());
    *value_length = static_cast<int>(found->size());
    return status::ok;
}

int IsTagListValue(const char* text) {
    if (any_null(text)) return 0;
    const bool has_capital =
        std::string_view(text).find_first_of(host_text::capital_letters) != std::string_view::npos;
    return has_capital ? 1 : 0;
}

int IsPbocDataValue(const char* text) {
    if (any_null(text)) return 0;
    return host_text::holds_only(text, host_text::digits_and_capitals);
}

int IsNumDataValue(const char* text) {
    if (any_null(text)) return 0;
    return host_text::holds_only(text, host_text::decimal_digits);
}
