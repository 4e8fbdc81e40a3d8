// Recordings, and a host that sends what stands behind them: any file is a recording or is refused,
// and any host is answered.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "expect.h"
#include "recording.h"
#include "replay.h"

using namespace virtual_reader;

namespace {

constexpr std::string_view end_of_recording = "\n.\n";
constexpr std::size_t most_complaints = 100;

// In pieces of changing sizes, each of which may be all of a request.
void send(Replay& replay, View bytes) {
    for (std::size_t size = 1; !bytes.empty(); size = size % 7 + 1) {
        const View piece = bytes.first(std::min(size, bytes.size()));
        replay.receive(piece);
        if (size % 3 == 0) replay.settle();
        bytes = bytes.subspan(piece.size());
    }
    replay.settle();
    expect(!replay.is_waiting());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find(end_of_recording), text.size());
    const std::string_view sent = text.substr(std::min(end + end_of_recording.size(), text.size()));
    try {
        Replay replay(read_recording(text.substr(0, end), "fuzz"));
        send(replay, to_bytes(sent));
        replay.end();
        expect(replay.take_complaints().size() <= most_complaints);
    } catch (const RecordingError&) {
    }
    return 0;
}
