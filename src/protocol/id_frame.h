// The ID frame: a binary command with preamble, length and check byte. Its exported functions are
// declared in deskreader.h; here stands what takes a reply apart.
#pragma once

#include "protocol/exchange.h"

namespace deskreader::id_frame {

using protocol::Buffer;
using protocol::Bytes;

inline constexpr std::size_t max_received = 4096;

// Copies the reply out of the receive buffer, which is zero behind what was received; `length` is
// the count of bytes received. Nothing is copied beyond the end of the buffer, whatever the reply
// says of its length. False, and `reply` as it was, for a reply that the room does not exceed.
bool take(Bytes buffer, std::size_t length, Buffer reply) noexcept;

}  // namespace deskreader::id_frame
