// A reader that answers every frame at once with the same one, on a USB bus or at the far end of a
// pseudo-terminal: what is left is the cost of the library and of the link.
#pragma once

#include <cstddef>
#include <string>
#include <thread>

#include "kit/bytes.h"
#include "kit/hid_bus.h"

namespace kit {

class CannedUsb final : public HidDevice {
  public:
    explicit CannedUsb(Bytes answer) : answer_(std::move(answer)) { hid_bus::plug(*this); }
    ~CannedUsb() override { hid_bus::unplug(*this); }
    CannedUsb(const CannedUsb&) = delete;
    CannedUsb& operator=(const CannedUsb&) = delete;

    int write(std::span<const std::uint8_t> report) override;
    int read(std::span<std::uint8_t> out, int timeout_ms) override;

  private:
    Bytes answer_;
    std::size_t next_ = 0;
    bool asked_ = false;
};

class CannedLine {
  public:
    explicit CannedLine(Bytes answer);
    ~CannedLine();
    CannedLine(const CannedLine&) = delete;
    CannedLine& operator=(const CannedLine&) = delete;

    const std::string& device() const { return device_; }

  private:
    void serve() const;

    Bytes answer_;
    int master_;
    int held_;  // the other end, so that the line does not hang up between hosts
    std::string device_;
    std::thread thread_;
};

}  // namespace kit
