// A card's log records as entries for the host: the first byte is the kind of log, each record has
// its length in front.
#include <algorithm>

#include "api/log_entries.h"
#include "expect.h"

namespace api = deskreader::api;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    if (input.empty()) return 0;
    const auto kind = input[0] % 2 == 0 ? api::LogKind::transactions : api::LogKind::loads;
    const std::size_t entry_size = kind == api::LogKind::transactions ? 106 : 97;
    input = input.subspan(1);
    api::LogEntries entries;
    std::size_t count = 0;
    while (!input.empty()) {
        const std::size_t length = std::min<std::size_t>(input[0], input.size() - 1);
        if (!api::add_log_entry(entries, kind, input.subspan(1, length))) break;
        ++count;
        input = input.subspan(1 + length);
    }
    expect(entries.size() == count * entry_size);
    expect(entries.size() <= 4096);
    return 0;
}
