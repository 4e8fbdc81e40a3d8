// The virtual reader in the place of a real one: behind the test's USB bus, or on a
// pseudo-terminal.
#pragma once

#include <memory>
#include <optional>

#include "deck.h"
#include "kit/conversation.h"
#include "links/serial_reader.h"
#include "links/usb_port.h"

namespace kit {

class VirtualDesk final : public HidDevice {
  public:
    explicit VirtualDesk(Link link, std::string_view deck = virtual_reader::default_deck());
    ~VirtualDesk() override;
    VirtualDesk(const VirtualDesk&) = delete;
    VirtualDesk& operator=(const VirtualDesk&) = delete;

    // The port number that RD_Open takes for it.
    int port() const { return serial_ ? serial_port : usb_port; }

    // What a host terminal calls the port: "USB", or the device's name below /dev.
    std::string port_name() const;

    // Runs `action` on the reader while it handles no request.
    template <class Action>
    auto with_reader(Action action) {
        return serial_ ? serial_->with_reader(action) : usb_->with_reader(action);
    }

    int write(std::span<const std::uint8_t> report) override;
    int read(std::span<std::uint8_t> out, int timeout_ms) override;

  private:
    static constexpr int usb_port = 0;
    static constexpr int serial_port = 3;

    std::unique_ptr<virtual_reader::Reader> reader_;  // of the USB port
    std::optional<virtual_reader::UsbPort> usb_;
    std::optional<virtual_reader::SerialReader> serial_;
};

}  // namespace kit
