// On a machine of its own (script/usb-test) the reader is plugged into the kernel's controller in
// software. Needs root, the module vhci-hcd, and nobody else's readers.
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include "bench.h"
#include "deck.h"
#include "links/usb_line.h"

namespace fs = std::filesystem;

namespace usb_tests {
namespace {

constexpr char devices[] = "/sys/bus/usb/devices";
constexpr char nodes[] = "/dev/bus/usb";

class KernelBench final : public Bench {
  public:
    explicit KernelBench(const BenchOptions& options)
        : reader_(virtual_reader::reader_from_deck(virtual_reader::default_deck(), "built-in")),
          line_(*reader_, virtual_reader::plug_into_this_machine, options.has_output_endpoint),
          thread_([this](const std::stop_token& stop) { run(stop); }) {
        if (!comes_to([this] { return is_found() && has_driver(); }))
            throw std::runtime_error("the kernel does not find the reader");
    }

    // The kernel forgets a reader in its own time; the next one is told from it by its node.
    ~KernelBench() override {
        thread_.request_stop();
        thread_.join();
        reader_->faults().unplug();
        line_.serve();
        comes_to([] { return reader_node().empty(); });
    }

    void on_reader(const std::function<void(virtual_reader::Reader&)>& action) override {
        const std::lock_guard lock(mutex_);
        line_.with_reader([&](virtual_reader::Reader& reader) { action(reader); });
    }
    bool is_found() override {
        const std::lock_guard lock(mutex_);
        return !line_.device().empty() && !reader_node().empty();
    }
    void forbid() override { fs::permissions(reader_node(), fs::perms::none); }
    bool has_driver() override {
        for (const fs::directory_entry& entry : fs::directory_iterator(devices)) {
            const std::string name = entry.path().filename();
            const bool is_interface = name.ends_with(":1.0") && !name.ends_with("-0:1.0");
            if (is_interface && fs::exists(entry.path() / "driver")) {
                return fs::read_symlink(entry.path() / "driver").filename() == "usbhid";
            }
        }
        return false;
    }
    bool tells_hosts() const override { return false; }  // that is udev's part, and there is none

  private:
    // The controller's own hubs are the first devices of their buses.
    static fs::path reader_node() {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(nodes)) {
            if (entry.is_character_file() && entry.path().filename() != "001") return entry.path();
        }
        return {};
    }

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            {
                const std::lock_guard lock(mutex_);
                line_.serve();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::unique_ptr<virtual_reader::Reader> reader_;
    virtual_reader::UsbLine line_;
    std::mutex mutex_;
    std::jthread thread_;  // last: it uses all the others
};

}  // namespace

std::unique_ptr<Bench> make_bench(const BenchOptions& options) {
    return std::make_unique<KernelBench>(options);
}

}  // namespace usb_tests
