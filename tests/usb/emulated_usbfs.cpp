#include "emulated_usbfs.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace usb_tests {

using virtual_reader::Bytes;
using virtual_reader::UsbResult;
using virtual_reader::UsbSetup;
using virtual_reader::UsbTransfer;

namespace {

constexpr char device_path[] = "/devices/usb1/1-1";
constexpr char system_path[] = "/sys/devices/usb1/1-1";
constexpr int own_result = 0;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

// A structure in the host's memory, at the address that `place` holds at `offset`. Fails when there
// is no such address, or no such host any more.
GLib<UMockdevIoctlData> look_at(UMockdevIoctlData* place, std::size_t offset, std::size_t size) {
    GLib<UMockdevIoctlData> data(umockdev_ioctl_data_resolve(place, offset, size, nullptr));
    if (!data) fail("nothing at the host's address");
    return data;
}

template <class Value>
Value value_of(const UMockdevIoctlData& data) {
    Value value;  // no braces: usbdevfs_urb ends in an array of no size
    std::memcpy(&value, data.data, sizeof value);
    return value;
}

void put(UMockdevIoctlData* data, std::size_t offset, const void* bytes, std::size_t count) {
    Bytes copy(count);
    std::memcpy(copy.data(), bytes, count);
    umockdev_ioctl_data_update(data, offset, copy.data(), static_cast<gint>(count));
}

template <class Value>
void put(UMockdevIoctlData* data, std::size_t offset, const Value& value) {
    put(data, offset, &value, sizeof value);
}

std::uint64_t address_in(const UMockdevIoctlData& argument) {
    return value_of<std::uint64_t>(argument);
}

std::string description(const virtual_reader::UsbDevice& device, const std::string& node,
                        int number) {
    Bytes descriptors = device.device_descriptor();
    virtual_reader::append(descriptors, device.configuration_descriptor());
    return std::string("P: ") + device_path + "\nN: " + node +
           "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\nE: DEVNUM=00" +
           std::to_string(number) + "\nE: DEVNAME=/dev/" + node +
           "\nA: busnum=1\\n\nA: devnum=" + std::to_string(number) +
           "\\n\nA: speed=12\\n\nA: bConfigurationValue=1\\n\nH: descriptors=" +
           virtual_reader::to_hex(descriptors) + "\n";
}

}  // namespace

EmulatedUsbfs::EmulatedUsbfs(virtual_reader::UsbPort& port, bool has_output_endpoint)
    : port_(port),
      device_(port, has_output_endpoint),
      testbed_(umockdev_testbed_new()),
      handler_(umockdev_ioctl_base_new()) {
    g_signal_connect(handler_.get(), "handle-ioctl", G_CALLBACK(answer_ioctl), this);
    serve();
    thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

EmulatedUsbfs::~EmulatedUsbfs() {
    thread_.request_stop();
    thread_.join();
    testbed_.reset();  // and with it the thread that calls answer_ioctl
    handler_.reset();
    for (const auto& [caller, client] : clients_)
        g_object_weak_unref(caller, forget, this);
    if (door_ >= 0) close(door_);
}

void EmulatedUsbfs::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        {
            const std::lock_guard lock(mutex_);
            serve();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void EmulatedUsbfs::serve() {
    const auto [is_plugged, replugs] = port_.with_reader([](const virtual_reader::Reader& reader) {
        return std::pair(reader.faults().is_plugged(), reader.faults().replugs());
    });
    for (const UsbResult& result : device_.take_finished())
        finish(result);
    if (is_there_ && (!is_plugged || replugs != replugs_)) unplug();
    if (!is_there_ && is_plugged) plug();
    replugs_ = replugs;
}

std::string EmulatedUsbfs::node() const {
    return "bus/usb/001/00" + std::to_string(1 + plug_);
}

// The handler has to be there before the device is. A file that programs poll for something to
// write tells them that there is something to reap; a plain file would always say so.
void EmulatedUsbfs::plug() {
    ++plug_;
    port_.forget_input();
    const std::string path = "/dev/" + node();
    if (umockdev_testbed_attach_ioctl(testbed_.get(), path.c_str(), handler_.get(), nullptr) == 0)
        fail("no ioctls for " + path);
    const std::string text = description(device_, node(), 1 + plug_);
    if (umockdev_testbed_add_from_string(testbed_.get(), text.c_str(), nullptr) == 0)
        fail("no device " + path);
    std::unique_ptr<char, decltype(&g_free)> root(umockdev_testbed_get_root_dir(testbed_.get()),
                                                  g_free);
    const std::string file = root.get() + path;
    fs::remove(file);
    if (mkfifo(file.c_str(), 0666) != 0 || chmod(file.c_str(), 0666) != 0) fail("no " + file);
    if (door_ >= 0) close(door_);
    door_ = open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    constexpr int one_page = 4096;  // which one byte fills
    if (door_ < 0 || fcntl(door_, F_SETPIPE_SZ, one_page) < 0) fail("no pipe at " + file);
    is_there_ = true;
    has_driver_ = true;
    show_whether_done();
    umockdev_testbed_uevent(testbed_.get(), system_path, "add");
}

void EmulatedUsbfs::unplug() {
    for (const UsbResult& result : device_.end_all(-ESHUTDOWN))
        finish(result);
    is_there_ = false;
    show_whether_done();
    umockdev_testbed_uevent(testbed_.get(), system_path, "remove");
    umockdev_testbed_remove_device(testbed_.get(), system_path);
}

// The pipe is full as long as there is nothing to reap.
void EmulatedUsbfs::show_whether_done() {
    bool is_done = !is_there_;
    for (const auto& [caller, client] : clients_)
        is_done = is_done || (client.plug == plug_ && !client.done.empty());
    char byte = 0;
    if (is_done) {
        while (read(door_, &byte, 1) > 0) {
        }
    } else {
        [[maybe_unused]] const ssize_t written = write(door_, &byte, 1);
    }
}

void EmulatedUsbfs::finish(const UsbResult& result) {
    for (auto& [caller, client] : clients_) {
        auto found = client.waiting.extract(result.id);
        if (found.empty()) continue;
        Urb urb = std::move(found.mapped());
        urb.result = result;
        client.done.push_back(std::move(urb));
    }
    show_whether_done();
}

bool EmulatedUsbfs::is_there() {
    const std::lock_guard lock(mutex_);
    return is_there_;
}

void EmulatedUsbfs::forbid() {
    const std::lock_guard lock(mutex_);
    fchmod(door_, 0);
}

bool EmulatedUsbfs::has_driver() {
    const std::lock_guard lock(mutex_);
    return has_driver_;
}

int EmulatedUsbfs::refused_claims() {
    const std::lock_guard lock(mutex_);
    return refused_claims_;
}

gboolean EmulatedUsbfs::answer_ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self) {
    auto& usbfs = *static_cast<EmulatedUsbfs*>(self);
    const std::lock_guard lock(usbfs.mutex_);
    Reply reply;
    try {
        reply = usbfs.ioctl(client);
    } catch (const std::runtime_error&) {
        reply = {-1, EFAULT};
    }
    umockdev_ioctl_client_complete(client, reply.result, reply.error);
    return TRUE;
}

void EmulatedUsbfs::forget(void* self, GObject* caller) {
    auto& usbfs = *static_cast<EmulatedUsbfs*>(self);
    const std::lock_guard lock(usbfs.mutex_);
    const auto found = usbfs.clients_.find(caller);
    if (found == usbfs.clients_.end()) return;
    for (const auto& [id, urb] : found->second.waiting)
        usbfs.device_.cancel(id);
    usbfs.clients_.erase(found);
    usbfs.show_whether_done();
}

EmulatedUsbfs::Client& EmulatedUsbfs::client_of(UMockdevIoctlClient* caller) {
    const auto [place, is_new] = clients_.try_emplace(&caller->parent_instance);
    if (is_new) {
        // Nobody tells that a descriptor was closed, but then its object goes.
        g_object_weak_ref(&caller->parent_instance, forget, this);
        const std::string path = umockdev_ioctl_client_get_devnode(caller);
        place->second.plug = path == "/dev/" + node() ? plug_ : 0;
    }
    return place->second;
}

EmulatedUsbfs::Reply EmulatedUsbfs::ioctl(UMockdevIoctlClient* caller) {
    Client& client = client_of(caller);
    UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(caller);
    const auto request = umockdev_ioctl_client_get_request(caller);
    // What was done before the device went can still be had.
    const bool is_gone = !is_there_ || client.plug != plug_;
    const bool can_reap = request == USBDEVFS_REAPURBNDELAY && !client.done.empty();
    if (is_gone && !can_reap) return {-1, ENODEV};
    switch (request) {
        case USBDEVFS_GET_CAPABILITIES:
            return capabilities(argument);
        case USBDEVFS_GETDRIVER:
            return driver(argument, client);
        case USBDEVFS_IOCTL:
            return driver_command(argument);
        case USBDEVFS_CLAIMINTERFACE:
            return claim(client);
        case USBDEVFS_RELEASEINTERFACE:
            return release(client);
        case USBDEVFS_SUBMITURB:
            return submit(argument, client);
        case USBDEVFS_REAPURBNDELAY:
            return reap(argument, client);
        case USBDEVFS_DISCARDURB:
            return discard(argument, client);
        default:
            return {-1, ENOTTY};
    }
}

EmulatedUsbfs::Reply EmulatedUsbfs::capabilities(UMockdevIoctlData* argument) {
    const auto words = look_at(argument, 0, sizeof(std::uint32_t));
    put(words.get(), 0,
        std::uint32_t{USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_REAP_AFTER_DISCONNECT});
    return {own_result, 0};
}

// Somebody's claim shows as the driver "usbfs".
EmulatedUsbfs::Reply EmulatedUsbfs::driver(UMockdevIoctlData* argument, const Client&) {
    bool is_claimed = false;
    for (const auto& [caller, client] : clients_)
        is_claimed = is_claimed || client.has_claim;
    if (!is_claimed && !has_driver_) return {-1, ENODATA};
    const auto answer = look_at(argument, 0, sizeof(usbdevfs_getdriver));
    char name[sizeof usbdevfs_getdriver::driver] = {};
    std::strcpy(name, is_claimed ? "usbfs" : "usbhid");
    put(answer.get(), offsetof(usbdevfs_getdriver, driver), name, sizeof name);
    return {own_result, 0};
}

EmulatedUsbfs::Reply EmulatedUsbfs::driver_command(UMockdevIoctlData* argument) {
    const auto block = look_at(argument, 0, sizeof(usbdevfs_ioctl));
    const auto command = static_cast<unsigned>(value_of<usbdevfs_ioctl>(*block).ioctl_code);
    if (command == USBDEVFS_DISCONNECT) {
        if (!std::exchange(has_driver_, false)) return {-1, ENODATA};
        return {own_result, 0};
    }
    if (command != USBDEVFS_CONNECT) return {-1, ENOTTY};
    constexpr long one_interface = 1;
    return {std::exchange(has_driver_, true) ? 0 : one_interface, 0};
}

EmulatedUsbfs::Reply EmulatedUsbfs::claim(Client& claimant) {
    for (const auto& [caller, client] : clients_) {
        if (!has_driver_ && (!client.has_claim || &client == &claimant)) continue;
        ++refused_claims_;
        return {-1, EBUSY};
    }
    claimant.has_claim = true;
    return {own_result, 0};
}

EmulatedUsbfs::Reply EmulatedUsbfs::release(Client& client) {
    if (!std::exchange(client.has_claim, false)) return {-1, EINVAL};
    return {own_result, 0};
}

UsbTransfer EmulatedUsbfs::transfer_of(std::uint64_t id, const Urb& urb) const {
    const auto block = value_of<usbdevfs_urb>(*urb.block);
    constexpr std::uint8_t direction_in = 0x80;
    UsbTransfer transfer;
    transfer.id = id;
    transfer.endpoint = block.endpoint & 0x0F;
    transfer.is_in = (block.endpoint & direction_in) != 0;
    const virtual_reader::View bytes =
        urb.buffer
            ? virtual_reader::View(urb.buffer->data, static_cast<std::size_t>(block.buffer_length))
            : virtual_reader::View();
    if (urb.header != 0) {
        transfer.setup = UsbSetup::parse(bytes);
        transfer.is_in = (transfer.setup.type & direction_in) != 0;
    }
    transfer.room = bytes.size() - urb.header;
    if (!transfer.is_in) transfer.data = virtual_reader::to_bytes(bytes.subspan(urb.header));
    return transfer;
}

EmulatedUsbfs::Reply EmulatedUsbfs::submit(UMockdevIoctlData* argument, Client& client) {
    Urb urb;
    urb.address = address_in(*argument);
    urb.block = look_at(argument, 0, sizeof(usbdevfs_urb));
    const auto block = value_of<usbdevfs_urb>(*urb.block);
    if (block.type == USBDEVFS_URB_TYPE_CONTROL) {
        urb.header = UsbSetup::size;
    } else if (block.type != USBDEVFS_URB_TYPE_INTERRUPT || !client.has_claim) {
        return {-1, EINVAL};
    }
    if (block.buffer_length < static_cast<int>(urb.header)) return {-1, EINVAL};
    const std::size_t size = static_cast<std::size_t>(block.buffer_length);
    if (size > 0) urb.buffer = look_at(urb.block.get(), offsetof(usbdevfs_urb, buffer), size);
    const UsbTransfer transfer = transfer_of(++last_id_, urb);
    client.waiting.emplace(last_id_, std::move(urb));
    if (const auto result = device_.submit(transfer)) finish(*result);
    return {own_result, 0};
}

// Writes what became of a transfer into the host's memory, and gives it the transfer's address.
// What hangs on the argument is written when the ioctl is answered.
EmulatedUsbfs::Reply EmulatedUsbfs::reap(UMockdevIoctlData* argument, Client& client) {
    if (client.done.empty()) return {-1, EAGAIN};
    const Urb urb = std::move(client.done.front());
    client.done.pop_front();
    show_whether_done();
    put(urb.block.get(), offsetof(usbdevfs_urb, status), urb.result.status);
    put(urb.block.get(), offsetof(usbdevfs_urb, actual_length), static_cast<int>(urb.result.count));
    if (!urb.result.data.empty())
        put(urb.buffer.get(), urb.header, urb.result.data.data(), urb.result.data.size());
    const auto place = look_at(argument, 0, sizeof(void*));
    umockdev_ioctl_data_set_ptr(place.get(), 0, urb.block.get());
    return {own_result, 0};
}

EmulatedUsbfs::Reply EmulatedUsbfs::discard(UMockdevIoctlData* argument, Client& client) {
    const std::uint64_t address = address_in(*argument);
    for (const auto& [id, urb] : client.waiting) {
        if (urb.address != address) continue;
        device_.cancel(id);
        finish({id, -ENOENT, 0, {}});
        return {own_result, 0};
    }
    return {-1, EINVAL};
}

}  // namespace usb_tests
