#include "text.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include <iconv.h>

namespace desk_tool {
namespace {

// Nothing when a byte has no meaning in that encoding.
std::optional<std::string> converted(const std::string& bytes, const char* encoding) {
    iconv_t converter = iconv_open("UTF-8", encoding);
    if (converter == iconv_t(-1)) return std::nullopt;
    std::string in = bytes;
    std::string out(4 * bytes.size(), '\0');
    char* from = in.data();
    char* to = out.data();
    std::size_t from_left = in.size();
    std::size_t to_left = out.size();
    const std::size_t result = iconv(converter, &from, &from_left, &to, &to_left);
    iconv_close(converter);
    if (result == static_cast<std::size_t>(-1)) return std::nullopt;
    out.resize(out.size() - to_left);
    return out;
}

std::string ascii_of(std::string bytes) {
    for (char& c : bytes) {
        if ((static_cast<unsigned char>(c) & 0x80) != 0) c = '?';
    }
    return bytes;
}

}  // namespace

std::string as_utf8(const std::string& bytes) {
    return converted(bytes, "UTF-8").value_or(from_gb18030(bytes));
}

std::string from_gb18030(const std::string& bytes) {
    return converted(bytes, "GB18030").value_or(ascii_of(bytes));
}

std::string trimmed(const std::string& text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string upper(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string long_date(const std::string& digits) {
    if (digits.size() != 8 || digits.find_first_not_of("0123456789") != std::string::npos)
        return digits;
    return digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6);
}

}  // namespace desk_tool
