// RD_ICGetDetail and RD_ICGetCircllog: the entries that a payment card keeps of its transactions
// and of its e-cash loads. One reading of a log file, two layouts.
#include "api/transaction_logs.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string_view>

#include "api/text_record.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/log.h"
#include "support/text.h"

using namespace deskreader;
using api::Bytes;

namespace {

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

struct Layout {
    std::uint8_t tag[2];  // of the log entry in what SELECT answered: SFI and number of records
    const char* missing;
    int missing_number;
    std::span<const Field> fields;
    bool is_traced;
};

constexpr Layout transaction_log{
    .tag = {0x9F, 0x4D},
    .missing = "GetTag 9F4D Error!\r\n",
    .missing_number = status::log_entry_missing,
    .fields = transaction_fields,
    .is_traced = false,
};

constexpr Layout load_log{
    .tag = {0xDF, 0x4D},
    .missing = "GetTag DF4D Error!\r\n",
    .missing_number = status::data_object_list_failed,
    .fields = load_fields,
    .is_traced = true,
};

constexpr std::size_t work_size = 4096;
constexpr std::size_t longest_record = 45;

using Entries = api::TextRecord<work_size>;

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

// Adds one entry whole. False, and nothing added, when it no longer fits.
bool add_entry(Entries& entries, std::span<const Field> fields, Bytes record) noexcept {
    const std::size_t before = entries.size();
    for (const Field& field : fields) {
        std::array<char, 40> room;
        if (entries.add(field.letter, value_of(field, record, room))) continue;
        entries.cut(before);
        return false;
    }
    return true;
}

// Reads entries until a record is missing or no more fit. Returns their number.
int read_entries(int slot, int sfi, int count, std::span<const Field> fields,
                 Entries& entries) noexcept {
    int read = 0;
    for (int record = 1; record <= count; ++record) {
        std::array<unsigned char, 512> data{};  // a short record reads as zeros behind its end
        int length = 0;
        if (PBOC_ReadRecord(&context, slot, record, sfi, data.data(), &length) != status::ok) break;
        if (!add_entry(entries, fields, std::span(data).first(longest_record))) break;
        ++read;
    }
    return read;
}

int read_log(const Layout& layout, const api::FlowOptions& options, int slot, char* out,
             int timeout_s, int& kind) noexcept {
    api::PaymentFlow flow(options);
    const int powered = flow.power_on(slot, timeout_s);
    if (powered != status::ok) return powered;
    const int selected = flow.select_application();
    if (selected != status::ok) return selected;

    const auto where = tlv::find_value(flow.selection(), layout.tag);
    if (!where || where->size() < 2) return api::fail(layout.missing, layout.missing_number);
    GLogI("szRecord = %s\r\n", log::HexText<512>(*where).c_str());
    Entries entries;
    const int count = read_entries(flow.slot(), (*where)[0], (*where)[1], layout.fields, entries);
    const int length = count > 0 ? static_cast<int>(entries.size()) / count : 0;
    const auto size = static_cast<int>(entries.size());
    if (layout.is_traced) {
        GLogI("nDetailNum = %d\r\n", count);
        GLogI("iDetailLen = %d\r\n", length);
        GLogI("szTxData = %.*s\r\n", size, entries.text().data());
    }
    std::sprintf(out, "%02d%03d%.*s", count, length, size, entries.text().data());
    kind = flow.slot();
    return status::ok;
}

}  // namespace

namespace deskreader::api {

int read_transaction_log(const FlowOptions& options, int slot, char* out, int timeout_s,
                         int& kind) noexcept {
    return read_log(transaction_log, options, slot, out, timeout_s, kind);
}

}  // namespace deskreader::api

int RD_ICGetDetail(int slot, int, char* out, int timeout_s) {
    int kind = 0;
    return api::read_transaction_log({}, slot, out, timeout_s, kind);
}

int RD_ICGetCircllog(int slot, int, char* out, int timeout_s) {
    // kept: stricter than the transaction log.
    constexpr api::FlowOptions options{.ends_when_blocked = true};
    int kind = 0;
    return read_log(load_log, options, slot, out, timeout_s, kind);
}
