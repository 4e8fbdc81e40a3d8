// UCS-2 (two bytes a character, low byte first) to GB18030, by search in the standard's tables.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <span>

#include "support/gb18030_pages.h"

namespace {

using deskreader::gb18030::Pages;

constexpr int max_source = 510;
constexpr int output_limit = 1024;
constexpr unsigned char unmapped = 0xFF;

// The row with the searched UCS-2 value, null if there is none. Most characters are of a page whose
// rows have no gaps, so that the value counts them from the first one.
template <class Row>
const Row* search(std::span<const Row> table, const Pages& pages, unsigned short ucs2) {
    const unsigned high = ucs2 >> 8;
    const auto page = table.subspan(pages[high], pages[high + 1] - std::size_t{pages[high]});
    if (page.empty()) return nullptr;
    const auto guess = static_cast<std::size_t>(ucs2) - page.front().nUcs2;
    if (guess < page.size() && page[guess].nUcs2 == ucs2) return &page[guess];
    const auto row = std::ranges::lower_bound(page, ucs2, {}, &Row::nUcs2);
    return row != page.end() && row->nUcs2 == ucs2 ? &*row : nullptr;
}

unsigned four_byte_code(const GB18030_4BYTE& row) {
    return static_cast<unsigned>(row.nHigh) << 16 | row.nLow;
}

// Writes a code of two or four bytes, the most significant first.
int write_two(unsigned char* out, unsigned code) {
    out[0] = static_cast<unsigned char>(code >> 8);
    out[1] = static_cast<unsigned char>(code);
    return 2;
}

int write_four(unsigned char* out, unsigned code) {
    write_two(out, code >> 16);
    write_two(out + 2, code);
    return 4;
}

unsigned short unit_at(const unsigned char* text, int unit) {
    return static_cast<unsigned short>(text[2 * unit] | text[2 * unit + 1] << 8);
}

const GB18030_2BYTE* find_two(unsigned short ucs2) {
    return search<GB18030_2BYTE>(g_chset_ucs2_to_gb18030_2_byte_tbl,
                                 deskreader::gb18030::two_byte_pages, ucs2);
}

const GB18030_4BYTE* find_four(unsigned short ucs2) {
    return search<GB18030_4BYTE>(g_chset_ucs2_to_gb18030_4_byte_tbl,
                                 deskreader::gb18030::four_byte_pages, ucs2);
}

const GB18030_4BYTE* find_added(unsigned short ucs2) {
    const GB18030_4BYTE& row = g_chset_ucs2_to_gb18030_4_byte_tbl_add[0];
    return row.nUcs2 == ucs2 ? &row : nullptr;
}

// Returns the bytes written.
inline int convert(unsigned char* out, unsigned short ucs2) {
    if (ucs2 < 0x80) {
        *out = static_cast<unsigned char>(ucs2);
        return 1;
    }
    if (const auto* two = find_two(ucs2)) return write_two(out, two->nCode);
    const auto* four = find_four(ucs2);
    if (four == nullptr) four = find_added(ucs2);
    if (four != nullptr) return write_four(out, four_byte_code(*four));
    *out = unmapped;
    return 1;
}

}  // namespace

int mmi_chset_ucs2_gb18030_2byte_size(void) {
    return static_cast<int>(std::size(g_chset_ucs2_to_gb18030_2_byte_tbl));
}

int mmi_chset_ucs2_gb18030_4byte_size(void) {
    return static_cast<int>(std::size(g_chset_ucs2_to_gb18030_4_byte_tbl));
}

int mmi_chset_ucs2_gb18030_4byte_size_add(void) {
    return static_cast<int>(std::size(g_chset_ucs2_to_gb18030_4_byte_tbl_add));
}

int mmi_chset_ucs2_to_gb18030_2_byte_search(unsigned short ucs2, unsigned short* code) {
    const auto* row = find_two(ucs2);
    if (row == nullptr) return 0;
    *code = row->nCode;
    return 1;
}

int mmi_chset_ucs2_to_gb18030_4_byte_search(unsigned short ucs2, unsigned int* code) {
    const auto* row = find_four(ucs2);
    if (row == nullptr) return 0;
    *code = four_byte_code(*row);
    return 1;
}

int mmi_chset_ucs2_to_gb18030_4_byte_search_add(unsigned short ucs2, unsigned int* code) {
    const auto* row = find_added(ucs2);
    if (row == nullptr) return 0;
    *code = four_byte_code(*row);
    return 1;
}

int mmi_chset_ucs2_to_gb18030(unsigned char* out, unsigned short ucs2) {
    return convert(out, ucs2);
}

int mmi_chset_ucs2_to_gb18030_str(unsigned char* out, const unsigned char* source, int limit) {
    int length = 0;
    for (int at = 0; const unsigned short unit = unit_at(source, at); ++at) {
        // kept: only a unit whose low byte is 0 is held against the limit.
        if ((unit & 0xFF) == 0 && length + 2 >= limit) break;
        length += convert(out + length, unit);
    }
    out[length] = 0;
    out[length + 1] = 0;
    return length + 2;
}

int app_ucs2_strlen(const unsigned char* text) {
    int length = 0;
    if (text == nullptr) return 0;
    while (unit_at(text, length) != 0)
        ++length;
    return length;
}

int GStrUnicode2GB18030(const unsigned char* source, unsigned char* out, int length) {
    std::array<unsigned char, 512> work{};
    std::memcpy(work.data(), source, static_cast<std::size_t>(std::clamp(length, 0, max_source)));
    return mmi_chset_ucs2_to_gb18030_str(out, work.data(), output_limit);
}
