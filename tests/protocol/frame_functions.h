// Runs the functions of a frame on bytes, with room that the test chooses.
#pragma once

#include "kit/bytes.h"

struct FrameResult {
    int number;
    kit::Bytes bytes;  // the whole room, '#' where nothing was written
};

template <class Function>
FrameResult run(Function function, const kit::Bytes& in, std::size_t room) {
    kit::Bytes out(room, '#');
    const int number = function(in, out);
    return {number, out};
}

// What was written.
inline kit::Bytes first(const FrameResult& result) {
    return {result.bytes.begin(), result.bytes.begin() + result.number};
}
