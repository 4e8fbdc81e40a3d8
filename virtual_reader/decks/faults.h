// The faults of a deck:
//
//   { "kind": "corrupt", "after": 2, "times": 1, "at": 5, "count": 1, "ms": 0, "bytes": "FF" }
//
// All but the kind may be left out; kinds and values are told in faults/fault.h.
#pragma once

#include "decks/node.h"
#include "faults/fault.h"

namespace virtual_reader {

Fault read_fault(const Node& node);

}  // namespace virtual_reader
