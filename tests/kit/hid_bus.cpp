#include "kit/hid_bus.h"

#include <algorithm>
#include <vector>

#include <hidapi.h>

namespace kit::hid_bus {
namespace {

struct Plugged {
    HidDevice* device;
    unsigned short vendor_id;
    unsigned short product_id;
};

struct Bus {
    std::vector<Plugged> plugged;
    Counts counts;
    int library_result = 0;
};

Bus& bus() {
    static Bus one;
    return one;
}

}  // namespace

void plug(HidDevice& device, unsigned short vendor_id, unsigned short product_id) {
    bus().plugged.push_back({&device, vendor_id, product_id});
}

void unplug(HidDevice& device) {
    std::erase_if(bus().plugged, [&](const Plugged& row) { return row.device == &device; });
}

const Counts& counts() {
    return bus().counts;
}

void set_library_result(int result) {
    bus().library_result = result;
}

}  // namespace kit::hid_bus

using kit::hid_bus::bus;

namespace {

kit::HidDevice* find(hid_device* handle) {
    auto* device = reinterpret_cast<kit::HidDevice*>(handle);
    const auto& plugged = bus().plugged;
    const bool present = std::any_of(plugged.begin(), plugged.end(),
                                     [&](const auto& row) { return row.device == device; });
    return present ? device : nullptr;
}

}  // namespace

int hid_init() {
    ++bus().counts.inits;
    return bus().library_result;
}

int hid_exit() {
    ++bus().counts.exits;
    return bus().library_result;
}

hid_device* hid_open(unsigned short vendor_id, unsigned short product_id, const wchar_t*) {
    for (const auto& row : bus().plugged) {
        if (row.vendor_id != vendor_id || row.product_id != product_id) continue;
        ++bus().counts.opens;
        return reinterpret_cast<hid_device*>(row.device);
    }
    return nullptr;
}

int hid_write(hid_device* handle, const unsigned char* data, size_t length) {
    kit::HidDevice* device = find(handle);
    return device == nullptr ? -1 : device->write({data, length});
}

int hid_read_timeout(hid_device* handle, unsigned char* data, size_t length, int milliseconds) {
    kit::HidDevice* device = find(handle);
    return device == nullptr ? -1 : device->read({data, length}, milliseconds);
}

void hid_close(hid_device*) {
    ++bus().counts.closes;
}
