#include "api/log_entries.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "support/text.h"

namespace deskreader::api {
namespace {

using cards::Bytes;

enum class Form {
    hex,
    text,      // 20 bytes, filled with blanks from the first zero on
    load_tag,  // '1' for a first byte of 9F, otherwise '2'
};

// One field of an entry: where its bytes stand in the card's record.
struct Field {
    char letter;
    std::size_t offset;
    std::size_t size;
    Form form;
};

constexpr Field transaction_fields[] = {
    {'P', 6, 6, Form::hex},     // amount, authorised
    {'Q', 12, 6, Form::hex},    // amount, other
    {'R', 20, 2, Form::hex},    // transaction currency code
    {'S', 0, 3, Form::hex},     // transaction date
    {'T', 42, 1, Form::hex},    // transaction type
    {'U', 3, 3, Form::hex},     // transaction time
    {'V', 18, 2, Form::hex},    // terminal country code
    {'W', 22, 20, Form::text},  // merchant name
    {'X', 43, 2, Form::hex},    // application transaction counter
};

constexpr Field load_fields[] = {
    {'O', 0, 1, Form::load_tag},  // which value was changed
    {'P', 2, 6, Form::hex},       // value before
    {'Q', 8, 6, Form::hex},       // value after
    {'S', 14, 3, Form::hex},      // date
    {'U', 17, 3, Form::hex},      // time
    {'V', 20, 2, Form::hex},      // terminal country code
    {'W', 22, 20, Form::text},    // merchant name
    {'X', 42, 2, Form::hex},      // application transaction counter
};

constexpr std::size_t longest_record = 45;

std::string_view value_of(const Field& field, Bytes record, std::array<char, 40>& room) noexcept {
    const Bytes bytes = record.subspan(field.offset, field.size);
    if (field.form == Form::load_tag) {
        room[0] = bytes[0] == 0x9F ? '1' : '2';
        return {room.data(), 1};
    }
    if (field.form == Form::hex) return {room.data(), text::to_hex(bytes, room)};
    const auto end = std::ranges::find(bytes, std::uint8_t{0});
    std::fill_n(room.begin(), bytes.size(), ' ');
    std::copy(bytes.begin(), end, room.begin());
    return {room.data(), bytes.size()};
}

}  // namespace

bool add_log_entry(LogEntries& entries, LogKind kind, Bytes record) noexcept {
    const std::span<const Field> fields =
        kind == LogKind::transactions ? std::span<const Field>(transaction_fields) : load_fields;
    std::array<std::uint8_t, longest_record> whole{};
    std::copy_n(record.begin(), std::min(record.size(), whole.size()), whole.begin());
    const std::size_t before = entries.size();
    for (const Field& field : fields) {
        std::array<char, 40> room;
        if (entries.add(field.letter, value_of(field, whole, room))) continue;
        entries.cut(before);
        return false;
    }
    return true;
}

}  // namespace deskreader::api
