// What a USB host finds when it looks at the reader: a full-speed HID device (USB 2.0 chapter 9,
// HID 1.11) with an interrupt pipe each way. It knows nothing of how the host's transfers get here.
#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "links/usb_port.h"

namespace virtual_reader {

// The eight bytes with which a control transfer begins.
struct UsbSetup {
    static constexpr std::size_t size = 8;

    std::uint8_t type = 0;
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;

    // From at least eight bytes, as they stand on the wire: little-endian.
    static UsbSetup parse(View bytes);
};

struct UsbTransfer {
    std::uint64_t id = 0;       // the host's own, by which it may cancel
    std::uint8_t endpoint = 0;  // number, 0 to 15
    bool is_in = false;         // to the host
    UsbSetup setup;             // of endpoint 0
    Bytes data;                 // from the host
    std::size_t room = 0;       // for data to the host
};

struct UsbResult {
    std::uint64_t id = 0;
    int status = 0;         // 0, or the negative error number that Linux gives a transfer
    std::size_t count = 0;  // bytes that went either way
    Bytes data;             // to the host
};

class UsbDevice {
  public:
    static constexpr std::uint16_t vendor = 0x2E8B;
    static constexpr std::uint16_t product = 0x0142;

    // A reader without an output endpoint takes its reports by SET_REPORT.
    explicit UsbDevice(UsbPort& port, bool has_output_endpoint = true)
        : port_(port), has_output_endpoint_(has_output_endpoint) {}

    // Begins a transfer. A read that finds no report waits for one and has no result yet.
    std::optional<UsbResult> submit(UsbTransfer transfer);

    // Reads for which a report has come.
    std::vector<UsbResult> take_finished();

    // Takes a waiting read back; false if there is none of that id.
    bool cancel(std::uint64_t id);

    // All that waits ends with this status.
    std::vector<UsbResult> end_all(int status);

    // Whether a host has chosen its configuration and may use the pipes.
    bool is_configured() const { return configuration_ != 0; }

    // The descriptors of the device and of its configuration.
    Bytes device_descriptor() const;
    Bytes configuration_descriptor() const;

  private:
    struct WaitingRead {
        std::uint64_t id;
        std::size_t room;
    };

    UsbResult control(const UsbTransfer& transfer);
    std::optional<Bytes> answer_to(const UsbSetup& setup) const;
    std::optional<Bytes> descriptor(std::uint16_t value) const;
    std::optional<Bytes> string(std::uint8_t index) const;
    bool carry_out(const UsbTransfer& transfer);
    int take_output(View report);

    UsbPort& port_;
    bool has_output_endpoint_;
    std::uint8_t configuration_ = 0;
    std::deque<WaitingRead> reads_;
};

}  // namespace virtual_reader
