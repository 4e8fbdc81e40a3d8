#include "connection.h"

#include <deskreader.h>

#include "errors.h"

namespace desk_tool {
namespace {

constexpr int usb = 0;
constexpr int named_port = 15;  // the library's last port name is the tool's
constexpr std::size_t max_device_name = 63;

// A serial device by its name, with or without the directory.
std::string device_path(const std::string& name) {
    std::string path = name.find('/') == std::string::npos ? "/dev/" + name : name;
    if (path.size() > max_device_name)
        throw ToolError("the device name is longer than 63 characters: " + path);
    return path;
}

}  // namespace

Connection::Connection(const LinkOptions& options) {
    if (options.use_virtual) virtual_.emplace(options.deck, options.use_usb);
    if (virtual_ && !options.card.empty()) virtual_->insert(options.card);
    const bool is_virtual_line = virtual_ && !options.use_usb;
    const std::string device = is_virtual_line ? virtual_->device() : options.port;
    name_ = device.empty() ? "USB" : device_path(device);
    if (!device.empty()) GSetComName(named_port, name_.c_str());
    check("RD_Open", RD_Open(device.empty() ? usb : named_port, options.baud, 0));
}

VirtualProcess& Connection::virtual_reader() {
    if (!virtual_) throw ToolError("only the cards of a virtual reader can be moved");
    return *virtual_;
}

Connection::~Connection() {
    RD_Close();
}

}  // namespace desk_tool
