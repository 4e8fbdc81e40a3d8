// A stand-in for the converter of BMP files: the end of the target's name says what becomes of one.
// Returns 0; -1 when the file is no BMP of 24 bits, -2 when the target cannot be written, -3 for a
// name that says nothing.
#include <fstream>
#include <string_view>

#include "image.h"

namespace {

constexpr int not_a_bmp = -1;
constexpr int not_written = -2;
constexpr int unknown_kind = -3;

int write(const char* path, const stand_in::Bytes& content) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    file.close();
    return file ? 0 : not_written;
}

}  // namespace

extern "C" __attribute__((__visibility__("default"))) int BmpToJpg(const char* bmp_path,
                                                                   const char* target, int quality);

int BmpToJpg(const char* bmp_path, const char* target, int quality) {
    const auto image = stand_in::read_bmp(bmp_path);
    if (!image || image->pixels.empty()) return not_a_bmp;
    const std::string_view name = target;
    if (name.ends_with(".png")) return write(target, stand_in::png_file(*image));
    if (name.ends_with(".gif")) return write(target, stand_in::gif_file(*image));
    if (name.ends_with(".jpg")) return write(target, stand_in::jpeg_file(*image, quality));
    return unknown_kind;
}
