// What each command takes on the command line.
#pragma once

#include "commands.h"

namespace desk_tool {

void add_slot(CLI::App& command, Options& options);
void add_apdus(CLI::App& command, Options& options);
void add_beep(CLI::App& command, Options& options);
void add_serial_number(CLI::App& command, Options& options);
void add_payment(CLI::App& command, Options& options);
void add_monitor(CLI::App& command, Options& options);
void add_tracks(CLI::App& command, Options& options);
void add_track_texts(CLI::App& command, Options& options);
void add_photo(CLI::App& command, Options& options);
void add_classic_dump(CLI::App& command, Options& options);
void add_block(CLI::App& command, Options& options);
void add_classic_write(CLI::App& command, Options& options);
void add_classic_value(CLI::App& command, Options& options);
void add_classic_change(CLI::App& command, Options& options);
void add_ultralight_read(CLI::App& command, Options& options);
void add_ultralight_write(CLI::App& command, Options& options);
void add_ultralight_verify(CLI::App& command, Options& options);
void add_stress(CLI::App& command, Options& options);
void add_record(CLI::App& command, Options& options);
void add_completion(CLI::App& command, Options& options);
void add_decode(CLI::App& command, Options& options);
void add_log(CLI::App& command, Options& options);

}  // namespace desk_tool
