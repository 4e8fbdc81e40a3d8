#include "links/serial_line.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "links/pseudo_terminal.h"

namespace virtual_reader {
namespace {

int rate_of(speed_t speed) {
    switch (speed) {
        case B1200:
            return 1200;
        case B2400:
            return 2400;
        case B4800:
            return 4800;
        case B9600:
            return 9600;
        case B19200:
            return 19200;
        case B38400:
            return 38400;
        case B57600:
            return 57600;
        case B115200:
            return 115200;
        default:
            return 0;
    }
}

}  // namespace

SerialLine::SerialLine(Timing timing, Now now) : timing_(timing), now_(std::move(now)) {
    open_line();
}

SerialLine::~SerialLine() {
    close_line();
    release_name();
}

void SerialLine::open_line() {
    PseudoTerminal terminal = open_pseudo_terminal();
    master_ = terminal.master;
    device_ = std::move(terminal.device);
}

void SerialLine::close_line() {
    if (master_ >= 0) close(master_);
    master_ = -1;
    output_.clear();
}

// As long as the other end is open, the device is gone and its name is nobody else's: no other
// process's line can be taken for the reader that was unplugged.
void SerialLine::unplug_line() {
    name_holder_ = open(device_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    close_line();
}

void SerialLine::plug_line() {
    open_line();
    release_name();
}

void SerialLine::release_name() {
    if (name_holder_ >= 0) close(name_holder_);
    name_holder_ = -1;
}

// Whether there is a line.
bool SerialLine::follow_plug(const Reader& reader) {
    const bool is_plugged = reader.faults().is_plugged();
    if (replugs_ != reader.faults().replugs()) output_.clear();
    replugs_ = reader.faults().replugs();
    if (is_plugged && master_ < 0) plug_line();
    if (!is_plugged && master_ >= 0) unplug_line();
    return is_plugged;
}

bool SerialLine::serve(Reader& reader) {
    if (!follow_plug(reader)) return false;
    pollfd line{master_, POLLIN, 0};
    if (poll(&line, 1, 0) < 0) return true;
    const bool host_is_there = (line.revents & POLLHUP) == 0;
    const Bytes late = reader.take_late_serial();
    // What nobody is there to hear is lost.
    if (host_is_there) {
        put(reader, late, reader.baud());
    } else {
        output_.clear();
    }
    write_due();
    const int rate_before = last_rate_;
    host_rate();
    if ((line.revents & POLLIN) == 0) return host_is_there;
    const bool served = take_request(reader, rate_before, host_is_there);
    follow_plug(reader);
    return served;
}

bool SerialLine::take_request(Reader& reader, int rate_before, bool host_is_there) {
    std::array<std::uint8_t, 4096> bytes;
    const ssize_t count = read(master_, bytes.data(), bytes.size());
    if (count <= 0) return false;
    for (const std::uint8_t byte : View(bytes).first(static_cast<std::size_t>(count)))
        receive(reader, byte, rate_before);
    write_due();
    return host_is_there;
}

Time SerialLine::on_the_wire(std::size_t bytes, int rate) const {
    return timing_ == Timing::true_to_wire ? serial_time(bytes, rate) : Time(0);
}

std::optional<Time> SerialLine::next_output_in() const {
    return output_.next_due_in(now_());
}

// What is on the wire comes all at once, when its last byte is through.
void SerialLine::put(Reader& reader, Bytes answer, int rate) {
    output_.put(reader.faults().spoil(std::move(answer)), std::max(now_(), received_),
                [&](std::size_t bytes) { return on_the_wire(bytes, rate); });
}

void SerialLine::write_due() {
    while (const auto bytes = output_.take_due(now_()))
        write_all(*bytes);
}

// A host that has just changed its rate may have sent a byte before or after that. Before it there
// can only have been escape commands: all others are answered, and a host hears the answer first.
// The answer is for those who listen at the rate at which it goes out.
void SerialLine::receive(Reader& reader, std::uint8_t byte, int rate_before) {
    constexpr std::uint8_t esc = 0x1B;
    const int rate = reader.baud();
    received_ = std::max(now_(), received_) + on_the_wire(1, rate);
    const bool is_of_before =
        rate == rate_before && (byte == esc || reader.stream().is_within_escape());
    if (rate != last_rate_ && !is_of_before) {
        ++misread_;
        return;
    }
    Bytes answer = reader.receive_serial(View(&byte, 1));
    if (!answer.empty() && is_open() && host_rate() == rate) put(reader, std::move(answer), rate);
}

bool SerialLine::is_open() const {
    pollfd line{master_, 0, 0};
    return poll(&line, 1, 0) >= 0 && (line.revents & POLLHUP) == 0;
}

// The rate that the host has set. A host that closes puts the terminal's own settings back, perhaps
// before its last bytes are read here: those came at the rate it had.
int SerialLine::host_rate() {
    termios settings{};
    if (tcgetattr(master_, &settings) != 0) return last_rate_;
    const bool opened_as_port = (settings.c_lflag & ICANON) == 0;
    if (opened_as_port) last_rate_ = rate_of(cfgetospeed(&settings));
    return last_rate_;
}

void SerialLine::write_all(View bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = write(master_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

}  // namespace virtual_reader
