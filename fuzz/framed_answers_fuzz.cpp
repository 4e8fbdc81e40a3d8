// The reader is the fuzzer: its replies stand in true frames, so that they get past the frame
// layer.
#include "flow.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzing::run_reader_calls({data, size}, [](const fuzzing::Header&, fuzzing::Draw& draw) {
        return fuzzing::FramedEnd(draw);
    });
}
