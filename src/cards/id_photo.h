// The photo of an identity card as a file. Knows the two libraries that a host puts into its
// working directory: the decoder of the card's picture and the converter of BMP files.
#pragma once

namespace deskreader::id_photo {

// Has the converter write `target` from a BMP file. Returns its result; -1009 without the library,
// -1010 without the function in it.
int convert(const char* bmp_path, const char* target) noexcept;

}  // namespace deskreader::id_photo
