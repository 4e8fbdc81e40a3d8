// The reader's own MIFARE Classic commands, for the card in the field:
//
//   41   power on     42 sector type key   authenticate    43 block        read     44 block data
//   write 4B   halt         45 block   read value                46 block value  write value
//                     47 block value   increment           48 block value  decrement
//
// Values have four bytes, the low one first. Sectors count from 1 here, as slots do in the IC
// frame; blocks count from 0.
#pragma once

#include <optional>

#include "ic_module.h"

namespace virtual_reader {

// How a frame names key A and key B.
struct KeyTypes {
    std::uint8_t a;
    std::uint8_t b;
};

// Carries out a command, given as its letter and what follows. Nothing for an unknown letter or
// the wrong number of bytes.
std::optional<Result> classic_command(IcModule& ic, const KeyTypes& types, View command);

}  // namespace virtual_reader
