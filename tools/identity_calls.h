// The library's identity card calls as the tool's commands use them.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace desk_tool {

struct IdentityRecord {
    // In UTF-8, numbered as in deskreader.h but from 0; empty where the kind of card has none.
    std::array<std::string, 14> fields;
    std::optional<std::string> photo;  // a BMP file's content

    // 'N', 'J' or 'I'.
    char kind() const { return fields[9].empty() ? '\0' : fields[9][0]; }
};

IdentityRecord read_identity(int timeout_s);

// With the photo, if there is a decoder for it in the working directory.
IdentityRecord read_identity_with_photo(int timeout_s);

// The result of photos that cannot be had.
constexpr int no_photo = -3003;

}  // namespace desk_tool
