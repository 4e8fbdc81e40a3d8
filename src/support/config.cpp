// The file: lines of text. "[section]" at column 0 opens a section, "key=value" sets a key, a first
// byte ';' makes a comment. Lines are taken in pieces of at most 255 bytes, a longer line goes on
// as if it were the next one. All matching is by prefix:
//   "[devcfg] ; text" opens the section devcfg,
//   the key Ic takes the value of a line IcBaud=1,
//   " IcBaud=1" is no setting of IcBaud,
// and the last of several matching lines wins when reading, the first one is replaced when writing.
#include "support/config.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "status.h"
#include "support/bounded.h"
#include "support/descriptor.h"
#include "support/pointers.h"

namespace deskreader::config {
namespace {

constinit char file_path[1024] =
    "c:\\tmp\\config.ini";  // both in force only until the library is loaded
constinit char library_path[1024] = "c:\\tmp\\";

// Reads a file line by line, in pieces of at most 255 bytes, line ends included.
class PieceReader {
  public:
    explicit PieceReader(int file) noexcept : file_(file) {}

    // The next piece, valid until the next call; nothing at the end of the file.
    std::optional<std::string_view> next() noexcept {
        if (end_ - begin_ < max_piece && !at_end_) refill();
        if (begin_ == end_) return std::nullopt;
        const std::string_view rest(buffer_.data() + begin_, std::min(end_ - begin_, max_piece));
        const std::string_view piece = rest.substr(0, rest.find('\n') + 1);
        const std::string_view taken = piece.empty() ? rest : piece;
        begin_ += taken.size();
        position_ += taken.size();
        return taken;
    }

    // Where in the file the last piece ends.
    std::size_t position() const noexcept { return position_; }

  private:
    static constexpr std::size_t max_piece = 255;

    void refill() noexcept {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        while (end_ < buffer_.size()) {
            const std::size_t room = buffer_.size() - end_;
            const ssize_t got = read(file_, buffer_.data() + end_, room);
            if (got < 0 && errno == EINTR) continue;
            if (got > 0) end_ += static_cast<std::size_t>(got);
            // A file gives less than it is asked for at its end only.
            at_end_ = got < static_cast<ssize_t>(room);
            if (at_end_) return;
        }
    }

    int file_;
    std::array<char, 4096> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t position_ = 0;
    bool at_end_ = false;
};

bool is_blank_or_comment(std::string_view piece) noexcept {
    return piece.front() == '\0' || piece.front() == '\n' || piece.front() == '\r' ||
           piece.front() == ';';
}

bool opens_section(std::string_view piece, std::string_view section) noexcept {
    return piece.starts_with('[') && bounded::without_first(piece, 1).starts_with(section) &&
           bounded::without_first(piece, 1 + section.size()).starts_with(']');
}

bool find_section(PieceReader& reader, std::string_view section) noexcept {
    while (const auto piece = reader.next()) {
        if (!is_blank_or_comment(*piece) && opens_section(*piece, section)) return true;
    }
    return false;
}

// The next line of the open section that begins with `key`.
std::optional<std::string_view> find_key(PieceReader& reader, std::string_view key) noexcept {
    while (const auto piece = reader.next()) {
        if (piece->starts_with(key)) return piece;
        if (piece->starts_with('[')) break;
    }
    return std::nullopt;
}

// kept: reading opens for writing too, so a file that may not be written counts as missing.
Descriptor open_existing(const char* path) noexcept {
    return Descriptor(path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC));
}

// Writes all of it. False when that is not possible.
bool write_at(int file, std::size_t place, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = pwrite(file, text.data(), text.size(), static_cast<off_t>(place));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
        place += static_cast<std::size_t>(written);
    }
    return true;
}

bool set_size(int file, std::size_t size) noexcept {
    int result = 0;
    do {
        result = ftruncate(file, static_cast<off_t>(size));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// The room is taken before anything is written, so a full disk shows while all is as it was.
bool grow(int file, std::size_t size, std::size_t more) noexcept {
    int result = 0;
    do {
        result = posix_fallocate(file, static_cast<off_t>(size), static_cast<off_t>(more));
    } while (result == EINTR);
    return result == 0;
}

// Puts other text in the place of that with which the file ends from `begin` on. The file stays the
// same one, with its owners and rights; what cannot be written whole is taken back.
void replace_end(int file, std::size_t begin, std::string_view old,
                 std::string_view text) noexcept {
    const bool has_room =
        text.size() <= old.size() || grow(file, begin + old.size(), text.size() - old.size());
    if (has_room && write_at(file, begin, text) && set_size(file, begin + text.size())) return;
    write_at(file, begin, old);
    set_size(file, begin + old.size());
}

// Puts "key=value" in the place of a line.
void replace_line(int file, std::size_t begin, std::size_t line_size, const char* key,
                  const char* value) noexcept {
    struct stat info {};
    if (fstat(file, &info) != 0) return;
    const auto size = static_cast<std::size_t>(info.st_size);
    if (size < begin + line_size) return;  // somebody cut it off meanwhile
    const std::size_t old_size = size - begin;
    const std::size_t setting_size = std::strlen(key) + std::strlen(value) + 2;  // with '=' and LF
    const std::size_t new_size = setting_size + old_size - line_size;
    const std::unique_ptr<char, Free> room(
        static_cast<char*>(std::malloc(old_size + new_size + 1)));
    if (!room) return;
    char* const old = room.get();
    char* const text = old + old_size;
    if (pread(file, old, old_size, static_cast<off_t>(begin)) != static_cast<ssize_t>(old_size)) {
        return;
    }
    std::snprintf(text, setting_size + 1, "%s=%s\n", key, value);
    std::memcpy(text + setting_size, old + line_size, old_size - line_size);
    replace_end(file, begin, {old, old_size}, {text, new_size});
}

void copy_default(const char* fallback, char* out) noexcept {
    std::strcpy(out, fallback);
}

std::string_view setting_value(std::string_view after_key) noexcept {
    const std::string_view value = bounded::without_first(after_key, after_key.find('=') + 1);
    return value.substr(0, value.find_first_of(std::string_view("\0\r\n", 3)));
}

}  // namespace

int integer(const char* section, const char* key, int fallback) noexcept {
    int value = fallback;
    GGetConfigInt(section, key, fallback, &value);
    return value;
}

}  // namespace deskreader::config

using namespace deskreader;

int GSetConfigFilePath(const char* path) {
    if (path == nullptr) return status::invalid_argument;
    bounded::copy_text(config::file_path, path);
    return status::ok;
}

int GSetDllPath(const char* path) {
    if (path == nullptr) return status::invalid_argument;
    bounded::copy_text(config::library_path, path);
    return status::ok;
}

int GGetDllPath(int, char* out) {
    if (any_null(out)) return status::invalid_argument;
    std::strcpy(out, config::library_path);
    return status::ok;
}

int GGetConfigInt(const char* section, const char* key, int fallback, int* out) {
    if (any_null(out)) return status::invalid_argument;
    if (section == nullptr || key == nullptr) {
        *out = fallback;
        return status::ok;
    }
    char fallback_text[16];
    std::snprintf(fallback_text, sizeof fallback_text, "%d", fallback);
    char value[256] = "";
    _IniReadValue(section, key, fallback_text, value, config::file_path);
    *out = static_cast<int>(std::strtol(value, nullptr, 10));
    return status::ok;
}

int GGetConfigString(const char* section, const char* key, const char* fallback, char* out, int) {
    if (section != nullptr && key != nullptr && fallback != nullptr && out != nullptr) {
        _IniReadValue(section, key, fallback, out, config::file_path);
    } else if (fallback != nullptr && out != nullptr) {
        config::copy_default(fallback, out);
    }
    return status::ok;
}

int GSetConfigString(const char* section, const char* key, const char* value) {
    if (section != nullptr && key != nullptr && value != nullptr) {
        _IniWriteValue(section, key, value, config::file_path);
    }
    return status::ok;
}

int _IniReadValue(const char* section, const char* key, const char* fallback, char* out,
                  const char* path) {
    if (any_null(section, key, fallback, out)) return status::invalid_argument;
    const Descriptor file = config::open_existing(path);
    bool found = false;
    if (file.is_open()) {
        config::PieceReader reader(file.get());
        if (config::find_section(reader, section)) {
            const std::string_view wanted = key;
            while (const auto line = config::find_key(reader, wanted)) {
                found = true;
                const std::string_view after_key = bounded::without_first(*line, wanted.size());
                // kept: a line without '=' ends the search and leaves what stands in out.
                if (after_key.find('=') == std::string_view::npos) break;
                const std::string_view value = config::setting_value(after_key);
                std::memcpy(out, value.data(), value.size());
                out[value.size()] = '\0';
            }
        }
    }
    if (!found) config::copy_default(fallback, out);
    return status::ok;
}

int _IniWriteValue(const char* section, const char* key, const char* value, const char* path) {
    if (any_null(section, key, value)) return status::invalid_argument;
    const Descriptor file = config::open_existing(path);
    if (!file.is_open()) return status::ok;
    config::PieceReader reader(file.get());
    if (!config::find_section(reader, section)) return status::ok;
    const auto line = config::find_key(reader, key);
    if (!line) return status::ok;
    config::replace_line(file.get(), reader.position() - line->size(), line->size(), key, value);
    return status::ok;
}
