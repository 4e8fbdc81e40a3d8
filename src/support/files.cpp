// Thin wrappers over C streams: opening modes by number, chunked reading and writing, size and
// name.
#include <deskreader.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <sys/stat.h>

#include "status.h"

namespace status = deskreader::status;

namespace {

constexpr std::size_t chunk = 0x10000;

const char* stream_mode(int number) {
    switch (number) {
        case 1:
            return "rb";
        case 3:
            return "a+b";
        case 4:
            return "w+b";
        case 5:
            return "r";
        case 6:
            return "r+";
        case 7:
            return "a+";
        case 8:
            return "w+";
        default:
            return "r+b";  // 2, and every number without a mode of its own
    }
}

// Moves `length` bytes in chunks until one comes short. -99 when the very first moves nothing.
template <class Move>
int move_in_chunks(std::size_t length, Move move) {
    std::size_t total = 0;
    while (total < length) {
        const std::size_t wanted = std::min(length - total, chunk);
        const std::size_t moved = move(total, wanted);
        if (moved == 0 && total == 0) return status::failed;
        total += moved;
        if (moved < wanted) break;
    }
    return static_cast<int>(total);
}

}  // namespace

FILE* GOpenFile(const char* path, int mode) {
    return path == nullptr ? nullptr : std::fopen(path, stream_mode(mode));
}

int GCloseFile(FILE* stream) {
    return std::fclose(stream);
}

int GReadFile(FILE* stream, unsigned char* buffer, size_t length) {
    if (stream == nullptr || buffer == nullptr || length == SIZE_MAX)
        return status::invalid_argument;
    return move_in_chunks(length, [&](std::size_t at, std::size_t count) {
        return std::fread(buffer + at, 1, count, stream);
    });
}

int GWriteFile(FILE* stream, const unsigned char* data, size_t length) {
    if (stream == nullptr || data == nullptr || length == SIZE_MAX) return status::invalid_argument;
    const int written = move_in_chunks(length, [&](std::size_t at, std::size_t count) {
        return std::fwrite(data + at, 1, count, stream);
    });
    std::fflush(stream);
    return written;
}

long GGetFileSize(const char* path) {
    if (path == nullptr) return status::invalid_argument;
    struct stat info {};
    return stat(path, &info) == 0 ? static_cast<long>(info.st_size) : 0;
}

int GGetFileName(const char* path, char* out, size_t out_size) {
    if (path == nullptr || out == nullptr || out_size == 0) return status::invalid_argument;
    const std::size_t separator = std::string_view(path).find_last_of("\\/");
    std::strcpy(out, separator == std::string_view::npos ? path : path + separator + 1);
    return status::ok;
}

int GGetLocalFilePath(char* out, int size) {
    // kept: there is nothing to tell on this platform.
    return out == nullptr || size <= 0 ? status::invalid_argument : status::failed;
}
