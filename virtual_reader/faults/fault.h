// What a reader does wrong on purpose, one answer at a time.
//
//   drop        `count` bytes from `at` on are lost
//   delay       the answer begins `ms` later
//   duplicate   `count` bytes from `at` on come twice; all of them with a count of 0
//   truncate    the answer ends before byte `at`
//   corrupt     `count` bytes from `at` on are changed by XOR with the first of `bytes` (FF)
//   reorder     `count` bytes from `at` on come in reverse; all of them with a count of 0
//   split       the answer comes in pieces of `count` bytes with `ms` between them: over USB
//               reports, on a serial line writes
//   merge       the answer is held back and comes together with the next one, in one piece
//   noise       `bytes` come before the answer
//   trail       `bytes` come after it
//   preamble    the frame begins with a wrong byte
//   length      the frame's length field is `bytes`
//   check       the frame's check byte is wrong
//   status      the status in the frame is `bytes`, the last of which is repeated as needed
//   report      over USB `count` input reports go before the answer that are `bytes` as they stand;
//               without bytes they are empty
//   mute        the answer ends before byte `at`, and then the reader says nothing until the
//               faults are cleared or it is plugged in again
//   stall       the answer is lost, and over USB the report with which its request ended is refused
//   unplug      the first `at` bytes of the answer come, and then the reader is gone; it is plugged
//               in again as a person would do it
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "bytes.h"

namespace virtual_reader {

// A part of an answer on its way to the host.
struct Piece {
    Bytes bytes;
    std::chrono::milliseconds pause{0};  // after the piece before
    bool is_report = false;              // an input report as it stands; no other link has it
};

// An answer while it is being spoiled.
struct SpoiledAnswer {
    Bytes bytes;
    std::vector<Piece> reports;          // before it
    std::size_t piece_size = 0;          // 0: one piece
    std::chrono::milliseconds begin{0};  // before the first piece
    std::chrono::milliseconds pause{0};  // between pieces
    bool is_held = false;
    bool mutes = false;
    bool stalls = false;
    bool unplugs = false;
};

struct FaultKind;

struct Fault {
    const FaultKind* kind = nullptr;
    int after = 0;  // answers that come first and are left alone
    int times = 1;  // answers that it spoils then; 0: all
    std::size_t at = 0;
    std::size_t count = 0;
    Bytes bytes;
    std::chrono::milliseconds ms{0};
};

struct FaultKind {
    const char* name;
    void (*spoil)(const Fault&, SpoiledAnswer&);
    std::size_t count;  // unless it is given
};

// The kind of that name, or nullptr; and all names, with ", " between them.
const FaultKind* find_fault_kind(std::string_view name);
std::string fault_kind_names();

// A fault of a kind with what it has unless it is told otherwise.
Fault fault_of(const FaultKind& kind);

}  // namespace virtual_reader
