// Commands to a card and its responses, ISO 7816-4: where their parts stand.
#pragma once

#include <optional>

#include "bytes.h"

namespace explain {

struct CommandParts {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    std::size_t data_at = 0;
    std::size_t data_size = 0;
    std::optional<std::size_t> expected;  // Le, 0 as 256 or 65536
    bool fits = true;                     // what Lc says is what is there
};

// Nothing for fewer than four bytes.
std::optional<CommandParts> split_command(View command);

}  // namespace explain
