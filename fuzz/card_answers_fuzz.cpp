// The card is the fuzzer: behind a reader that works.
#include "flow.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzing::run_reader_calls({data, size}, [](const fuzzing::Header&, fuzzing::Draw& draw) {
        return fuzzing::VirtualEnd(fuzzing::reader_with_fuzzed_cards(draw));
    });
}
