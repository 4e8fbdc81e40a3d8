#include "kit/virtual_desk.h"

#include <algorithm>

namespace kit {

VirtualDesk::VirtualDesk(Link link, std::string_view deck) {
    auto reader = virtual_reader::reader_from_deck(deck, "deck of the test");
    if (link == Link::serial) {
        serial_.emplace(std::move(reader));
        GSetComName(serial_port, serial_->device().c_str());
    } else {
        reader_ = std::move(reader);
        usb_.emplace(*reader_);
        hid_bus::plug(*this);
    }
}

VirtualDesk::~VirtualDesk() {
    if (usb_) hid_bus::unplug(*this);
}

std::string VirtualDesk::port_name() const {
    return serial_ ? serial_->device().substr(std::string_view("/dev/").size()) : "USB";
}

int VirtualDesk::write(std::span<const std::uint8_t> report) {
    return usb_->write_report(report);
}

int VirtualDesk::read(std::span<std::uint8_t> out, int timeout_ms) {
    const auto report = usb_->read_report(std::chrono::milliseconds(timeout_ms));
    if (!report) return usb_->is_plugged() ? 0 : -1;
    const std::size_t count = std::min(out.size(), report->size());
    std::copy_n(report->begin(), count, out.begin());
    return static_cast<int>(count);
}

}  // namespace kit
