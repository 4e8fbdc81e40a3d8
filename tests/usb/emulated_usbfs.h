// A usbfs in software for one virtual reader: a testbed of umockdev with the reader's device node
// in it, whose ioctls are answered here. Programs that run in it under umockdev's preload library
// see the device as they would see a real one.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <umockdev.h>

#include "links/usb_device.h"

namespace usb_tests {

template <class Object>
struct Unref {
    void operator()(Object* object) const { g_object_unref(object); }
};
template <class Object>
using GLib = std::unique_ptr<Object, Unref<Object>>;

class EmulatedUsbfs {
  public:
    EmulatedUsbfs(virtual_reader::UsbPort& port, bool has_output_endpoint);
    ~EmulatedUsbfs();
    EmulatedUsbfs(const EmulatedUsbfs&) = delete;
    EmulatedUsbfs& operator=(const EmulatedUsbfs&) = delete;

    // Whether the device is there, as the reader's plug is.
    bool is_there();

    // Takes the rights to open the device from everybody.
    void forbid();

    // Whether the kernel's driver for keyboards and the like has the interface.
    bool has_driver();

    // Claims of an interface that somebody else had.
    int refused_claims();

  private:
    // A transfer on its way, in the memory of the host that wants it.
    struct Urb {
        std::uint64_t address = 0;
        GLib<UMockdevIoctlData> block;
        GLib<UMockdevIoctlData> buffer;
        std::size_t header = 0;  // setup bytes in front of the data
        virtual_reader::UsbResult result;
    };

    // One open descriptor.
    struct Client {
        int plug = 0;  // of the device that it opened
        bool has_claim = false;
        std::map<std::uint64_t, Urb> waiting;  // by their transfer's id
        std::deque<Urb> done;
    };

    struct Reply {
        long result = 0;
        int error = 0;
    };

    static gboolean answer_ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self);
    static void forget(void* self, GObject* client);

    Reply ioctl(UMockdevIoctlClient* caller);
    Reply capabilities(UMockdevIoctlData* argument);
    Reply driver(UMockdevIoctlData* argument, const Client& client);
    Reply driver_command(UMockdevIoctlData* argument);
    Reply claim(Client& client);
    Reply release(Client& client);
    Reply submit(UMockdevIoctlData* argument, Client& client);
    Reply reap(UMockdevIoctlData* argument, Client& client);
    Reply discard(UMockdevIoctlData* argument, Client& client);

    Client& client_of(UMockdevIoctlClient* caller);
    virtual_reader::UsbTransfer transfer_of(std::uint64_t id, const Urb& urb) const;
    void finish(const virtual_reader::UsbResult& result);
    void show_whether_done();
    std::string node() const;
    void plug();
    void unplug();
    void serve();
    void run(const std::stop_token& stop);

    std::mutex mutex_;
    virtual_reader::UsbPort& port_;
    virtual_reader::UsbDevice device_;
    GLib<UMockdevTestbed> testbed_;
    GLib<UMockdevIoctlBase> handler_;
    std::map<GObject*, Client> clients_;
    std::uint64_t last_id_ = 0;
    int plug_ = 0;  // counts
    int replugs_ = 0;
    int door_ = -1;  // see show_whether_done
    bool is_there_ = false;
    bool has_driver_ = true;
    int refused_claims_ = 0;
    std::jthread thread_;  // last: it uses all the others
};

}  // namespace usb_tests
