// Where the photo of an identity card goes: a host names a file or a directory, and the name says
// which kind of file it is to be.
#pragma once

#include <string_view>

namespace deskreader::api::id_photo_file {

inline constexpr std::size_t path_room = 1024;

// Whether the path asks for another kind of file than BMP.
bool needs_converter(std::string_view path) noexcept;

// Writes a BMP file: to the path itself if it names one, otherwise into the directory that it
// names, under the card's number. Makes the directory. Returns 0 or -3003.
int write_bmp(const char* path, const char* card_number, const unsigned char* photo) noexcept;

// Makes a directory with the name of the target, if that has a directory in it. Then writes a BMP
// file beside the target, has the converter make the target of it, and deletes it. Returns
// ID_GetBmpFile's number if that failed, otherwise the converter's result.
int write_converted(const char* target, const unsigned char* photo) noexcept;

// Writes the kind of file that the end of the path says, and makes no directory. The path has the
// card's number in it. Returns 0; -1009 or -1010 without a converter, -3003 for any other failure.
int write_under_number(const char* path, const char* card_number,
                       const unsigned char* photo) noexcept;

}  // namespace deskreader::api::id_photo_file
