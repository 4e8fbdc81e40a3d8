#include "links/output_queue.h"

#include <algorithm>
#include <utility>

namespace virtual_reader {

void OutputQueue::put(std::vector<Piece> pieces) {
    for (Piece& piece : pieces) {
        if (piece.is_report) continue;
        const auto now = std::chrono::steady_clock::now();
        const auto before = outputs_.empty() ? now : std::max(now, outputs_.back().due);
        outputs_.push_back({before + piece.pause, std::move(piece.bytes)});
    }
}

std::optional<Bytes> OutputQueue::take_due() {
    if (outputs_.empty() || outputs_.front().due > std::chrono::steady_clock::now())
        return std::nullopt;
    Bytes bytes = std::move(outputs_.front().bytes);
    outputs_.pop_front();
    return bytes;
}

}  // namespace virtual_reader
