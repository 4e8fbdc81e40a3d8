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
    {"drop", drop, 1, "COUNT bytes (1) from AT on are lost"},
    {"delay", delay, 0, "the answer begins MS later"},
    {"duplicate", duplicate, 0, "COUNT bytes from AT on come twice; all of them without COUNT"},
    {"truncate", truncate, 0, "the answer ends before byte AT"},
    {"corrupt", corrupt, 1,
     "COUNT bytes (1) from AT on are changed by XOR with the first of\n"
     "BYTES (FF)"},
    {"reorder", reorder, 0, "COUNT bytes from AT on come in reverse; all of them without COUNT"},
    {"split", split, 1,
     "the answer comes in pieces of COUNT bytes (1) with MS between\n"
     "them: over USB reports, on other lines writes"},
    {"merge", merge, 0,
     "the answer is held back and comes together with the next one, in\n"
     "one piece"},
    {"noise", noise, 0, "BYTES come before the answer"},
    {"trail", trail, 0, "BYTES come after it"},
    {"preamble", spoil_preamble, 0, "the frame begins with a wrong byte"},
    {"length", spoil_length, 0, "the frame's length field is BYTES"},
    {"check", spoil_check, 0, "the frame's check byte is wrong"},
    {"status", spoil_status, 0,
     "the status in the frame is BYTES, the last of which is repeated as\n"
     "needed"},
    {"report", report, 1,
     "over USB COUNT input reports (1) go before the answer that are\n"
     "BYTES as they stand; without BYTES they are empty"},
    {"mute", mute, 0,
     "the answer ends before byte AT, and then the reader says nothing\n"
     "until the faults are cleared or it is plugged in again"},
    {"stall", stall, 0,
     "the answer is lost, and over USB the report with which its request\n"
     "ended is refused"},
    {"unplug", unplug, 0,
     "the first AT bytes of the answer come, and then the reader is gone\n"
     "until it is plugged in"},
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

std::span<const FaultKind> fault_kinds() {
    return kinds;
}

Fault fault_of(const FaultKind& kind) {
    Fault fault;
    fault.kind = &kind;
    fault.count = kind.count;
    return fault;
}

}  // namespace virtual_reader
