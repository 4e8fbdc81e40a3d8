#include "exit_status.h"

#include <fmt/core.h>

namespace desk_tool {
namespace {

struct Meaning {
    ExitStatus status;
    const char* text;
};

constexpr Meaning meanings[] = {
    {succeeded, "done; also monitor and stress that were interrupted"},
    {failed, "the reader, the card or the tool could not do it; standard error says why"},
    {misused, "wrong use: the command line, or DESKREADER_LINK"},
    {interrupted_waiting, "Ctrl-C (or SIGTERM) ended it before it was done"},
    {unhealthy, "doctor found a problem; warnings alone are 0"},
    {strayed, "done, but the host strayed from the recording behind replay:"},
    {not_executable, "record: the command cannot be run; otherwise its own status is given"},
    {not_found, "record: the command was not found"},
    {ended_by_signal, "and more: record's command was ended by signal 1, 2, ..."},
};

}  // namespace

std::string exit_table() {
    std::string text;
    for (const Meaning& row : meanings)
        text += fmt::format("  {:>3}  {}\n", static_cast<int>(row.status), row.text);
    return text;
}

}  // namespace desk_tool
