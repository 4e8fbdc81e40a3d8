#include "links/usb_port.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr std::size_t input_size = 64;
constexpr std::size_t input_payload = 62;
constexpr std::size_t output_header = 3;
constexpr std::uint8_t escape_mode_id = 1;

void put_into_reports(std::uint8_t mode_id, View payload, std::deque<Bytes>& reports) {
    while (!payload.empty()) {
        const View part = payload.first(std::min(payload.size(), input_payload));
        Bytes report = {mode_id, static_cast<std::uint8_t>(part.size())};
        append(report, part);
        report.resize(input_size);
        reports.push_back(std::move(report));
        payload = payload.subspan(part.size());
    }
}

}  // namespace

int UsbPort::write_report(View report) {
    const std::lock_guard lock(mutex_);
    if (!plugged_) return -1;
    if (report.size() >= output_header) {
        const std::uint8_t mode_id = report[1];
        const std::size_t count = std::min<std::size_t>(report[2], report.size() - output_header);
        put_into_reports(
            mode_id, reader_.receive_usb(mode_id, report.subspan(output_header, count)), input_);
        changed_.notify_all();
    }
    return static_cast<int>(report.size());
}

void UsbPort::collect_late() {
    const Bytes late = reader_.take_late_usb();
    if (plugged_) put_into_reports(escape_mode_id, late, input_);
    changed_.notify_all();
}

std::optional<Bytes> UsbPort::read_report(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return !input_.empty() || !plugged_; });
    if (input_.empty()) return std::nullopt;
    Bytes report = std::move(input_.front());
    input_.pop_front();
    return report;
}

void UsbPort::unplug() {
    const std::lock_guard lock(mutex_);
    plugged_ = false;
    input_.clear();
    changed_.notify_all();
}

void UsbPort::plug() {
    const std::lock_guard lock(mutex_);
    plugged_ = true;
}

bool UsbPort::is_plugged() const {
    const std::lock_guard lock(mutex_);
    return plugged_;
}

}  // namespace virtual_reader
