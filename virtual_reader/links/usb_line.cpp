#include "links/usb_line.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace virtual_reader {

UsbLine::UsbLine(Reader& reader, Plug plug, bool has_output_endpoint)
    : plug_(std::move(plug)),
      port_(reader),
      usb_device_(port_, has_output_endpoint),
      replugs_(reader.faults().replugs()) {
    if (reader.faults().is_plugged()) plug_in();
}

void UsbLine::plug_in() {
    link_.emplace(plug_(), usb_device_);
    last_heard_ = std::chrono::steady_clock::now();
}

// What waited to be read is lost with the cable.
void UsbLine::take_out() {
    link_.reset();
    usb_device_.end_all(-ESHUTDOWN);
    device_.clear();
}

// A reader that was plugged in again in the meantime was out for a moment.
void UsbLine::follow_plug() {
    const auto [is_plugged, replugs] = port_.with_reader([](const Reader& reader) {
        return std::pair(reader.faults().is_plugged(), reader.faults().replugs());
    });
    if (link_ && (!is_plugged || replugs != replugs_)) take_out();
    if (!link_ && is_plugged) {
        port_.forget_input();
        plug_in();
    }
    replugs_ = replugs;
}

// The host asks for this and that before its own driver has the reader. A program that opens it
// meanwhile gets into its way, so the reader is there when it is left alone.
void UsbLine::look_for_host(int heard_before) {
    constexpr std::chrono::milliseconds calm{250};
    const auto now = std::chrono::steady_clock::now();
    if (link_->heard() != heard_before) last_heard_ = now;
    if (usb_device_.is_configured() && now - last_heard_ >= calm) device_ = "USB";
}

bool UsbLine::serve() {
    follow_plug();
    if (!link_) return false;
    const int heard_before = link_->heard();
    if (!link_->serve()) {
        take_out();
        throw std::runtime_error("the host's controller has taken the reader out");
    }
    if (device_.empty()) look_for_host(heard_before);
    return link_->heard() != heard_before;
}

}  // namespace virtual_reader
