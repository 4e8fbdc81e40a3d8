// The commands of the debit/credit application that more than one flow needs with a bound on what
// they bring; all others are called through their exported names.
#pragma once

#include <deskreader.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "cards/tlv.h"

namespace deskreader::pboc {

// Reads the records that an application file locator names and appends their data. A record that
// cannot be read, or no longer fits, is left out. Returns the bytes written.
std::size_t read_records(DEVCONTEXT* device, int slot, tlv::Bytes locator,
                         std::span<std::uint8_t> out) noexcept;

}  // namespace deskreader::pboc
