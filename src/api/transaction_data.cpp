#include "api/transaction_data.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "api/payment_flow.h"
#include "status.h"
#include "support/text.h"

namespace deskreader::api {
namespace {

constexpr std::size_t too_long = 1025;
constexpr std::size_t max_value = 512;

// How the characters of a value are checked; the merchant name is taken as it stands.
using Check = int (*)(const char* text);

struct Field {
    const char* letter;
    std::uint8_t tag[2];
    std::size_t tag_size;
    std::size_t size;  // stored, in bytes
    Check check;
    const char* error;
};

constexpr Field fields[] = {
    {"P", {0x9F, 0x02}, 2, 6, IsHexDataValue, "TAG P Error!\r\n"},  // amount, authorised
    {"Q", {0x9F, 0x03}, 2, 6, IsHexDataValue, "TAG Q Error!\r\n"},  // amount, other
    {"R", {0x5F, 0x2A}, 2, 2, IsHexDataValue, "TAG R Error!\r\n"},  // transaction currency code
    {"S", {0x9A}, 1, 3, IsNumDataValue, "TAG S Error!\r\n"},        // transaction date
    {"T", {0x9C}, 1, 1, IsHexDataValue, "TAG T Error!\r\n"},        // transaction type
    {"U", {0x9F, 0x21}, 2, 3, IsNumDataValue, "TAG U Error!\r\n"},  // transaction time
    {"V", {0x9F, 0x4E}, 2, 20, nullptr, nullptr},                   // merchant name
};

constexpr std::size_t max_stored = 20;

// The last characters of a text, or the whole of it behind zeros.
void fit(std::string_view value, std::span<char> out) noexcept {
    const std::size_t kept = std::min(value.size(), out.size());
    std::fill(out.begin(), out.end(), '0');
    std::copy(value.end() - static_cast<std::ptrdiff_t>(kept), value.end(),
              out.end() - static_cast<std::ptrdiff_t>(kept));
}

void store(const Field& field, const std::uint8_t* bytes) noexcept {
    PBOC_SetTxDataTagValue(field.tag, static_cast<int>(field.tag_size), bytes,
                           static_cast<int>(field.size));
}

}  // namespace

bool is_transaction_text(std::string_view text) noexcept {
    return !text.empty() && text.size() < too_long;
}

int store_transaction_fields(const char* text) noexcept {
    // kept: one scratch buffer for all fields; a short merchant name is followed by what they left.
    std::array<char, max_value> scratch{};
    for (const Field& field : fields) {
        int length = 0;
        if (PBOC_GetSimpTagValue(field.letter, 1, text, 0, scratch.data(), &length) != status::ok)
            continue;
        if (field.check == nullptr) {
            store(field, reinterpret_cast<const std::uint8_t*>(scratch.data()));
            continue;
        }
        char value[max_value + 1];
        std::memcpy(value, scratch.data(), static_cast<std::size_t>(length));
        value[length] = '\0';
        if (field.check(value) == 0) return fail(field.error, status::invalid_parameter);
        std::array<char, 2 * max_stored> digits;
        fit(value, std::span(digits).first(2 * field.size));
        std::array<std::uint8_t, max_stored> bytes;
        text::from_hex({digits.data(), 2 * field.size}, bytes);
        store(field, bytes.data());
    }
    return status::ok;
}

}  // namespace deskreader::api
