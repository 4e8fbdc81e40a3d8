#include "desk.h"

#include <deskreader.h>

#include <fcntl.h>
#include <unistd.h>

namespace fuzzing {
namespace {

constexpr std::size_t report_size = 64;
constexpr std::size_t report_header = 2;
constexpr std::size_t report_payload = report_size - report_header;
constexpr std::size_t output_header = 3;

// Who waits for a card without end hears sooner or later that it shall not.
constexpr int sleeps_to_cancel = 64;

}  // namespace

Desk::Desk(const DeskSettings& settings, FarEnd& far_end) : settings_(settings), far_end_(far_end) {
    clock_.on_sleep([](int sleeps) {
        if (sleeps % sleeps_to_cancel == 0) RD_CancelWait();
    });
    kit::hid_bus::plug(*this);
    serial_port::connect(&line_);
    GSetComName(serial_number, serial_port::device);
}

Desk::~Desk() {
    serial_port::connect(nullptr);
    kit::hid_bus::unplug(*this);
}

void Desk::let_time_pass() {
    clock_.advance(pause_);
    pause_ = std::min<std::chrono::milliseconds>(2 * pause_, longest_pause);
}

int Desk::write(std::span<const std::uint8_t> report) {
    pause_ = first_pause;
    expect(report.size() == report_size + 1);
    mode_id_ = report[1];
    const std::size_t count = std::min<std::size_t>(report[2], report.size() - output_header);
    far_end_.hear(mode_id_, report.subspan(output_header, count));
    return static_cast<int>(report.size());
}

void Desk::queue_reports(const Bytes& said) {
    const std::size_t most = settings_.reports_as_they_stand ? report_size : report_payload;
    for (View rest = said; !rest.empty();) {
        const View part = rest.first(std::min(rest.size(), most));
        rest = rest.subspan(part.size());
        Bytes report(part.begin(), part.end());
        if (!settings_.reports_as_they_stand) {
            report.insert(report.begin(), {mode_id_, static_cast<std::uint8_t>(part.size())});
            report.resize(report_size);
        }
        reports_.push_back(std::move(report));
    }
}

int Desk::read(std::span<std::uint8_t> out, int) {
    if (reports_.empty()) queue_reports(far_end_.speak());
    if (reports_.empty()) {
        let_time_pass();
        return 0;
    }
    const Bytes report = std::move(reports_.front());
    reports_.pop_front();
    const std::size_t count = std::min(out.size(), report.size());
    std::copy_n(report.begin(), count, out.begin());
    return static_cast<int>(count);
}

void Desk::Line::write(std::span<const std::uint8_t> bytes) {
    desk.pause_ = first_pause;
    desk.far_end_.hear(-1, bytes);
}

bool Desk::Line::poll() {
    if (said.empty()) {
        const Bytes bytes = desk.far_end_.speak();
        said.assign(bytes.begin(), bytes.end());
    }
    if (said.empty()) desk.let_time_pass();
    return !said.empty();
}

std::size_t Desk::Line::read(std::span<std::uint8_t> out) {
    const std::size_t most = desk.settings_.most_at_once;
    const std::size_t count = std::min({out.size(), said.size(), most == 0 ? out.size() : most});
    const auto end = said.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(said.begin(), end, out.begin());
    said.erase(said.begin(), end);
    return count;
}

int next_descriptor() {
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    expect(file >= 0);
    close(file);
    return file;
}

}  // namespace fuzzing
