#include "identity_calls.h"

#include <deskreader.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "errors.h"
#include "text.h"
#include "waiting.h"

namespace desk_tool {
namespace {

constexpr std::size_t record_room = 544;

// A directory of its own among the temporary files, which goes with this object.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "deskreader-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw ToolError("no temporary directory");
        path_ = pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path operator/(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

// Converted before it is split: a separator's byte may be the second of a character.
IdentityRecord record_of(const char* text) {
    IdentityRecord record;
    std::size_t field = 0;
    for (const char c : from_gb18030(text)) {
        if (c == '|') {
            ++field;
        } else if (field < record.fields.size()) {
            record.fields[field] += c;
        }
    }
    if (field >= record.fields.size() || record.fields[9].size() != 1)
        throw ToolError("a field of the card holds a separator");
    return record;
}

std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

IdentityRecord read_identity(int timeout_s) {
    std::array<char, record_room> text{};
    int length = 0;
    const Waiting waiting(timeout_s, "an identity card");
    check("RD_ReadIdInfo_Pic", RD_ReadIdInfo_Pic(nullptr, 0, text.data(), &length, timeout_s));
    return record_of(text.data());
}

IdentityRecord read_identity_with_photo(int timeout_s) {
    const TemporaryDirectory directory;
    const std::filesystem::path photo = directory / "photo.bmp";
    std::array<char, record_room> text{};
    int length = 0;
    const Waiting waiting(timeout_s, "an identity card");
    const int result = RD_ReadIdInfo(photo.c_str(), 0, text.data(), &length, nullptr, 0, nullptr,
                                     nullptr, timeout_s);
    if (result != no_photo) check("RD_ReadIdInfo", result);
    IdentityRecord record = record_of(text.data());
    if (result == 0) record.photo = content_of(photo);
    return record;
}

}  // namespace desk_tool
