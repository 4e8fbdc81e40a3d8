#include "faults/fault.h"

#include <algorithm>

#include "wire/spoiled_frame.h"

namespace virtual_reader {
namespace {

// The bytes of an answer that a fault is about.
struct Run {
    std::ptrdiff_t begin;
    std::ptrdiff_t end;
};

Run run_of(const Fault& fault, const Bytes& bytes) {
    const std::size_t begin = std::min(fault.at, bytes.size());
    const std::size_t rest = bytes.size() - begin;
    const std::size_t count = fault.count == 0 ? rest : std::min(fault.count, rest);
    return {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(begin + count)};
}

void drop(const Fault& fault, SpoiledAnswer& answer) {
    const Run run = run_of(fault, answer.bytes);
    answer.bytes.erase(answer.bytes.begin() + run.begin, answer.bytes.begin() + run.end);
}

void delay(const Fault& fault, SpoiledAnswer& answer) {
    answer.begin += fault.ms;
}

void duplicate(const Fault& fault, SpoiledAnswer& answer) {
    const Run run = run_of(fault, answer.bytes);
    const Bytes twice(answer.bytes.begin() + run.begin, answer.bytes.begin() + run.end);
    answer.bytes.insert(answer.bytes.begin() + run.end, twice.begin(), twice.end());
}

void truncate(const Fault& fault, SpoiledAnswer& answer) {
    answer.bytes.resize(std::min(fault.at, answer.bytes.size()));
}

void corrupt(const Fault& fault, SpoiledAnswer& answer) {
    const std::uint8_t mask = fault.bytes.empty() ? 0xFF : fault.bytes[0];
    const Run run = run_of(fault, answer.bytes);
    std::for_each(answer.bytes.begin() + run.begin, answer.bytes.begin() + run.end,
                  [mask](std::uint8_t& byte) { byte ^= mask; });
}

void reorder(const Fault& fault, SpoiledAnswer& answer) {
    const Run run = run_of(fault, answer.bytes);
    std::reverse(answer.bytes.begin() + run.begin, answer.bytes.begin() + run.end);
}

void split(const Fault& fault, SpoiledAnswer& answer) {
    answer.piece_size = fault.count;
    answer.pause = fault.ms;
}

void merge(const Fault&, SpoiledAnswer& answer) {
    answer.is_held = true;
}

void noise(const Fault& fault, SpoiledAnswer& answer) {
    answer.bytes.insert(answer.bytes.begin(), fault.bytes.begin(), fault.bytes.end());
}

void trail(const Fault& fault, SpoiledAnswer& answer) {
    append(answer.bytes, fault.bytes);
}

void spoil_preamble(const Fault&, SpoiledAnswer& answer) {
    answer.bytes = with_wrong_preamble(std::move(answer.bytes));
}

void spoil_length(const Fault& fault, SpoiledAnswer& answer) {
    answer.bytes = with_length_field(std::move(answer.bytes), fault.bytes);
}

void spoil_check(const Fault&, SpoiledAnswer& answer) {
    answer.bytes = with_wrong_check(std::move(answer.bytes));
}

void spoil_status(const Fault& fault, SpoiledAnswer& answer) {
    answer.bytes = with_status_bytes(std::move(answer.bytes), fault.bytes);
}

void report(const Fault& fault, SpoiledAnswer& answer) {
    for (std::size_t i = 0; i < fault.count; ++i)
        answer.reports.push_back({fault.bytes, {}, true});
}

void mute(const Fault& fault, SpoiledAnswer& answer) {
    truncate(fault, answer);
    answer.mutes = true;
}

void stall(const Fault&, SpoiledAnswer& answer) {
    answer.bytes.clear();
    answer.stalls = true;
}

void unplug(const Fault& fault, SpoiledAnswer& answer) {
    truncate(fault, answer);
    answer.unplugs = true;
}

constexpr FaultKind kinds[] = {
    {"drop", drop, 1},
    {"delay", delay, 0},
    {"duplicate", duplicate, 0},
    {"truncate", truncate, 0},
    {"corrupt", corrupt, 1},
    {"reorder", reorder, 0},
    {"split", split, 1},
    {"merge", merge, 0},
    {"noise", noise, 0},
    {"trail", trail, 0},
    {"preamble", spoil_preamble, 0},
    {"length", spoil_length, 0},
    {"check", spoil_check, 0},
    {"status", spoil_status, 0},
    {"report", report, 1},
    {"mute", mute, 0},
    {"stall", stall, 0},
    {"unplug", unplug, 0},
};

}  // namespace

const FaultKind* find_fault_kind(std::string_view name) {
    const auto* kind =
        std::ranges::find_if(kinds, [&](const FaultKind& one) { return name == one.name; });
    return kind == std::end(kinds) ? nullptr : kind;
}

std::string fault_kind_names() {
    std::string names;
    for (const FaultKind& kind : kinds)
        names += std::string(names.empty() ? "" : ", ") + kind.name;
    return names;
}

Fault fault_of(const FaultKind& kind) {
    Fault fault;
    fault.kind = &kind;
    fault.count = kind.count;
    return fault;
}

}  // namespace virtual_reader
