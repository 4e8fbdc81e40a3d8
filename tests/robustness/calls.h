// Every function that reaches for the reader or for what came from it, each with arguments that a
// working reader answers. Buffers have the documented sizes and stand against guard pages.
#pragma once

#include <deskreader.h>

#include <span>
#include <vector>

#include "robustness/guarded.h"

namespace robustness {

// What a call gets beside its own arguments.
struct Surroundings {
    GuardedBuffers& buffers;
    int port;          // the open reader's
    const char* name;  // of that port, for the functions that name one
};

// What a call makes of the references to the open device.
enum class Leaves {
    as_it_was,
    closed,             // it drops the reference that was there
    forgotten,          // the record is cleared, the device not closed
    opened_and_closed,  // by itself: the reader is not open before
};

struct Call {
    const char* name;
    const char* card;  // what must be in the reader
    int (*run)(Surroundings&);
    Leaves leaves = Leaves::as_it_was;
    bool is_terminal = false;  // returns terminal numbers
};

std::span<const Call> connection_calls();
std::span<const Call> card_calls();     // RD_ functions for cards
std::span<const Call> payment_calls();  // PBOC_ and EPED_
std::span<const Call> module_calls();   // MSR_, M1_, IC_, ID_
std::span<const Call> field_calls();    // fields of an identity card's record
std::span<const Call> terminal_calls();

// All of them.
std::vector<Call> all_calls();

}  // namespace robustness
