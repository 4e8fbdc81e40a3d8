// The system below the library, made to fail on purpose: while a flow is watched, every call that
// the library makes to it is counted by its function, and one of them fails, told by the function,
// its number among the calls of that function, and the manner. The linker puts this in the way of
// the whole program (--wrap); calls by other threads and by the far end of the bus pass through.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace failing_system {

// How a call fails: with this errno, or, without one, by doing less than it was asked for.
struct Manner {
    std::string_view name;
    int error;
};

struct Function {
    std::string_view name;
    std::span<const Manner> manners;
};

std::span<const Function> functions();

struct Failure {
    std::string_view function;
    int number = 0;  // 1 is the first call
    Manner manner;
};

// What the library has taken from the system and not given back.
struct Held {
    int allocations = 0;
    int descriptors = 0;
    int streams = 0;
    int directories = 0;
    int libraries = 0;

    bool operator==(const Held&) const = default;
};

struct Watched {
    std::map<std::string_view, int> calls;  // by function
    bool failed = false;                    // the call that should fail was made
    bool would_stop = false;                // the host would wait for a lock that it holds itself
    Held held;
};

// Watches what `flow` does. `at_failure` is called when the call fails.
Watched watch(const std::function<void()>& flow, const Failure& failure = {},
              const std::function<void()>& at_failure = {});

// Where the library's file is, from the library's point of view; empty for where it really is.
void pretend_library_is(const std::string& path);

}  // namespace failing_system
