#include "link.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include <fmt/core.h>

#include "errors.h"

namespace desk_tool {
namespace {

constexpr std::size_t max_device_name = 63;

enum class Place { none, device, optional_file, file };

struct Scheme {
    const char* name;
    LinkKind kind;
    Place place;
};

constexpr Scheme schemes[] = {
    {"hid", LinkKind::usb, Place::none},
    {"serial", LinkKind::serial, Place::device},
    {"virtual", LinkKind::virtual_reader, Place::optional_file},
    {"virtual-usb", LinkKind::virtual_usb, Place::optional_file},
    {"replay", LinkKind::replay, Place::file},
};

void check_file(const std::string& text, const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        throw MisuseError(fmt::format("link {}: there is no file {}", text, path));
    if (std::filesystem::is_directory(status))
        throw MisuseError(fmt::format("link {}: {} is a directory", text, path));
}

// A serial device by its name, with or without the directory.
std::string device_path(const std::string& text, const std::string& name) {
    if (name.empty())
        throw MisuseError(fmt::format("link {}: names no device, as in serial:ttyS1", text));
    std::string path = name.find('/') == std::string::npos ? "/dev/" + name : name;
    if (path.size() > max_device_name)
        throw MisuseError("the device name is longer than 63 characters: " + path);
    return path;
}

}  // namespace

Link link_from(const std::string& text) {
    const std::size_t colon = text.find(':');
    const auto* scheme = std::ranges::find(schemes, text.substr(0, colon), &Scheme::name);
    if (colon == std::string::npos || scheme == std::end(schemes))
        throw MisuseError(fmt::format("link {}: expected {}", text, link_forms));
    Link link{scheme->kind, text.substr(colon + 1)};
    if (scheme->place == Place::none && !link.place.empty())
        throw MisuseError(fmt::format("link {}: nothing goes behind {}:", text, scheme->name));
    if (scheme->place == Place::device) link.place = device_path(text, link.place);
    if (scheme->place == Place::file && link.place.empty())
        throw MisuseError(fmt::format("link {}: names no recording", text));
    const bool is_file = scheme->place == Place::file || scheme->place == Place::optional_file;
    if (is_file && !link.place.empty()) check_file(text, link.place);
    return link;
}

std::string text_of(const Link& link) {
    return fmt::format("{}:{}", std::ranges::find(schemes, link.kind, &Scheme::kind)->name,
                       link.place);
}

Link LinkOptions::chosen() const {
    if (!link.empty()) return link_from(link);
    const char* variable = std::getenv(link_variable);
    if (variable == nullptr || *variable == '\0') return {};
    try {
        return link_from(variable);
    } catch (const MisuseError& error) {
        throw MisuseError(fmt::format("{}: {}", link_variable, error.what()));
    }
}

}  // namespace desk_tool
