// A working directory of the test's own, into which it puts the libraries of the photo path, and a
// picture that the stand-in for the decoder knows. Link desk_kit_stand_ins.
#pragma once

#include <filesystem>
#include <string>

#include "kit/bytes.h"
#include "kit/scratch.h"

namespace kit {

class WorkingDirectory {
  public:
    WorkingDirectory() : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory_.path());
    }
    ~WorkingDirectory() { std::filesystem::current_path(before_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

    std::filesystem::path operator/(std::string_view name) const { return directory_ / name; }
    const std::filesystem::path& path() const { return directory_.path(); }

    void put_decoder() const { put("libwlt.so", "libwlt.so"); }
    void put_converter() const { put("libPicConvert.so", "libPicConvert.so"); }

    // A library with this name that has no function to offer.
    void put_empty(const char* name) const { put("libempty.so", name); }

  private:
    void put(const char* stand_in, const char* name) const {
        std::filesystem::copy_file(std::filesystem::path(STAND_INS) / stand_in, *this / name);
    }

    ScratchDirectory directory_;
    std::filesystem::path before_;
};

// The picture: colour n is 10n+1, 10n+2, 10n+3 (hexadecimal, n the first digit), and the pixel at
// column x and row y has colour (x + 3y) % 16.
inline Bytes striped_picture() {
    Bytes picture = join({ascii("DESKPIC1"), Bytes(8, 0)});
    for (int colour = 0; colour < 16; ++colour) {
        for (int part = 1; part <= 3; ++part)
            picture.push_back(static_cast<std::uint8_t>(colour * 16 + part));
    }
    for (int row = 0; row < 48; ++row) {
        for (int column = 0; column < 40; column += 2) {
            const int left = (column + 3 * row) % 16;
            const int right = (column + 1 + 3 * row) % 16;
            picture.push_back(static_cast<std::uint8_t>(left * 16 + right));
        }
    }
    return picture;
}

// The BMP file of that picture.
inline Bytes striped_bmp() {
    Bytes file =
        hex("424D CE970000 0000 0000 36000000 28000000 66000000 7E000000 0100 1800"
            "00000000 00000000 00000000 00000000 00000000 00000000");
    for (int row = 125; row >= 0; --row) {
        for (int column = 0; column < 102; ++column) {
            const int colour = (column * 40 / 102 + 3 * (row * 48 / 126)) % 16;
            for (int part = 3; part >= 1; --part)
                file.push_back(static_cast<std::uint8_t>(colour * 16 + part));
        }
        file.push_back(0xFF);
        file.push_back(0xFF);
    }
    return file;
}

// A file as bytes.
inline Bytes bytes_of_file(const std::filesystem::path& path) {
    return ascii(read_file(path));
}

}  // namespace kit
