// A desk with one virtual reader in a USB port, where hosts with the real hidapi and libusb find
// it. What stands between them, an emulated usbfs or a real kernel, is the program's choice.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "reader.h"

namespace usb_tests {

struct BenchOptions {
    bool has_output_endpoint = true;
};

class Bench {
  public:
    virtual ~Bench() = default;

    // Runs `action` on the reader while it handles no report. A reader that is unplugged or plugged
    // in there leaves the port, or comes back to it.
    virtual void on_reader(const std::function<void(virtual_reader::Reader&)>& action) = 0;

    // Whether the machine has found the reader, and is done with it.
    virtual bool is_found() = 0;

    // From now on only root may open the reader, by his powers and not by the rights of its node.
    virtual void forbid() = 0;

    // Whether the machine's own driver has the reader; false where it has none for it.
    virtual bool has_driver() = 0;

    // Whether hosts hear by themselves of readers that come and go.
    virtual bool tells_hosts() const = 0;

    // Whether `holds` comes to hold within some seconds.
    template <class Condition>
    static bool comes_to(Condition holds) {
        for (int attempt = 0; attempt < 2000; ++attempt) {
            if (holds()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    template <class Value>
    Value ask_reader(Value (*question)(virtual_reader::Reader&)) {
        Value value{};
        on_reader([&](virtual_reader::Reader& reader) { value = question(reader); });
        return value;
    }
};

// Of this program. The reader has the built-in deck and is plugged in and found.
std::unique_ptr<Bench> make_bench(const BenchOptions& options = {});

}  // namespace usb_tests
