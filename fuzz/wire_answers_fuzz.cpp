// The reader is the fuzzer: raw bytes as its answers to whole calls, over both links and in both
// frames.
#include "flow.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzing::run_reader_calls({data, size},
                                     [](const fuzzing::Header& header, fuzzing::Draw& draw) {
                                         return fuzzing::WireEnd(draw, header.babbles());
                                     });
}
