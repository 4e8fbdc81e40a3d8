#include "faults/script.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace virtual_reader {
namespace {

std::vector<Piece> pieces_of(SpoiledAnswer& answer) {
    std::vector<Piece> pieces = std::move(answer.reports);
    const std::size_t size = answer.piece_size == 0 ? answer.bytes.size() : answer.piece_size;
    for (std::size_t at = 0; at < answer.bytes.size(); at += size) {
        const View rest = View(answer.bytes).subspan(at);
        pieces.push_back({to_bytes(rest.first(std::min(size, rest.size()))),
                          at == 0 ? answer.begin : answer.pause});
    }
    return pieces;
}

// Counts one answer. Whether the fault is due for it.
bool is_due(Fault& fault) {
    if (fault.after > 0) {
        --fault.after;
        return false;
    }
    return true;
}

// Whether the fault has no more to do; called after it was due.
bool is_over(Fault& fault) {
    return fault.times > 0 && --fault.times == 0;
}

constexpr int highest = 1'000'000;

int number_of(const std::string& word) {
    int number = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size() || number < 0 || number > highest)
        throw std::invalid_argument("expected a number from 0 to 1000000, not " + word);
    return number;
}

Bytes bytes_of(const std::string& word) {
    try {
        return from_hex(word);
    } catch (const std::invalid_argument&) {
        throw std::invalid_argument("expected an even number of hexadecimal digits, not " + word);
    }
}

void set_value(Fault& fault, const std::string& name, const std::string& value) {
    if (name == "bytes") {
        fault.bytes = bytes_of(value);
    } else if (name == "after") {
        fault.after = number_of(value);
    } else if (name == "times") {
        fault.times = number_of(value);
    } else if (name == "at") {
        fault.at = static_cast<std::size_t>(number_of(value));
    } else if (name == "count") {
        fault.count = static_cast<std::size_t>(number_of(value));
    } else if (name == "ms") {
        fault.ms = std::chrono::milliseconds(number_of(value));
    } else {
        throw std::invalid_argument("expected after, times, at, count, ms or bytes, not " + name);
    }
}

}  // namespace

void FaultScript::clear() {
    faults_.clear();
    held_.clear();
    is_mute_ = false;
}

void FaultScript::plug() {
    held_.clear();
    is_mute_ = false;
    is_plugged_ = true;
    ++replugs_;
}

void FaultScript::apply_all(SpoiledAnswer& answer) {
    bool is_spoiled = false;
    for (auto fault = faults_.begin(); fault != faults_.end();) {
        if (!is_due(*fault)) {
            ++fault;
            continue;
        }
        fault->kind->spoil(*fault, answer);
        is_spoiled = true;
        fault = is_over(*fault) ? faults_.erase(fault) : fault + 1;
    }
    if (is_spoiled) ++spoiled_;
}

std::vector<Piece> FaultScript::spoil(Bytes answer) {
    has_stalled_ = false;
    if (answer.empty() || is_mute_ || !is_plugged_) return {};
    SpoiledAnswer spoiled;
    spoiled.bytes = std::move(answer);
    apply_all(spoiled);
    is_mute_ = spoiled.mutes;
    has_stalled_ = spoiled.stalls;
    is_plugged_ = !spoiled.unplugs;
    spoiled.bytes.insert(spoiled.bytes.begin(), held_.begin(), held_.end());
    held_.clear();
    if (!spoiled.is_held) return pieces_of(spoiled);
    held_ = std::move(spoiled.bytes);
    return {};
}

Fault fault_from_words(const std::vector<std::string>& words) {
    const FaultKind* kind = words.empty() ? nullptr : find_fault_kind(words[0]);
    if (kind == nullptr)
        throw std::invalid_argument("expected a fault out of " + fault_kind_names());
    if (words.size() % 2 == 0) throw std::invalid_argument("expected a value for " + words.back());
    Fault fault = fault_of(*kind);
    for (std::size_t at = 1; at < words.size(); at += 2)
        set_value(fault, words[at], words[at + 1]);
    return fault;
}

}  // namespace virtual_reader
