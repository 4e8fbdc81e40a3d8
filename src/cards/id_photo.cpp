#include "cards/id_photo.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include <sys/stat.h>

#include "status.h"
#include "support/shared_library.h"

using namespace deskreader;

namespace {

constexpr char decoder_path[] = "./libwlt.so";
constexpr char converter_path[] = "./libPicConvert.so";

using Unpack = int(const unsigned char* photo, unsigned char* pixels, int setting);
using BmpToJpg = int(const char* bmp_path, const char* target, int quality);

constexpr int decoder_setting = 788;  // its meaning is the decoder's own
constexpr int picture_quality = 60;

constexpr int decoder_missing = -1;
constexpr int unpack_missing = -2;
constexpr int no_file = -3;

constexpr std::size_t decoder_room = 40960;
constexpr std::size_t pixel_size = 3;
constexpr std::size_t width = 102;
constexpr std::size_t height = 126;
constexpr std::size_t row_filler_size = 2;  // rows are padded to a multiple of 4 bytes

// kept: the filler is FF, where 00 is usual.
constexpr std::uint8_t row_filler = 0xFF;

// Little-endian. Resolution, sizes and colours that may be 0 are 0.
constexpr std::uint8_t bmp_header[] = {
    'B',  'M',               // BITMAPFILEHEADER
    0xCE, 0x97, 0x00, 0x00,  // file size: 38862
    0x00, 0x00, 0x00, 0x00,  //
    0x36, 0x00, 0x00, 0x00,  // offset of the pixels: 54
    0x28, 0x00, 0x00, 0x00,  // BITMAPINFOHEADER, its size: 40
    0x66, 0x00, 0x00, 0x00,  // width: 102
    0x7E, 0x00, 0x00, 0x00,  // height: 126, the first row is the lowest
    0x01, 0x00,              // planes
    0x18, 0x00,              // bits per pixel: 24
    0x00, 0x00, 0x00, 0x00,  // compression: none
    0x00, 0x00, 0x00, 0x00,  // image size
    0x00, 0x00, 0x00, 0x00,  // horizontal resolution
    0x00, 0x00, 0x00, 0x00,  // vertical resolution
    0x00, 0x00, 0x00, 0x00,  // colours used
    0x00, 0x00, 0x00, 0x00,  // colours that matter
};

constexpr std::size_t bmp_size =
    sizeof bmp_header + height * (width * pixel_size + row_filler_size);
static_assert(bmp_size == 0x97CE);

using Pixels = std::array<unsigned char, decoder_room>;
using BmpFile = std::array<unsigned char, bmp_size>;

// 0, or -1 to -3. The decoder is closed again only after it has done its work.
int decode(const unsigned char* photo, Pixels& pixels) noexcept {
    SharedLibrary decoder(decoder_path);
    if (!decoder.is_open()) {
        const char* reason = dlerror();
        GLogI("dlopen libwlt.so error, dlerror = %s\r\n", reason == nullptr ? "" : reason);
        return decoder_missing;
    }
    auto* unpack = decoder.find<Unpack>("unpack");
    const int result = unpack == nullptr                                   ? unpack_missing
                       : unpack(photo, pixels.data(), decoder_setting) < 0 ? no_file
                                                                           : status::ok;
    // kept: a decoder that failed stays loaded.
    if (result != status::ok) decoder.leave_open();
    return result;
}

// The decoder's rows as they come, its red, green, blue as blue, green, red.
void build_bmp(const Pixels& pixels, BmpFile& file) noexcept {
    auto out = std::ranges::copy(bmp_header, file.begin()).out;
    std::span<const unsigned char> rest(pixels);
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            out = std::reverse_copy(rest.begin(), rest.begin() + pixel_size, out);
            rest = rest.subspan(pixel_size);
        }
        out = std::fill_n(out, row_filler_size, row_filler);
    }
}

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

bool is_regular(std::FILE* file) noexcept {
    struct stat info {};
    return fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
}

// A picture that cannot be written whole leaves no file.
int write_file(const char* path, std::span<const unsigned char> content) noexcept {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "wb+"));
    if (!file) return no_file;
    const bool written =
        std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    if (std::fflush(file.get()) == 0 && written) return status::ok;
    if (is_regular(file.get())) std::remove(path);
    return no_file;
}

}  // namespace

int id_photo::convert(const char* bmp_path, const char* target) noexcept {
    const SharedLibrary converter(converter_path);
    if (!converter.is_open()) return status::library_not_loaded;
    auto* bmp_to_jpg = converter.find<BmpToJpg>("BmpToJpg");
    if (bmp_to_jpg == nullptr) return status::library_call_failed;
    GLogI("BmpToJpg szBmpFile = %s, szJpgFile = %s\r\n", bmp_path, target);
    return bmp_to_jpg(bmp_path, target, picture_quality);
}

int ID_GetBmpFile(const unsigned char* photo, const char* bmp_path) {
    if (photo == nullptr || bmp_path == nullptr) return status::invalid_argument;
    Pixels pixels{};
    const int result = decode(photo, pixels);
    if (result != status::ok) return result;
    BmpFile file;
    build_bmp(pixels, file);
    return write_file(bmp_path, file);
}

int ID_GetBmpData(const unsigned char*, int, unsigned char*, int*) {
    return status::ok;
}

int ID_GetFrontBackImg(const unsigned char*, const unsigned char*, char*, char*) {
    return status::ok;
}
