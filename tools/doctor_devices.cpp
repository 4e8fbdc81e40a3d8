// Readers: on USB, on serial ports, and the one that would be used.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include <fmt/core.h>
#include <hidapi.h>
#include <unistd.h>

#include "calls.h"
#include "connection.h"
#include "doctor.h"
#include "errors.h"

namespace desk_tool::doctor {
namespace {

namespace fs = std::filesystem;

constexpr unsigned short vendor = 0x2E8B;
constexpr unsigned short product = 0x0142;
constexpr char name[] = "2E8B:0142";

using Devices = std::unique_ptr<hid_device_info, decltype(&hid_free_enumeration)>;

std::string word_of(const fs::path& path) {
    std::ifstream file(path);
    std::string word;
    file >> word;
    return word;
}

// Its node below /dev/bus/usb, as the system numbers it; nothing if sysfs knows none.
std::optional<std::string> usb_node() {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/sys/bus/usb/devices", error)) {
        const fs::path& device = entry.path();
        if (word_of(device / "idVendor") != "2e8b" || word_of(device / "idProduct") != "0142")
            continue;
        const std::string bus = word_of(device / "busnum");
        const std::string number = word_of(device / "devnum");
        return fmt::format("/dev/bus/usb/{:0>3}/{:0>3}", bus, number);
    }
    return std::nullopt;
}

bool is_usable(const std::string& path) {
    return access(path.c_str(), R_OK | W_OK) == 0;
}

bool is_port(const std::string& entry) {
    constexpr const char* kinds[] = {"ttyS", "ttyUSB", "ttyACM", "ttyAMA"};
    return std::ranges::any_of(kinds, [&](const std::string& kind) {
        return entry.starts_with(kind) && entry.size() > kind.size() &&
               entry.find_first_not_of("0123456789", kind.size()) == std::string::npos;
    });
}

std::vector<std::string> serial_ports() {
    std::vector<std::string> ports;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/dev", error)) {
        if (is_port(entry.path().filename())) ports.push_back(entry.path());
    }
    std::ranges::sort(ports);
    return ports;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

std::string advice_on(int number) {
    switch (number) {
        case -1000:
            return "see the lines about the link and its permissions";
        case -1001:
        case -1004:
            return "is it the reader, and is its rate the one of DevBaud? Unplug it and plug it in";
        case -1002:
            return "another program has it open: end that";
        default:
            return "look into the log; loglevel=2 keeps every frame";
    }
}

}  // namespace

void check_usb(bool needed, Findings& findings) {
    const Devices devices(hid_enumerate(vendor, product), hid_free_enumeration);
    if (!devices) {
        return findings.push_back(
            {needed ? State::problem : State::ok, "USB", fmt::format("no reader {}", name),
             needed ? "plug it in, or name another link: deskreader help links" : ""});
    }
    const auto node = usb_node();
    if (node && !is_usable(*node)) {
        return findings.push_back(
            {State::problem, "USB",
             fmt::format("reader {} at {}, which you may not use", name, *node),
             "install the udev rule and plug the reader in again"});
    }
    findings.push_back(
        {State::ok, "USB", fmt::format("reader {} at {}", name, node.value_or(devices->path)), ""});
}

void check_serial_ports(Findings& findings) {
    std::vector<std::string> usable;
    std::vector<std::string> closed;
    for (const std::string& port : serial_ports())
        (is_usable(port) ? usable : closed).push_back(port);
    if (usable.empty() && closed.empty())
        findings.push_back({State::ok, "serial ports", "none", ""});
    if (!usable.empty()) findings.push_back({State::ok, "serial ports", joined(usable), ""});
    if (!closed.empty()) {
        findings.push_back({State::warning, "serial ports",
                            joined(closed) + ": you may not use them",
                            "join the group dialout and log in again"});
    }
}

void check_link(const LinkOptions& options, Findings& findings) {
    try {
        const Link link = options.chosen();
        const bool named = !options.link.empty();
        const bool by_variable = !named && std::getenv(link_variable) != nullptr;
        const char* why = named         ? "as asked for"
                          : by_variable ? "by DESKREADER_LINK"
                                        : "the default";
        const bool lacks_device =
            link.kind == LinkKind::serial && access(link.place.c_str(), F_OK) != 0;
        const bool closed =
            link.kind == LinkKind::serial && !lacks_device && !is_usable(link.place);
        findings.push_back({lacks_device || closed ? State::problem : State::ok, "link",
                            fmt::format("{} ({}){}", text_of(link), why,
                                        lacks_device ? ", which is not there"
                                        : closed     ? ", which you may not use"
                                                     : ""),
                            lacks_device ? "plug the adapter in, or name another device"
                            : closed     ? "join the group dialout and log in again"
                                         : ""});
    } catch (const MisuseError& error) {
        findings.push_back({State::problem, "link", error.what(), "deskreader help links"});
    }
}

void check_reader(const LinkOptions& options, Findings& findings) {
    try {
        const Connection connection(options);
        findings.push_back({State::ok, "reader", device_information(), ""});
    } catch (const ReaderError& error) {
        findings.push_back({State::problem, "reader",
                            fmt::format("{}: {} {} ({})", error.call(), error.number(),
                                        name_of(error.number()), message_of(error.number())),
                            advice_on(error.number())});
    } catch (const ToolError& error) {
        findings.push_back({State::problem, "reader", error.what(), "deskreader help links"});
    }
}

}  // namespace desk_tool::doctor
