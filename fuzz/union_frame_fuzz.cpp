// The Union frame: replies as they may come over a line, and commands.
#include "frame_fuzz.h"
#include "protocol/union_frame.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace union_frame = deskreader::union_frame;
    return frame_fuzz::run({union_frame::build, union_frame::trim, union_frame::parse, SIZE_MAX},
                           {data, size});
}
