// Counts allocations of this thread. A program that links allocations.cpp has malloc and its
// relatives counted; every other one must not call this.
#pragma once

namespace kit {

// How many there were since the thread began.
unsigned long allocations();

}  // namespace kit
