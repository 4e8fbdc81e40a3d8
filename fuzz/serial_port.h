// A serial port within the process: the library opens and uses it by system calls, which this
// program's linker leads here (--wrap). All other files are the system's, but no other device can
// be opened.
#pragma once

#include <cstdint>
#include <span>

namespace fuzzing {

class SerialPeer {
  public:
    virtual ~SerialPeer() = default;

    virtual void write(std::span<const std::uint8_t> bytes) = 0;

    // Whether there is something to read; time passes if not.
    virtual bool poll() = 0;
    virtual std::size_t read(std::span<std::uint8_t> out) = 0;
};

namespace serial_port {

inline constexpr char name[] = "fuzzed-line";
inline constexpr char device[] = "/dev/fuzzed-line";

// Null takes the line away.
void connect(SerialPeer* peer);

// How often it was opened and not closed since.
int open_count();

}  // namespace serial_port
}  // namespace fuzzing
