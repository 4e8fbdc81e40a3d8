#include <mutex>

#include "bench.h"
#include "deck.h"
#include "emulated_usbfs.h"

namespace usb_tests {
namespace {

class EmulatedBench final : public Bench {
  public:
    explicit EmulatedBench(const BenchOptions& options)
        : reader_(virtual_reader::reader_from_deck(virtual_reader::default_deck(), "built-in")),
          port_(*reader_),
          usbfs_(port_, options.has_output_endpoint) {}

    void on_reader(const std::function<void(virtual_reader::Reader&)>& action) override {
        port_.with_reader([&](virtual_reader::Reader& reader) { action(reader); });
    }
    bool is_found() override { return usbfs_.is_there(); }
    void forbid() override { usbfs_.forbid(); }
    bool has_driver() override { return usbfs_.has_driver(); }
    bool tells_hosts() const override { return true; }

  private:
    std::unique_ptr<virtual_reader::Reader> reader_;
    virtual_reader::UsbPort port_;
    EmulatedUsbfs usbfs_;
};

}  // namespace

std::unique_ptr<Bench> make_bench(const BenchOptions& options) {
    return std::make_unique<EmulatedBench>(options);
}

}  // namespace usb_tests
