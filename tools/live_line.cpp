#include "live_line.h"

#include <cstdio>
#include <mutex>

#include <unistd.h>

namespace desk_tool::live_line {
namespace {

std::mutex painting;
bool is_shown = false;

constexpr char to_begin[] = "\r";
constexpr char clear_rest[] = "\033[K";

bool is_possible() {
    static const bool terminal = isatty(STDERR_FILENO) == 1;
    return terminal;
}

}  // namespace

void show(const std::string& text) {
    if (!is_possible()) return;
    const std::lock_guard lock(painting);
    std::fprintf(stderr, "%s%s%s", to_begin, text.c_str(), clear_rest);
    is_shown = true;
}

void clear() {
    if (!is_possible()) return;
    const std::lock_guard lock(painting);
    if (is_shown) std::fprintf(stderr, "%s%s", to_begin, clear_rest);
    is_shown = false;
}

}  // namespace desk_tool::live_line
