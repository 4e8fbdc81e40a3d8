// The Union frame: a command with a two-byte length and a check byte in characters '0' to '?'.
// Union_SendCmd is declared in deskreader.h; here stand its parts, each a function of bytes.
#pragma once

#include "protocol/exchange.h"

namespace deskreader::union_frame {

using protocol::Buffer;
using protocol::Bytes;

// Writes the frame of a command. Returns its length, -22 if it does not fit.
int build(Bytes command, Buffer frame) noexcept;

// Copies the frame out of what was received: from the first 02 through the first 03 after it.
// Returns its length; 0, and `out` as it was, without a 02.
int trim(Bytes received, Buffer out) noexcept;

// Takes the reply out of a trimmed frame. Returns its length; -74 for what is no frame, -22 for a
// reply that does not fit.
int parse(Bytes frame, Buffer reply) noexcept;

}  // namespace deskreader::union_frame
