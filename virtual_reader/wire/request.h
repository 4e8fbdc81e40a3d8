// What a host asks of the reader, once its frame is taken off.
#pragma once

#include "bytes.h"

namespace virtual_reader {

enum class Framing {
    escape,       // body: the bytes behind ESC
    ic_frame,     // body: the command bytes
    union_frame,  // body: the command bytes
    id_frame,     // body: the command bytes
};

struct Request {
    Framing framing;
    Bytes body;

    friend bool operator==(const Request&, const Request&) = default;
};

}  // namespace virtual_reader
