#include "cards/terminal_data.h"

#include <deskreader.h>

#include <algorithm>

#include "status.h"
#include "support/pointers.h"

// The stores: tag, length, value (hexadecimal), one object a line.

unsigned char g_szTxData[88] = {
    0x8A, 2,    0x30, 0x30,                                // authorisation response code, "00"
    0x9F, 0x02, 6,    0x00, 0x00, 0x00, 0x00, 0x00, 0x12,  // amount, authorised (BCD)
    0x9F, 0x03, 6,    0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // amount, other
    0x9F, 0x1A, 2,    0x01, 0x56,                          // terminal country code
    0x95, 5,    0x00, 0x00, 0x00, 0x08, 0x00,              // terminal verification results
    0x5F, 0x2A, 2,    0x01, 0x56,                          // transaction currency code
    0x9A, 3,    0x30, 0x30, 0x30,              // transaction date, kept: "000" until set
    0x9C, 1,    0x01,                          // transaction type
    0x9F, 0x37, 4,    0x12, 0x34, 0x56, 0x78,  // unpredictable number
    0x82, 2,    0x00, 0x00,                    // application interchange profile
    0x9F, 0x21, 3,    0x00, 0x00, 0x00,        // transaction time
    0x9F, 0x4E, 20,   0,    0,    0,    0,    0,    0,    0, 0,  // merchant name
    0,    0,    0,    0,    0,    0,    0,    0,    0,    0, 0, 0,
};
int g_iTxDataLen = 87;

unsigned char g_szAppInitData[114] = {
    0x9F, 0x02, 6,    0x00, 0x00, 0x00, 0x00, 0x00, 0x12,  // amount, authorised (BCD)
    0x9F, 0x03, 6,    0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // amount, other
    0x9F, 0x1A, 2,    0x01, 0x56,                          // terminal country code
    0x95, 5,    0x00, 0x00, 0x00, 0x08, 0x00,              // terminal verification results
    0x5F, 0x2A, 2,    0x01, 0x56,                          // transaction currency code
    0x9C, 1,    0x01,                                      // transaction type
    0x9F, 0x37, 4,    0x12, 0x34, 0x56, 0x78,              // unpredictable number
    0x9F, 0x66, 4,    0xF4, 0x00, 0x00, 0x00,              // terminal transaction qualifiers
    0x9F, 0x7A, 1,    0x00,                                // e-cash terminal support indicator
    0x9F, 0x7B, 6,    0x00, 0x00, 0x01, 0x00, 0x00, 0x00,  // e-cash terminal transaction limit
    0x9F, 0x4E, 20,   0,    0,    0,    0,    0,    0,    0, 0,  // merchant name
    0,    0,    0,    0,    0,    0,    0,    0,    0,    0, 0,
    0,    0x9A, 3,    0x30, 0x30, 0x30,  // transaction date, kept: "000" until set
    0xDF, 0x60, 1,    0x00,              // proprietary
    0xDF, 0x69, 1,    0x01,              // proprietary
    0x9F, 0x21, 3,    0x00, 0x00, 0x00,  // transaction time
    0x9F, 0x33, 3,    0x20, 0xA1, 0x00,  // terminal capabilities
};
int g_iAppInitDataLen = 113;

unsigned char g_szExData[50] = {
    0x9F, 0x35, 1,    0x22,                                            // terminal type
    0x9F, 0x45, 2,    0x00, 0x00,                                      // data authentication code
    0x9F, 0x4C, 8,    0,    0,    0,    0,    0,    0,    0,    0,     // ICC dynamic number
    0x9F, 0x34, 3,    0x3F, 0x00, 0x00,                                // CVM results
    0x9F, 0x7C, 20,   0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88,  // customer exclusive data
    0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
};
int g_iExDataLen = 49;

namespace deskreader::terminal_data {
namespace {

// The used part of a store; its length is exported data, so a host may have written anything there.
template <std::size_t Capacity>
std::span<std::uint8_t> used(unsigned char (&store)[Capacity], int length) noexcept {
    return std::span(store).first(
        static_cast<std::size_t>(std::clamp(length, 0, static_cast<int>(Capacity))));
}

std::span<std::uint8_t> transaction() noexcept {
    return used(g_szTxData, g_iTxDataLen);
}
std::span<std::uint8_t> application_start() noexcept {
    return used(g_szAppInitData, g_iAppInitDataLen);
}
std::span<std::uint8_t> fixed() noexcept {
    return used(g_szExData, g_iExDataLen);
}

}  // namespace

std::optional<tlv::Bytes> find_transaction(tlv::Bytes tag) noexcept {
    return tlv::find_value(transaction(), tag);
}

std::optional<tlv::Bytes> find(tlv::Bytes tag) noexcept {
    for (const tlv::Bytes store : {transaction(), application_start(), fixed()}) {
        if (const auto value = tlv::find_value(store, tag)) return value;
    }
    return std::nullopt;
}

bool answer_list(tlv::Bytes list, std::span<std::uint8_t> out, std::size_t& filled) noexcept {
    filled = 0;
    while (!list.empty()) {
        const tlv::ListEntry entry = tlv::first_entry(list);
        const auto value = find(entry.tag_bytes());
        if (!value || value->size() > out.size() - filled) return false;
        std::ranges::copy(*value, out.begin() + static_cast<std::ptrdiff_t>(filled));
        filled += value->size();
        list = list.subspan(std::min(entry.header, list.size()));
    }
    return true;
}

}  // namespace deskreader::terminal_data

using namespace deskreader;

int PBOC_BuildDOL(DEVCONTEXT*, int, const unsigned char* list, int list_length, unsigned char* out,
                  int* out_length) {
    if (missing(list, list_length) || any_null(out, out_length)) return status::invalid_argument;
    if (list_length < 0) list_length = 0;
    std::size_t filled = 0;
    const tlv::Bytes entries(list, static_cast<std::size_t>(list_length));
    // No argument carries the room in `out`; the longest stored value bounds what an entry adds.
    const std::span<std::uint8_t> room(out, entries.size() * sizeof g_szAppInitData);
    const bool complete = terminal_data::answer_list(entries, room, filled);
    *out_length = static_cast<int>(filled);
    return complete ? status::ok : status::failed;
}

int PBOC_SetTxDataTagValue(const unsigned char* tag, int tag_length, const unsigned char* value,
                           int length) {
    return PBOC_SetTagValue(tag, tag_length, g_szTxData,
                            static_cast<int>(terminal_data::transaction().size()), value, length);
}

int PBOC_SetAppInitDataTagValue(const unsigned char* tag, int tag_length,
                                const unsigned char* value, int length) {
    return PBOC_SetTagValue(tag, tag_length, g_szAppInitData,
                            static_cast<int>(terminal_data::application_start().size()), value,
                            length);
}
