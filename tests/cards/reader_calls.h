// Calls of the reader's commands and what came of them.
#pragma once

#include "kit/conversation.h"

namespace cards_test {

using kit::Bytes;

constexpr int limit_ms = 200;

// What a command gave: its result, and its output as it was before if it wrote none.
struct Given {
    int result;
    int length = -7;  // -7: not written
    Bytes out;
};

using Call = Given (*)();

inline Given only(int result) {
    return {result, -7, {}};
}

template <class Function>
Given with_output(Function function) {
    Given given{0, -7, Bytes(4200, '#')};
    given.result = function(given.out.data(), &given.length);
    given.out.resize(given.length < 0 ? 0 : static_cast<std::size_t>(given.length));
    return given;
}

}  // namespace cards_test
