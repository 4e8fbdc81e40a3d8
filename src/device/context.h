// The record of one reader connection and its accessors. DEVCONTEXT and the DC_ functions are
// declared in deskreader.h; here stand the names of the two links.
#pragma once

#include <deskreader.h>

#include <string_view>

namespace deskreader::device {

inline constexpr char type_hid[] = "hid";
inline constexpr char type_serial[] = "com";

inline constexpr int max_usb_ids = 8;

// The interface type as text, also where all 16 characters of the field are used.
std::string_view interface_type(const DEVCONTEXT& target) noexcept;

inline bool is_hid(const DEVCONTEXT& target) noexcept {
    return interface_type(target) == type_hid;
}
inline bool is_serial(const DEVCONTEXT& target) noexcept {
    return interface_type(target) == type_serial;
}

// Whether the handle in the record is one that its close already took away. The record keeps it,
// and a host may go on to read, write or release.
bool has_closed_handle(const DEVCONTEXT& target) noexcept;

}  // namespace deskreader::device
