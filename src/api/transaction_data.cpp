#include "api/transaction_data.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "api/payment_flow.h"
#include "status.h"
#include "support/text.h"

namespace deskreader::api {
namespace {

constexpr std::size_t too_long = 1025;
constexpr std::size_t max_value = 512;

// How the characters of a value are checked as they are given.
using Check = int (*)(const char* text);

using Setter = decltype(&PBOC_SetTxDataTagValue);
constexpr Setter transaction = PBOC_SetTxDataTagValue;
constexpr Setter application_start = PBOC_SetAppInitDataTagValue;

struct Field {
    const char* letter;
    std::uint8_t tag[2];
    std::size_t tag_size;
    std::size_t size;  // stored, in bytes
    Setter store;
    Check check;
    const char* error;
};

// The merchant name is taken as it stands.
constexpr Field fields[] = {
    {"J", {0x9F, 0x1A}, 2, 2, transaction, nullptr, nullptr},        // terminal country code
    {"K", {0x9F, 0x37}, 2, 4, transaction, nullptr, nullptr},        // unpredictable number
    {"L", {0x95}, 1, 5, transaction, nullptr, nullptr},              // verification results
    {"M", {0x9F, 0x66}, 2, 4, application_start, nullptr, nullptr},  // transaction qualifiers
    {"N", {0x9F, 0x7A}, 2, 1, application_start, nullptr, nullptr},  // e-cash support indicator
    {"O", {0x9F, 0x7B}, 2, 6, application_start, nullptr, nullptr},  // e-cash transaction limit
    {"P", {0x9F, 0x02}, 2, 6, transaction, IsHexDataValue, "TAG P Error!\r\n"},  // amount
    {"Q", {0x9F, 0x03}, 2, 6, transaction, IsHexDataValue, "TAG Q Error!\r\n"},  // amount, other
    {"R", {0x5F, 0x2A}, 2, 2, transaction, IsHexDataValue, "TAG R Error!\r\n"},  // currency code
    {"S", {0x9A}, 1, 3, transaction, IsNumDataValue, "TAG S Error!\r\n"},        // date
    {"T", {0x9C}, 1, 1, transaction, IsHexDataValue, "TAG T Error!\r\n"},        // type
    {"U", {0x9F, 0x21}, 2, 3, transaction, IsNumDataValue, "TAG U Error!\r\n"},  // time
    {"V", {0x9F, 0x4E}, 2, 20, transaction, nullptr, nullptr},                   // merchant name
};

constexpr std::size_t first_common = 6;  // P
constexpr std::size_t merchant_name_size = 20;

constexpr std::size_t max_stored = 20;

// The last characters of a text, or the whole of it behind zeros.
void fit(std::string_view value, std::span<char> out) noexcept {
    const std::size_t kept = std::min(value.size(), out.size());
    std::fill(out.begin(), out.end(), '0');
    std::copy(value.end() - static_cast<std::ptrdiff_t>(kept), value.end(),
              out.end() - static_cast<std::ptrdiff_t>(kept));
}

void store(const Field& field, Bytes bytes) noexcept {
    field.store(field.tag, static_cast<int>(field.tag_size), bytes.data(),
                static_cast<int>(field.size));
}

// What becomes of a field with other characters than it may have.
enum class BadField { ends_the_flow, is_left_out };

int store_text(const Field& field, const char* value, BadField rule) noexcept {
    if (rule == BadField::ends_the_flow && field.check(value) == 0)
        return fail(field.error, status::invalid_parameter);
    std::array<char, 2 * max_stored + 1> digits{};
    fit(value, std::span(digits).first(2 * field.size));
    if (rule == BadField::is_left_out && IsHexDataValue(digits.data()) == 0) return status::ok;
    std::array<std::uint8_t, max_stored> bytes;
    text::from_hex({digits.data(), 2 * field.size}, bytes);
    store(field, bytes);
    return status::ok;
}

int store_fields(const char* text, std::span<const Field> wanted, BadField rule) noexcept {
    // kept: one scratch buffer for all fields; a short merchant name is followed by what they left.
    std::array<char, max_value + 1> scratch{};
    for (const Field& field : wanted) {
        int length = 0;
        if (PBOC_GetSimpTagValue(field.letter, 1, text, 0, scratch.data(), &length) != status::ok)
            continue;
        if (field.size == merchant_name_size) {
            store(field, {reinterpret_cast<const std::uint8_t*>(scratch.data()), field.size});
            continue;
        }
        char value[max_value + 1];
        std::memcpy(value, scratch.data(), static_cast<std::size_t>(length));
        value[length] = '\0';
        const int result = store_text(field, value, rule);
        if (result != status::ok) return result;
    }
    return status::ok;
}

}  // namespace

bool is_transaction_text(const char* text) noexcept {
    const std::string_view whole = text == nullptr ? "" : text;
    return !whole.empty() && whole.size() < too_long;
}

int store_transaction_fields(const char* text) noexcept {
    return store_fields(text, std::span(fields).subspan(first_common), BadField::ends_the_flow);
}

void store_terminal_fields(const char* text) noexcept {
    store_fields(text, fields, BadField::is_left_out);
}

}  // namespace deskreader::api
