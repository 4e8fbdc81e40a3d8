#include "links/usb_port.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr std::size_t input_size = 64;
constexpr std::size_t input_payload = 62;
constexpr std::size_t output_header = 3;
constexpr std::uint8_t escape_mode_id = 1;

std::vector<Bytes> reports_of(std::uint8_t mode_id, const Piece& piece) {
    if (piece.is_report) return {piece.bytes};
    std::vector<Bytes> reports;
    for (View payload = piece.bytes; !payload.empty();) {
        const View part = payload.first(std::min(payload.size(), input_payload));
        Bytes report = {mode_id, static_cast<std::uint8_t>(part.size())};
        append(report, part);
        report.resize(input_size);
        reports.push_back(std::move(report));
        payload = payload.subspan(part.size());
    }
    return reports;
}

}  // namespace

void UsbPort::put(std::uint8_t mode_id, Bytes answer) {
    for (const Piece& piece : reader_.faults().spoil(std::move(answer))) {
        Time due = std::max(now_(), received_);
        if (!input_.empty()) due = std::max(due, input_.back().due);
        due += piece.pause;
        for (Bytes& report : reports_of(mode_id, piece)) {
            due += report_time_;
            input_.push_back({due, std::move(report)});
        }
    }
}

int UsbPort::write_report(View report) {
    const std::lock_guard lock(mutex_);
    if (!reader_.faults().is_plugged()) return -1;
    received_ = std::max(now_(), received_) + report_time_;
    if (report.size() >= output_header) {
        const std::uint8_t mode_id = report[1];
        const std::size_t count = std::min<std::size_t>(report[2], report.size() - output_header);
        put(mode_id, reader_.receive_usb(mode_id, report.subspan(output_header, count)));
        changed_.notify_all();
        if (reader_.faults().has_stalled()) return -1;
    }
    return static_cast<int>(report.size());
}

void UsbPort::collect_late() {
    put(escape_mode_id, reader_.take_late_usb());
    changed_.notify_all();
}

std::optional<Bytes> UsbPort::take() {
    if (!is_due()) return std::nullopt;
    Bytes report = std::move(input_.front().report);
    input_.pop_front();
    return report;
}

std::optional<Bytes> UsbPort::read_report(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const auto end = now_() + limit;
    while (!is_due() && now_() < end && (reader_.faults().is_plugged() || !input_.empty())) {
        const auto next = input_.empty() ? end : std::min(end, input_.front().due);
        changed_.wait_for(lock, next - now_());
    }
    return take();
}

std::optional<Bytes> UsbPort::take_report() {
    const std::lock_guard lock(mutex_);
    return take();
}

std::optional<std::chrono::milliseconds> UsbPort::next_report_in() const {
    const std::lock_guard lock(mutex_);
    if (input_.empty()) return std::nullopt;
    return std::chrono::ceil<std::chrono::milliseconds>(
        std::max(input_.front().due - now_(), Time(0)));
}

void UsbPort::unplug() {
    const std::lock_guard lock(mutex_);
    reader_.faults().unplug();
    input_.clear();
    changed_.notify_all();
}

void UsbPort::plug() {
    const std::lock_guard lock(mutex_);
    input_.clear();
    reader_.plug_in();
}

void UsbPort::forget_input() {
    const std::lock_guard lock(mutex_);
    input_.clear();
}

bool UsbPort::is_plugged() const {
    const std::lock_guard lock(mutex_);
    return reader_.faults().is_plugged();
}

}  // namespace virtual_reader
