// What a reader does wrong on purpose, one answer at a time. The kinds explain themselves in
// fault.cpp, and so to whoever asks the program for help.
#pragma once

#include <chrono>
#include <span>
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
    const char* help;   // lines; numbers in brackets are what counts unless it is given
};

// The kind of that name, or nullptr; and all names, with ", " between them.
const FaultKind* find_fault_kind(std::string_view name);
std::string fault_kind_names();

std::span<const FaultKind> fault_kinds();

// A fault of a kind with what it has unless it is told otherwise.
Fault fault_of(const FaultKind& kind);

}  // namespace virtual_reader
