#include "api/id_photo_file.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <span>

#include <sys/stat.h>

#include "cards/id_photo.h"
#include "status.h"
#include "support/bounded.h"

namespace deskreader::api::id_photo_file {
namespace {

// kept: no rights for owner and group; what the process may do in there is up to its privileges.
constexpr mode_t directory_mode = 0007;

constexpr std::string_view converted_kinds[] = {".jpg", ".png", ".gif"};

using Path = std::array<char, path_room>;

bool names_bmp(std::string_view path) noexcept {
    return path.find(".bmp") != std::string_view::npos;
}

// False for a text that would not fit.
[[gnu::format(printf, 2, 3)]] bool print(Path& path, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(path.data(), path.size(), format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<std::size_t>(length) < path.size();
}

// The directory of a file. kept: a backslash separates before a slash does.
std::string_view directory_of(std::string_view path) noexcept {
    std::size_t separator = path.rfind('\\');
    if (separator == std::string_view::npos) separator = path.rfind('/');
    return separator == std::string_view::npos ? std::string_view() : path.substr(0, separator);
}

void make_directory(std::string_view path) noexcept {
    Path name;
    bounded::copy_text(name, path);
    mkdir(name.data(), directory_mode);
}

int write_plain(const char* path, const unsigned char* photo) noexcept {
    return ID_GetBmpFile(photo, path) == status::ok ? status::ok : status::id_photo_failed;
}

// A card's number becomes part of a file's name, so it must not lead to another directory.
bool is_plain_name(std::string_view card_number) noexcept {
    return card_number.find('/') == std::string_view::npos;
}

// The BMP file beside the target.
bool temporary_path(std::string_view target, Path& path) noexcept {
    const std::size_t slash = target.rfind('/');
    if (slash == std::string_view::npos) return print(path, "temp.bmp");
    return print(path, "%.*s/temp.bmp", static_cast<int>(slash), target.data());
}

int convert(const char* target, const unsigned char* photo) noexcept {
    Path bmp_path;
    if (!temporary_path(target, bmp_path)) return status::id_photo_failed;
    const int written = ID_GetBmpFile(photo, bmp_path.data());
    GLogI("ID_GetBmpFile ret = %d\r\n", written);
    if (written != status::ok) return written;
    const int result = id_photo::convert(bmp_path.data(), target);
    std::remove(bmp_path.data());
    return result;
}

}  // namespace

bool needs_converter(std::string_view path) noexcept {
    return !names_bmp(path) && std::ranges::any_of(converted_kinds, [path](std::string_view kind) {
        return path.find(kind) != std::string_view::npos;
    });
}

int write_bmp(const char* path, const char* card_number, const unsigned char* photo) noexcept {
    if (names_bmp(path)) {
        const std::string_view directory = directory_of(path);
        if (!directory.empty()) make_directory(directory);
        return write_plain(path, photo);
    }
    make_directory(path);
    Path file;
    if (!is_plain_name(card_number) || !print(file, "%s/%s.bmp", path, card_number)) {
        return status::id_photo_failed;
    }
    return write_plain(file.data(), photo);
}

int write_converted(const char* target, const unsigned char* photo) noexcept {
    // kept: the directory gets the name of the file itself. A file that exists already is replaced,
    // for a new one the converter finds a directory in its place.
    if (std::string_view(target).find('/') != std::string_view::npos) make_directory(target);
    return convert(target, photo);
}

int write_under_number(const char* path, const char* card_number,
                       const unsigned char* photo) noexcept {
    if (!is_plain_name(card_number)) return status::id_photo_failed;
    if (std::string_view(path).ends_with(".bmp")) return write_plain(path, photo);
    const int result = convert(path, photo);
    const bool has_own_number =
        result == status::library_not_loaded || result == status::library_call_failed;
    return result >= 0 ? status::ok : has_own_number ? result : status::id_photo_failed;
}

}  // namespace deskreader::api::id_photo_file
