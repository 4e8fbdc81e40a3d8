// One call of the library's interface, from the open to the closed reader, and what holds after it:
// a defined result, nothing written outside of its buffers, the references to the device as they
// must be, no descriptor left open.
#pragma once

#include <optional>

#include "far_ends.h"
#include "robustness/calls.h"

namespace fuzzing {

// What a call of a fuzzer gets beside that of a test.
struct Surroundings : robustness::Surroundings {
    Draw& draw;  // what is left of the input
};

inline Surroundings& fuzzed(robustness::Surroundings& surroundings) {
    return static_cast<Surroundings&>(surroundings);
}

// Several calls in a row, as one.
std::span<const robustness::Call> sequences();

// Calls whose arguments are the input.
std::span<const robustness::Call> host_card_calls();
std::span<const robustness::Call> host_command_calls();
std::span<const robustness::Call> host_text_calls();

// The first three bytes of an input: the call, the link, config.ini.
struct Header {
    explicit Header(Draw& draw) : call(draw.byte()), line(draw.byte()), config(draw.byte()) {}

    bool babbles() const { return (line & 4) != 0; }
    DeskSettings desk() const;
    std::string config_text() const;

    std::uint8_t call;
    std::uint8_t line;
    std::uint8_t config;
};

// Runs one of the calls with a reader.
void run(const Header& header, std::span<const robustness::Call> calls, FarEnd& far_end,
         Draw& draw);

// All calls that ask the reader for something.
std::span<const robustness::Call> reader_calls();

// The same as a whole run, with the far end that `make` gives for header and input.
template <class Make>
int run_reader_calls(Input input, Make make) {
    Draw draw(input);
    const Header header(draw);
    auto far_end = make(header, draw);
    run(header, reader_calls(), far_end, draw);
    return 0;
}

}  // namespace fuzzing
