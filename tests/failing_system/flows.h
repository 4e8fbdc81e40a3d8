// What hosts do, from opening the reader to closing it, for a system that fails meanwhile.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "kit/way.h"
#include "kit/working_directory.h"
#include "robustness/bench.h"
#include "robustness/guarded.h"

namespace failing_system {

struct Result {
    int number;
    bool is_terminal;  // one of the terminal numbers

    bool operator==(const Result&) const = default;
};

// What a flow works with: a reader with a card of every kind, a working directory with the
// libraries of the photo path, a configuration, and a log.
class Desk {
  public:
    explicit Desk(const kit::Way& way);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    int port() const { return bench_.port(); }
    const char* port_name() const { return port_name_.c_str(); }
    std::string path(std::string_view name) const { return directory_ / name; }
    const std::string& log_path() const { return log_path_; }

    char* text(std::size_t size) { return buffers_.text(size); }
    unsigned char* bytes(std::size_t size) { return buffers_.bytes(size); }
    int* number(int value = 0) { return buffers_.number<int>(value); }

    void insert(const char* card) { bench_.insert(card); }
    void hurry() { bench_.hurry(); }

    void note(int result) { results_.push_back({result, false}); }
    void note_terminal(int result) { results_.push_back({result, true}); }
    const std::vector<Result>& results() const { return results_; }

    // False when something was written before the beginning of a buffer.
    bool buffers_are_intact() { return buffers_.reset(); }

  private:
    kit::WorkingDirectory directory_;
    kit::ConfigFile config_;
    robustness::Bench bench_;
    robustness::GuardedBuffers buffers_;
    std::string port_name_;
    std::string log_path_;
    std::vector<Result> results_;
};

struct Flow {
    const char* name;
    const char* card;  // put on the reader before
    void (*run)(Desk&);
    bool needs_reader = true;  // otherwise one link is as good as another
};

// For GoogleTest.
inline void PrintTo(const Flow& flow, std::ostream* stream) {
    *stream << flow.name;
}

std::span<const Flow> flows();

}  // namespace failing_system
