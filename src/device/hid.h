// The USB HID adapter. Its functions are declared in deskreader.h; here stands the door to the mode
// id.
#pragma once

#include <cstdint>

namespace deskreader::device::hid_mode {

// The mode id that every report carries from now on, in the whole process.
void set(std::uint8_t id) noexcept;

}  // namespace deskreader::device::hid_mode
