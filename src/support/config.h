// config.ini: the settings of the library, read afresh on every use.
// The exported accessors are declared in deskreader.h; here stands the form the layers use.
#pragma once

namespace deskreader::config {

// The decimal value of a key, `fallback` when file, section or key is missing.
int integer(const char* section, const char* key, int fallback) noexcept;

}  // namespace deskreader::config
