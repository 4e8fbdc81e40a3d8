#include "links/usb_device.h"

#include <algorithm>
#include <cerrno>

namespace virtual_reader {
namespace {

constexpr std::uint8_t input_pipe = 1;  // endpoint numbers
constexpr std::uint8_t output_pipe = 2;

// bmRequestType and bRequest in one number.
constexpr std::uint16_t request_of(const UsbSetup& setup) {
    return static_cast<std::uint16_t>(setup.type << 8 | setup.request);
}

enum Request : std::uint16_t {
    get_device_status = 0x8000,
    get_interface_status = 0x8100,
    get_endpoint_status = 0x8200,
    clear_endpoint_feature = 0x0201,
    get_descriptor = 0x8006,
    get_interface_descriptor = 0x8106,
    get_configuration = 0x8008,
    set_configuration = 0x0009,
    get_interface = 0x810A,
    set_interface = 0x010B,
    set_report = 0x2109,
    set_idle = 0x210A,
};

enum Descriptor : std::uint8_t {
    device_type = 0x01,
    configuration_type = 0x02,
    string_type = 0x03,
    hid_type = 0x21,
    report_type = 0x22,
};

constexpr std::uint16_t output_report = 0x0200;  // wValue of SET_REPORT: type output, no report id

// 64 bytes of a vendor's own usage each way, without report ids.
constexpr std::uint8_t report_descriptor[] = {
    0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01,  // vendor page, collection
    0x09, 0x02, 0x15, 0x00, 0x26, 0xFF, 0x00,  // bytes of 0 to 255
    0x75, 0x08, 0x95, 0x40, 0x81, 0x02,        // 64 of them: input
    0x09, 0x03, 0x15, 0x00, 0x26, 0xFF, 0x00,  // and the same
    0x75, 0x08, 0x95, 0x40, 0x91, 0x02,        // as output
    0xC0,                                      // end of the collection
};

constexpr std::uint8_t hid_descriptor[] = {0x09, 0x21, 0x11, 0x01, 0x00, 0x01, 0x22, 0x22, 0x00};
constexpr std::uint8_t input_endpoint[] = {0x07, 0x05, 0x81, 0x03, 0x40, 0x00, 0x01};
constexpr std::uint8_t output_endpoint[] = {0x07, 0x05, 0x02, 0x03, 0x40, 0x00, 0x01};

constexpr const char* names[] = {"deskreader", "Virtual card reader"};

constexpr std::uint8_t low(std::uint16_t number) {
    return static_cast<std::uint8_t>(number & 0xFF);
}
constexpr std::uint8_t high(std::uint16_t number) {
    return static_cast<std::uint8_t>(number >> 8);
}

// A string descriptor: UTF-16, of which the lower half is enough here.
Bytes string_descriptor(std::string_view text) {
    constexpr std::size_t longest = 126;
    text = text.substr(0, longest);
    Bytes bytes = {static_cast<std::uint8_t>(2 + 2 * text.size()), string_type};
    for (const char letter : text)
        append(bytes, Bytes{static_cast<std::uint8_t>(letter), 0});
    return bytes;
}

UsbResult failed(std::uint64_t id, int error) {
    return {id, -error, 0, {}};
}

}  // namespace

UsbSetup UsbSetup::parse(View bytes) {
    const auto word = [&](std::size_t at) {
        return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
    };
    return {bytes[0], bytes[1], word(2), word(4), word(6)};
}

Bytes UsbDevice::device_descriptor() const {
    constexpr std::uint8_t packet_size = 64;
    return {0x12,        device_type,  0x00,         0x02,         // USB 2.0
            0x00,        0x00,         0x00,         packet_size,  // the class is the interface's
            low(vendor), high(vendor), low(product), high(product), 0x00, 0x01,  // release 1.00
            0x01,        0x02,         0x03,         0x01};  // three names, one configuration
}

Bytes UsbDevice::configuration_descriptor() const {
    const std::uint8_t endpoints = has_output_endpoint_ ? 2 : 1;
    Bytes bytes = {0x09, configuration_type, 0x00, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32};
    append(bytes, Bytes{0x09, 0x04, 0x00, 0x00, endpoints, 0x03, 0x00, 0x00, 0x00});
    append(bytes, hid_descriptor);
    append(bytes, input_endpoint);
    if (has_output_endpoint_) append(bytes, output_endpoint);
    bytes[2] = static_cast<std::uint8_t>(bytes.size());
    return bytes;
}

std::optional<Bytes> UsbDevice::string(std::uint8_t index) const {
    constexpr std::uint8_t languages = 0;
    constexpr std::uint8_t serial_number = 3;
    if (index == languages) return Bytes{0x04, string_type, 0x09, 0x04};  // English
    if (index < serial_number) return string_descriptor(names[index - 1]);
    if (index > serial_number) return std::nullopt;
    return string_descriptor(
        port_.with_reader([](const Reader& reader) { return reader.serial_number(); }));
}

std::optional<Bytes> UsbDevice::descriptor(std::uint16_t value) const {
    switch (high(value)) {
        case device_type:
            return device_descriptor();
        case configuration_type:
            return low(value) == 0 ? std::optional(configuration_descriptor()) : std::nullopt;
        case string_type:
            return string(low(value));
        case hid_type:
            return to_bytes(View(hid_descriptor));
        case report_type:
            return to_bytes(View(report_descriptor));
        default:
            return std::nullopt;
    }
}

// Of a request for data; nothing for one that it does not know.
std::optional<Bytes> UsbDevice::answer_to(const UsbSetup& setup) const {
    switch (request_of(setup)) {
        case get_descriptor:
        case get_interface_descriptor:
            return descriptor(setup.value);
        case get_device_status:
        case get_interface_status:
        case get_endpoint_status:
            return Bytes{0x00, 0x00};
        case get_configuration:
            return Bytes{configuration_};
        case get_interface:
            return Bytes{0x00};
        default:
            return std::nullopt;
    }
}

// A request without an answer; false for one that it does not know.
bool UsbDevice::carry_out(const UsbTransfer& transfer) {
    const UsbSetup& setup = transfer.setup;
    switch (request_of(setup)) {
        case set_configuration:
            if (setup.value > 1) return false;
            configuration_ = low(setup.value);
            return true;
        case set_interface:
            return setup.value == 0 && setup.index == 0;
        case set_idle:
        case clear_endpoint_feature:
            return true;
        case set_report:
            return setup.value == output_report && take_output(transfer.data) == 0;
        default:
            return false;
    }
}

UsbResult UsbDevice::control(const UsbTransfer& transfer) {
    if (!transfer.is_in) {
        if (!carry_out(transfer)) return failed(transfer.id, EPIPE);
        return {transfer.id, 0, transfer.data.size(), {}};
    }
    std::optional<Bytes> answer = answer_to(transfer.setup);
    if (!answer) return failed(transfer.id, EPIPE);
    answer->resize(std::min({answer->size(), transfer.room, std::size_t{transfer.setup.length}}));
    return {transfer.id, 0, answer->size(), std::move(*answer)};
}

// The port wants it as hidapi's hosts write it, behind the id of the report.
int UsbDevice::take_output(View report) {
    Bytes numbered = {0x00};
    append(numbered, report);
    return port_.write_report(numbered) < 0 ? -EPIPE : 0;
}

std::optional<UsbResult> UsbDevice::submit(UsbTransfer transfer) {
    if (!port_.is_plugged()) return failed(transfer.id, ESHUTDOWN);
    if (transfer.endpoint == 0) return control(transfer);
    if (transfer.is_in && transfer.endpoint == input_pipe) {
        reads_.push_back({transfer.id, transfer.room});
        return std::nullopt;
    }
    if (transfer.is_in || transfer.endpoint != output_pipe || !has_output_endpoint_)
        return failed(transfer.id, EPIPE);
    if (take_output(transfer.data) != 0) return failed(transfer.id, EPIPE);
    return UsbResult{transfer.id, 0, transfer.data.size(), {}};
}

std::vector<UsbResult> UsbDevice::take_finished() {
    std::vector<UsbResult> finished;
    while (!reads_.empty()) {
        std::optional<Bytes> report = port_.take_report();
        if (!report) break;
        const WaitingRead read = reads_.front();
        reads_.pop_front();
        const bool fits = report->size() <= read.room;
        finished.push_back(fits ? UsbResult{read.id, 0, report->size(), std::move(*report)}
                                : failed(read.id, EOVERFLOW));
    }
    return finished;
}

bool UsbDevice::cancel(std::uint64_t id) {
    return std::erase_if(reads_, [id](const WaitingRead& read) { return read.id == id; }) > 0;
}

std::vector<UsbResult> UsbDevice::end_all(int status) {
    std::vector<UsbResult> ended;
    for (const WaitingRead& read : reads_)
        ended.push_back({read.id, status, 0, {}});
    reads_.clear();
    configuration_ = 0;
    return ended;
}

}  // namespace virtual_reader
