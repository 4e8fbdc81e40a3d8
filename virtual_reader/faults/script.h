// The faults that wait for a reader's answers, and what they have done to it: whether it is mute,
// whether it is plugged in. Every link sends what comes out of here.
#pragma once

#include <string>
#include <vector>

#include "faults/fault.h"

namespace virtual_reader {

class FaultScript {
  public:
    // Faults are independent of each other: each counts answers from when it was added, and all
    // that apply to an answer spoil it, in the order in which they were added.
    void add(Fault fault) { faults_.push_back(std::move(fault)); }

    // No faults, and a voice.
    void clear();

    // What becomes of an answer: its pieces in order, none if nothing is to be heard.
    std::vector<Piece> spoil(Bytes answer);

    // A reader that is plugged in begins anew: what was held back is gone, and it has its voice.
    void plug();
    void unplug() { is_plugged_ = false; }
    bool is_plugged() const { return is_plugged_; }

    // How often it was plugged in again, for links that have something on its way then.
    int replugs() const { return replugs_; }

    // Whether the answer that was asked for last was refused with a stall.
    bool has_stalled() const { return has_stalled_; }

    bool is_mute() const { return is_mute_; }
    std::size_t waiting() const { return faults_.size(); }

    // Answers that a fault has spoiled.
    int spoiled() const { return spoiled_; }

  private:
    void apply_all(SpoiledAnswer& answer);

    std::vector<Fault> faults_;
    Bytes held_;
    int spoiled_ = 0;
    int replugs_ = 0;
    bool has_stalled_ = false;
    bool is_mute_ = false;
    bool is_plugged_ = true;
};

// The fault in the words of a line: KIND and then, in any order, "after N", "times N", "at N",
// "count N", "ms N", "bytes HEX". Throws std::invalid_argument for what makes no sense.
Fault fault_from_words(const std::vector<std::string>& words);

}  // namespace virtual_reader
