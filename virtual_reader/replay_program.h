// What virtual-reader does with --replay: prints the device to open, answers as the recording says
// until its standard input ends, and says on standard error where the host strayed.
#pragma once

#include <csignal>
#include <string>

#include "options.h"

namespace virtual_reader {

// The program's exit status: 0, or 3 if the host strayed. Ends early once `stopped` is not 0.
// Throws RecordingError.
int replay_until_input_ends(const std::string& path, const volatile std::sig_atomic_t& stopped);

}  // namespace virtual_reader
