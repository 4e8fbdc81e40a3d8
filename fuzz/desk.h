// A reader at the far end of either link, within this thread. Nothing waits: time passes when the
// library looks for what has not come, and faster the longer nothing comes.
#pragma once

#include <deque>

#include "draw.h"
#include "kit/fake_clock.h"
#include "kit/hid_bus.h"
#include "serial_port.h"

namespace fuzzing {

enum class Link { hid, serial };

// Who speaks there.
class FarEnd {
  public:
    virtual ~FarEnd() = default;

    // What the host wrote, under the mode id of a USB report; -1 on a serial line.
    virtual void hear(int mode_id, View bytes) = 0;

    // What is said when the host looks for it and all that was said before is read; empty for
    // nothing.
    virtual Bytes speak() = 0;
};

struct DeskSettings {
    Link link = Link::hid;
    bool reports_as_they_stand = false;  // input reports have no header and no filler
    std::size_t most_at_once = 0;        // bytes that a serial line gives in one read; 0: all
};

class Desk final : public kit::HidDevice {
  public:
    Desk(const DeskSettings& settings, FarEnd& far_end);
    ~Desk() override;
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    // The number and the name by which hosts open it.
    int port() const { return settings_.link == Link::hid ? 0 : serial_number; }
    const char* port_name() const {
        return settings_.link == Link::hid ? "USB" : serial_port::name;
    }

    int write(std::span<const std::uint8_t> report) override;
    int read(std::span<std::uint8_t> out, int timeout_ms) override;

  private:
    // The serial line, whose functions have the names of the bus's.
    struct Line final : SerialPeer {
        explicit Line(Desk& owner) : desk(owner) {}
        void write(std::span<const std::uint8_t> bytes) override;
        bool poll() override;
        std::size_t read(std::span<std::uint8_t> out) override;

        Desk& desk;
        std::deque<std::uint8_t> said;
    };

    static constexpr int serial_number = 3;
    static constexpr std::chrono::milliseconds first_pause{10};
    static constexpr std::chrono::hours longest_pause{24};

    void let_time_pass();
    void queue_reports(const Bytes& said);

    DeskSettings settings_;
    FarEnd& far_end_;
    kit::FakeClock clock_;
    std::chrono::milliseconds pause_ = first_pause;
    std::uint8_t mode_id_ = 0;
    std::deque<Bytes> reports_;
    Line line_{*this};
};

// The descriptor that the next file would get: another one once one was left open.
int next_descriptor();

}  // namespace fuzzing
