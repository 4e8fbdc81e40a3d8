// Replies in their frames.
#pragma once

#include "bytes.h"

namespace virtual_reader {

// 60, length, body, XOR of all as hexadecimal text, then 03. A body of 255 bytes or more has length
// FF and then B0 + (length - FF). At most 334 bytes can be said so; throws std::length_error for
// more.
Bytes ic_reply(View body);

// 02, length (2 bytes), body, XOR of the body in characters '0' + nibble, then 03. Throws
// std::length_error for a body whose length does not fit two bytes.
Bytes union_reply(View body);

// AA AA AA 96 69, length (2 bytes, with the check byte), body, XOR of length and body.
Bytes id_reply(View body);

}  // namespace virtual_reader
