// What a reader may answer to an identity command, complete or not, and commands of every length.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "protocol/id_frame.h"

namespace {

namespace id_frame = deskreader::id_frame;

// The end test on a buffer of exactly these bytes.
void end_test(std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> received(data.begin(), data.end());
    VexoIdPacketIsEnd(received.data(), static_cast<unsigned>(received.size()));
}

// The reply in a receive buffer, for rooms on both sides of its length.
void take(std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> buffer(id_frame::max_received);
    const std::size_t length = std::min(data.size(), buffer.size());
    std::copy_n(data.begin(), length, buffer.begin());
    const std::size_t announced = static_cast<std::size_t>(buffer[5] << 8 | buffer[6]);
    for (const std::size_t room : {std::size_t{1}, announced, length, id_frame::max_received}) {
        std::vector<std::uint8_t> reply(room);
        id_frame::take(buffer, length, reply);
    }
}

// A frame that was built is complete for the end test, and not before.
void build(std::span<const std::uint8_t> command) {
    std::vector<std::uint8_t> frame(1024);
    const int length = ID_MakeCmdPackage(command.data(), static_cast<int>(command.size()),
                                         frame.data(), static_cast<int>(frame.size()));
    if (length < 0) return;
    if (static_cast<std::size_t>(length) != command.size() + 8) std::abort();
    if (VexoIdPacketIsEnd(frame.data(), static_cast<unsigned>(length)) != 1) std::abort();
    if (VexoIdPacketIsEnd(frame.data(), static_cast<unsigned>(length) - 1) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::span<const std::uint8_t> bytes(data, size);
    end_test(bytes);
    take(bytes);
    build(bytes);
    return 0;
}
