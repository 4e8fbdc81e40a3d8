// A virtual reader on either link whose troubles take no time: on USB the test's clock moves by
// what the library would wait; on a serial line, which is real, the library's time runs faster.
#pragma once

#include <optional>
#include <string>

#include "deck.h"
#include "kit/conversation.h"
#include "kit/fake_clock.h"
#include "links/serial_reader.h"
#include "links/usb_port.h"
#include "robustness/all_cards.h"

namespace robustness {

// Real time, but faster; sleeps are shorter by as much.
class HurriedClock final : public deskreader::clock::Source {
  public:
    HurriedClock();
    ~HurriedClock();
    HurriedClock(const HurriedClock&) = delete;
    HurriedClock& operator=(const HurriedClock&) = delete;

    // How fast limits run out; sleeps are always short.
    void set_speed(int speed);

    std::uint64_t monotonic_ms() noexcept override;
    std::time_t wall_time() noexcept override;
    void sleep(std::chrono::microseconds duration) noexcept override;

  private:
    std::chrono::steady_clock::time_point begin_;
    std::chrono::microseconds passed_{0};  // at begin_, by this clock
    int speed_ = 1;
};

class Bench final : public kit::HidDevice {
  public:
    explicit Bench(kit::Link link, std::string_view deck = all_cards());
    ~Bench() override;
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    kit::Link link() const { return link_; }

    // The number and the name by which hosts open it.
    int port() const { return link_ == kit::Link::hid ? 0 : serial_port; }
    std::string port_name() const;

    template <class Action>
    auto with_reader(Action action) {
        return serial_ ? serial_->with_reader(action) : usb_->with_reader(action);
    }

    // Puts a card into the reader, or where its kind belongs.
    void insert(const std::string& name);

    // A fault as a line says it: "corrupt after 2 at 5".
    void add_fault(const std::string& words);

    // From now on time runs out quickly for a reader that says nothing.
    void hurry() { set_speed(100); }

    // The reader works, and whatever was on its way is gone.
    void heal();

    int requests() {
        return with_reader([](auto& reader) { return reader.counts().requests; });
    }

    int write(std::span<const std::uint8_t> report) override;
    int read(std::span<std::uint8_t> out, int timeout_ms) override;

  private:
    static constexpr int serial_port = 3;

    void set_speed(int speed);
    void name_port();

    kit::Link link_;
    std::optional<kit::FakeClock> clock_;
    std::optional<HurriedClock> hurried_;
    std::unique_ptr<virtual_reader::Reader> reader_;  // of the USB port
    std::optional<virtual_reader::UsbPort> usb_;
    std::optional<virtual_reader::SerialReader> serial_;
};

// Descriptors that this process has open.
int open_descriptors();

}  // namespace robustness
