// The reader as a USB device of this machine: plugged into the controller in software, and out of
// it and in again as the reader is.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "links/link.h"
#include "links/usbip_link.h"
#include "links/vhci_port.h"

namespace virtual_reader {

class UsbLine final : public Link {
  public:
    // How a stream to a controller is had; see plug_into_vhci.
    using Plug = std::function<int()>;

    // Throws what plugging it in throws.
    explicit UsbLine(Reader& reader, Plug plug = plug_into_this_machine,
                     bool has_output_endpoint = true);

    // "USB" once the host has found its way to the reader, empty before and while it is unplugged.
    const std::string& device() const { return device_; }
    std::string place() const override { return device_; }

    // Becomes readable when the host wants something; -1 while the reader is unplugged.
    int descriptor() const override { return link_ ? link_->descriptor() : -1; }

    // Does what the host wants, and follows the plug of the reader. Returns false while there is
    // nothing to do. Throws std::runtime_error when the host's controller has thrown it out.
    bool serve();
    bool serve(Reader&) override { return serve(); }

    // Runs `action` on the reader while no report is being handled.
    template <class Action>
    auto with_reader(Action action) {
        return port_.with_reader(action);
    }

  private:
    void plug_in();
    void take_out();
    void follow_plug();
    void look_for_host(int heard_before);

    Plug plug_;
    UsbPort port_;
    UsbDevice usb_device_;
    std::optional<UsbipLink> link_;
    std::string device_;
    int replugs_ = 0;
    std::chrono::steady_clock::time_point last_heard_;
};

}  // namespace virtual_reader
