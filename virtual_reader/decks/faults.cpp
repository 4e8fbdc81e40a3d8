#include "decks/faults.h"

namespace virtual_reader {
namespace {

constexpr int highest = 1'000'000;

void read_size(const Node& node, const char* key, std::size_t& value) {
    if (node.has(key)) value = static_cast<std::size_t>(node.at(key).number(0, highest));
}

}  // namespace

Fault read_fault(const Node& node) {
    node.allow({"kind", "after", "times", "at", "count", "ms", "bytes"});
    const FaultKind* kind = find_fault_kind(node.at("kind").text());
    if (kind == nullptr) node.at("kind").fail("one of " + fault_kind_names());
    Fault fault = fault_of(*kind);
    if (node.has("after")) fault.after = node.at("after").number(0, highest);
    if (node.has("times")) fault.times = node.at("times").number(0, highest);
    read_size(node, "at", fault.at);
    read_size(node, "count", fault.count);
    if (node.has("ms")) fault.ms = std::chrono::milliseconds(node.at("ms").number(0, highest));
    if (node.has("bytes")) fault.bytes = node.at("bytes").hex();
    return fault;
}

}  // namespace virtual_reader
