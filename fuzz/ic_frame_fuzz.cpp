// The IC frame: replies as they may come over a line, and commands.
#include "frame_fuzz.h"
#include "protocol/ic_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace ic_frame = deskreader::ic_frame;
    // A length of FF begins a long reply.
    return frame_fuzz::run({ic_frame::build, ic_frame::trim, ic_frame::parse, 254}, {data, size});
}
