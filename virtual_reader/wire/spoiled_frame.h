// Frames that are wrong in one place and right in all others. An answer that is no frame, as those
// of the base unit and the magnetic module, is spoiled where a frame would have that place, or left
// alone.
#pragma once

#include "bytes.h"

namespace virtual_reader {

// The first byte is another one.
Bytes with_wrong_preamble(Bytes answer);

// The length field is these bytes, as many as there are; all else, the check byte too, stays.
Bytes with_length_field(Bytes answer, View field);

// The check byte of a frame is inverted, or the last byte of what is no frame.
Bytes with_wrong_check(Bytes answer);

// The status in the body is these bytes, as many as the frame's status has; the check byte is
// right.
Bytes with_status_bytes(Bytes answer, View status);

}  // namespace virtual_reader
