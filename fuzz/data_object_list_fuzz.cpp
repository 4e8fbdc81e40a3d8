// A card's list of what it wants to know, answered from the terminal's stores.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <vector>

#include "cards/terminal_data.h"
#include "expect.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Input list(bytes, size);
    std::array<std::uint8_t, 512> bounded;
    std::size_t filled = 0;
    const bool answered = deskreader::terminal_data::answer_list(list, bounded, filled);
    expect(filled <= bounded.size());

    // The documented room of the exported form: 10 bytes for each byte of the list.
    std::vector<std::uint8_t> out(10 * list.size() + 1, 0xEE);
    int length = -7;
    const int result =
        PBOC_BuildDOL(nullptr, 0, list.data(), static_cast<int>(list.size()), out.data(), &length);
    expect(out.back() == 0xEE);
    expect(length >= 0 && static_cast<std::size_t>(length) < out.size());
    if (answered) {
        expect(result == 0 && static_cast<std::size_t>(length) == filled);
        expect(std::equal(out.begin(), out.begin() + length, bounded.begin()));
    }
    return 0;
}
