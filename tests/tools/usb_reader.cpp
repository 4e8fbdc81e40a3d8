// A reader on USB for hosts in which this library is loaded first: in hidapi's place, it answers
// reports as the recording says whose path stands in DESK_USB_RECORDING, and is not there without.
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>

#include <hidapi.h>
#include <recording.h>

using namespace virtual_reader;

namespace {

struct UsbReader {
    std::vector<RecordedLine> lines;
    std::size_t next = 0;
    std::deque<Bytes> input;
};

std::optional<UsbReader> reader;

}  // namespace

int hid_init() {
    return 0;
}

int hid_exit() {
    return 0;
}

const char* hid_version_str() {
    return "0.0.0";
}

hid_device_info* hid_enumerate(unsigned short, unsigned short) {
    if (std::getenv("DESK_USB_RECORDING") == nullptr) return nullptr;
    static char path[] = "1-1:1.0";
    static hid_device_info info{};
    info.path = path;
    return &info;
}

void hid_free_enumeration(hid_device_info*) {}

hid_device* hid_open(unsigned short vendor, unsigned short product, const wchar_t*) {
    const char* path = std::getenv("DESK_USB_RECORDING");
    if (path == nullptr || vendor != 0x2E8B || product != 0x0142) return nullptr;
    if (!reader) reader = UsbReader{read_recording_file(path), 0, {}};
    return reinterpret_cast<hid_device*>(&*reader);
}

// Reports that are not recorded are lost.
int hid_write(hid_device*, const unsigned char* data, size_t length) {
    auto& [lines, next, input] = *reader;
    while (next < lines.size() && lines[next].kind != RecordedLine::Kind::sent)
        ++next;
    if (next == lines.size() || lines[next].pattern.bytes != Bytes(data, data + length))
        return static_cast<int>(length);
    while (++next < lines.size() && lines[next].kind == RecordedLine::Kind::received)
        input.push_back(lines[next].pattern.bytes);
    return static_cast<int>(length);
}

int hid_read_timeout(hid_device*, unsigned char* data, size_t length, int) {
    if (reader->input.empty()) return 0;
    const Bytes report = reader->input.front();
    reader->input.pop_front();
    std::memcpy(data, report.data(), std::min(length, report.size()));
    return static_cast<int>(std::min(length, report.size()));
}

void hid_close(hid_device*) {}
