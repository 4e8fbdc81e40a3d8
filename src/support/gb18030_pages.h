// Where in the tables of GB 18030 the rows of a UCS-2 high byte stand.
#pragma once

#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace deskreader::gb18030 {

// Entry p is the first row of page p, or of the next page that has any; the last entry is the end.
using Pages = std::array<std::uint16_t, 257>;

template <class Row>
constexpr Pages pages_of(std::span<const Row> table) noexcept {
    Pages pages{};
    for (const Row& row : table)
        ++pages[(row.nUcs2 >> 8) + 1u];
    for (std::size_t page = 1; page < pages.size(); ++page)
        pages[page] = static_cast<std::uint16_t>(pages[page] + pages[page - 1]);
    return pages;
}

extern const Pages two_byte_pages;
extern const Pages four_byte_pages;

}  // namespace deskreader::gb18030
