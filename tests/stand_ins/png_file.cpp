// PNG (ISO/IEC 15948) with pixels as they are: deflate blocks of the stored kind (RFC 1951).
#include <algorithm>
#include <span>
#include <string_view>

#include "image.h"

namespace stand_in {
namespace {

void put_big_endian(Bytes& out, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(number >> shift));
}

std::uint32_t crc32(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

std::uint32_t adler32(std::span<const std::uint8_t> bytes) {
    std::uint32_t low = 1;
    std::uint32_t high = 0;
    for (const std::uint8_t byte : bytes) {
        low = (low + byte) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
}

void put_chunk(Bytes& file, std::string_view type, const Bytes& data) {
    put_big_endian(file, static_cast<std::uint32_t>(data.size()));
    const std::size_t begin = file.size();
    file.insert(file.end(), type.begin(), type.end());
    file.insert(file.end(), data.begin(), data.end());
    put_big_endian(file, crc32(std::span(file).subspan(begin)));
}

Bytes header_of(const Image& image) {
    Bytes header;
    put_big_endian(header, static_cast<std::uint32_t>(image.width));
    put_big_endian(header, static_cast<std::uint32_t>(image.height));
    header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits a part, red-green-blue
    return header;
}

// Each row follows a byte that names its filter: none.
Bytes rows_of(const Image& image) {
    Bytes rows;
    for (std::size_t row = 0; row < image.height; ++row) {
        rows.push_back(0);
        rows.insert(rows.end(), image.at(0, row), image.at(0, row) + 3 * image.width);
    }
    return rows;
}

Bytes stored(const Bytes& data) {
    constexpr std::size_t max_block = 65535;
    Bytes out = {0x78, 0x01};
    for (std::size_t begin = 0; begin < data.size(); begin += max_block) {
        const std::size_t size = std::min(max_block, data.size() - begin);
        out.push_back(begin + size == data.size() ? 1 : 0);
        for (const std::size_t number : {size, ~size}) {
            out.push_back(static_cast<std::uint8_t>(number));
            out.push_back(static_cast<std::uint8_t>(number >> 8));
        }
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(begin);
        out.insert(out.end(), first, first + static_cast<std::ptrdiff_t>(size));
    }
    put_big_endian(out, adler32(data));
    return out;
}

}  // namespace

Bytes png_file(const Image& image) {
    Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    put_chunk(file, "IHDR", header_of(image));
    put_chunk(file, "IDAT", stored(rows_of(image)));
    put_chunk(file, "IEND", {});
    return file;
}

}  // namespace stand_in
