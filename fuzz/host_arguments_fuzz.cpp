// The host is the fuzzer: arguments of functions on all floors, with a reader that works and a
// card.
#include "host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace fuzzing;
    Draw draw({data, size});
    const Header header(draw);
    VirtualEnd reader(reader_for(host_calls()[header.call % host_calls().size()]));
    run(header, host_calls(), reader, draw);
    return 0;
}
