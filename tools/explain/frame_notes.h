// Frames of the reader in words, and what stands in them.
#pragma once

#include "apdu_notes.h"
#include "note.h"
#include "reader_commands.h"
#include "wire.h"

namespace explain {

// What a reply answers, and what cards have said.
struct TrafficContext {
    const ReaderCommand* asked = nullptr;
    CardContext card;
};

// "APDU, contact: READ RECORD record 1 of file 1" or "done, 9000": one line's worth of a frame.
std::string frame_title(Direction direction, const Frame& frame, const TrafficContext& context);

// Replies are told by the command before them, if the context has it.
Note explain_frame(Direction direction, const Frame& frame, TrafficContext& context);

// Whether a body is a command of the reader rather than a reply.
Direction likely_direction(const Frame& frame);

std::string frame_name(FrameKind kind);

}  // namespace explain
