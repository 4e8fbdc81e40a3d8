// Answers to reset of cards with contacts, ISO 7816-3.
#pragma once

#include "bytes.h"
#include "note.h"

namespace explain {

// Whether the bytes are one: from TS to the last byte that its own bytes ask for.
bool is_answer_to_reset(View bytes);

Note explain_answer_to_reset(View bytes);

}  // namespace explain
