#include "links/output_queue.h"

#include <algorithm>
#include <utility>

namespace virtual_reader {

void OutputQueue::put(std::vector<Piece> pieces, Time from, const OnTheWire& on_the_wire) {
    for (Piece& piece : pieces) {
        if (piece.is_report) continue;
        const Time begin = outputs_.empty() ? from : std::max(from, outputs_.back().due);
        const Time due = begin + piece.pause + on_the_wire(piece.bytes.size());
        outputs_.push_back({due, std::move(piece.bytes)});
    }
}

void OutputQueue::put(std::vector<Piece> pieces, Time from) {
    put(std::move(pieces), from, [](std::size_t) { return Time(0); });
}

std::optional<Bytes> OutputQueue::take_due(Time now) {
    if (outputs_.empty() || outputs_.front().due > now) return std::nullopt;
    Bytes bytes = std::move(outputs_.front().bytes);
    outputs_.pop_front();
    return bytes;
}

std::optional<Time> OutputQueue::next_due_in(Time now) const {
    if (outputs_.empty()) return std::nullopt;
    return std::max(outputs_.front().due - now, Time(0));
}

}  // namespace virtual_reader
