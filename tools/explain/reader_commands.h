// The commands of the reader in its frames: their names, and what they carry.
#pragma once

#include <string>

#include "bytes.h"
#include "wire.h"

namespace explain {

// What stands in a command behind its own bytes, and in the reply behind its status.
enum class Carries : std::uint8_t {
    nothing,
    answer_to_reset,  // in the reply
    apdu,             // both ways
    baud,
    text,  // both ways
    beep,
    card_state,       // in the reply
    classic_start,    // in the reply, a serial number
    classic_key,      // sector, kind, key
    classic_read,     // block; the reply its bytes
    classic_write,    // block, bytes
    classic_value,    // block, value; of a read the reply the value
    identity_record,  // in the reply
    identity_search,  // in the reply
};

struct ReaderCommand {
    FrameKind frame;
    const char* bytes;  // two characters a byte, ".." for any, of a slot
    const char* name;
    Carries carries = Carries::nothing;

    std::size_t size() const;
};

// The command at the beginning of a body, or null.
const ReaderCommand* find_command(FrameKind frame, View body);

// Bytes of status before the reply's data. A long reply in the IC frame has none: it is done.
std::size_t status_size(const Frame& reply);

}  // namespace explain
