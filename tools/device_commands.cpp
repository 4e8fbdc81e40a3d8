// info, beep, reset, sn: the reader itself.
#include "calls.h"
#include "commands.h"
#include "connection.h"

namespace desk_tool {

void run_info(const Options& options, Output& output) {
    const Connection connection(options.link);
    output.field("link", "link", connection.name());
    output.field("information", "information", device_information());
    output.field("serial_number", "serial number", serial_number());
}

void run_beep(const Options& options, Output& output) {
    const Connection connection(options.link);
    beep(options.beep_duration);
    output.field("beep", "beep", options.beep_duration);
}

void run_reset(const Options& options, Output& output) {
    const Connection connection(options.link);
    reset();
    output.field("reset", "reset", "done");
}

void run_serial_number(const Options& options, Output& output) {
    const Connection connection(options.link);
    if (options.new_serial_number) set_serial_number(*options.new_serial_number);
    output.field("serial_number", "serial number", serial_number());
}

}  // namespace desk_tool
