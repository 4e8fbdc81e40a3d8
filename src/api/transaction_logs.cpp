// RD_ICGetDetail and RD_ICGetCircllog: the entries that a payment card keeps of its transactions
// and of its e-cash loads. One reading of a log file, two layouts.
#include "api/transaction_logs.h"

#include <deskreader.h>

#include <array>
#include <cstdio>
#include <span>

#include "api/log_entries.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/log.h"
#include "support/pointers.h"

using namespace deskreader;
using api::Bytes;

namespace {

struct Layout {
    std::uint8_t tag[2];  // of the log entry in what SELECT answered: SFI and number of records
    const char* missing;
    int missing_number;
    api::LogKind kind;
    bool is_traced;
};

constexpr Layout transaction_log{
    .tag = {0x9F, 0x4D},
    .missing = "GetTag 9F4D Error!\r\n",
    .missing_number = status::log_entry_missing,
    .kind = api::LogKind::transactions,
    .is_traced = false,
};

constexpr Layout load_log{
    .tag = {0xDF, 0x4D},
    .missing = "GetTag DF4D Error!\r\n",
    .missing_number = status::data_object_list_failed,
    .kind = api::LogKind::loads,
    .is_traced = true,
};

// Reads entries until a record is missing or no more fit. Returns their number.
int read_entries(int slot, int sfi, int count, api::LogKind kind,
                 api::LogEntries& entries) noexcept {
    int read = 0;
    for (int record = 1; record <= count; ++record) {
        std::array<unsigned char, 512> data;
        int length = 0;
        if (PBOC_ReadRecord(&context, slot, record, sfi, data.data(), &length) != status::ok) break;
        const auto size = static_cast<std::size_t>(length);
        if (!api::add_log_entry(entries, kind, std::span(data).first(size))) break;
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
    api::LogEntries entries;
    const int count = read_entries(flow.slot(), (*where)[0], (*where)[1], layout.kind, entries);
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
    if (any_null(out)) return status::invalid_parameter;
    int kind = 0;
    return api::read_transaction_log({}, slot, out, timeout_s, kind);
}

int RD_ICGetCircllog(int slot, int, char* out, int timeout_s) {
    if (any_null(out)) return status::invalid_parameter;
    // kept: stricter than the transaction log.
    constexpr api::FlowOptions options{.ends_when_blocked = true};
    int kind = 0;
    return read_log(load_log, options, slot, out, timeout_s, kind);
}
