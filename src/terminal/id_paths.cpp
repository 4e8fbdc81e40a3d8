// The names of the four photos that one path given by a terminal stands for.
#include <deskreader.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "status.h"

namespace status = deskreader::status;

namespace {

constexpr int path_room = 1024;
constexpr std::size_t extension_size = 4;

constexpr std::string_view extensions[] = {".jpg", ".bmp", ".png", ".gif"};
constexpr std::string_view default_extension = ".bmp";

// What stands behind the base name: head, face, back, card.
constexpr const char* kind_suffixes[] = {"", "_1", "_2", "_3"};

bool names_picture(std::string_view path) noexcept {
    return path.size() > extension_size &&
           std::ranges::find(extensions, path.substr(path.size() - extension_size)) !=
               std::end(extensions);
}

}  // namespace

int RD_ModifyIdPath_KP(int kind, const char* base_name, const char* given, char* out) {
    if (out == nullptr) return status::ok;
    std::string_view directory = given == nullptr ? "" : given;
    std::string_view extension = default_extension;
    bool has_name = !directory.empty();
    if (names_picture(directory)) {
        extension = directory.substr(directory.size() - extension_size);
        // kept: a backslash is the only separator, also where files have slashes in their paths.
        const std::size_t separator = directory.rfind('\\');
        has_name = separator != std::string_view::npos;
        directory = directory.substr(0, has_name ? separator : 0);
    }
    if (!has_name) {
        *out = '\0';
    } else if (kind >= 0 && kind < static_cast<int>(std::size(kind_suffixes))) {
        const int length = std::snprintf(out, path_room, "%.*s\\%s%s%.*s",
                                         static_cast<int>(directory.size()), directory.data(),
                                         base_name == nullptr ? "" : base_name, kind_suffixes[kind],
                                         static_cast<int>(extension.size()), extension.data());
        if (length < 0 || length >= path_room) *out = '\0';
    }
    return status::ok;
}
