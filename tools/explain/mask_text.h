// Lines of a log, and what in them is secret by its name.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "bytes.h"

namespace explain {

// The bytes of hexadecimal text that is nothing else; none for any other text.
Bytes bytes_of_hex(std::string_view text);

// Masks the values of a line. `mask_objects` is given what stands there as hexadecimal text.
std::string mask_line(std::string_view line, const std::function<Bytes(View)>& mask_objects);

}  // namespace explain
