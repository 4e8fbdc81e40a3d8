// The USB bus of a test program: hidapi's functions, answered by devices that the test plugs in.
//
// In a program that uses this bus, its hid_init, hid_open, hid_write, hid_read_timeout, hid_close
// and hid_exit stand in the place of hidapi's.
#pragma once

#include <cstdint>
#include <span>

namespace kit {

// One device on the bus. Calls come from the thread that uses the library.
class HidDevice {
  public:
    virtual ~HidDevice() = default;

    // What hid_write got: report id, mode id, length, payload. The result goes back to the caller.
    virtual int write(std::span<const std::uint8_t> report) = 0;

    // What hid_read_timeout asks for: bytes placed in `out`, 0 for nothing in time, -1 for an
    // error.
    virtual int read(std::span<std::uint8_t> out, int timeout_ms) = 0;
};

namespace hid_bus {

inline constexpr unsigned short vendor = 0x2E8B;
inline constexpr unsigned short product = 0x0142;

void plug(HidDevice& device, unsigned short vendor_id = vendor,
          unsigned short product_id = product);
void unplug(HidDevice& device);

// What the program under test did to the bus.
struct Counts {
    int inits = 0;
    int exits = 0;
    int opens = 0;  // successful ones
    int closes = 0;
};
const Counts& counts();

// The next hid_init and hid_exit return this.
void set_library_result(int result);

}  // namespace hid_bus
}  // namespace kit
