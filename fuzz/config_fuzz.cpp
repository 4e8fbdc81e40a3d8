// config.ini as anybody may have left it: any file is read, and written without losing a line that
// was not meant.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "draw.h"
#include "kit/scratch.h"

namespace {

using fuzzing::Draw;

constexpr std::size_t value_room = 256;

struct Names {
    std::string section;
    std::string key;
};

Names draw_names(Draw& draw) {
    constexpr std::string_view sections[] = {"log", "devcfg"};
    constexpr std::string_view keys[] = {"Ic", "IcBaud", "Iccmd", "loglevel"};
    const unsigned choice = draw.byte();
    Names names;
    names.section = choice % 3 < 2 ? std::string(sections[choice % 3]) : draw.text();
    names.key = choice / 3 % 5 < 4 ? std::string(keys[choice / 3 % 5]) : draw.text();
    return names;
}

// In rooms of exactly the documented size.
std::string read(const Names& names, const std::string& fallback, const char* path) {
    const std::size_t room = std::max(fallback.size() + 1, value_room);
    const std::unique_ptr<char[]> value(new char[room]());
    expect(_IniReadValue(names.section.c_str(), names.key.c_str(), fallback.c_str(), value.get(),
                         path) == 0);
    const auto length =
        static_cast<std::size_t>(std::find(value.get(), value.get() + room, '\0') - value.get());
    expect(length < room);
    return {value.get(), length};
}

// One line, perhaps, has become another one: what stands before it and behind it stays.
void expect_one_change(const std::string& before, const std::string& after,
                       const std::string& setting) {
    if (before == after) return;
    const auto at =
        static_cast<std::size_t>(std::ranges::mismatch(before, after).in1 - before.begin());
    // What follows may begin as the setting does, so the change may have begun long before.
    for (std::size_t begin = 0; begin <= at; ++begin) {
        if (after.compare(begin, setting.size(), setting) != 0) continue;
        if (before.ends_with(after.substr(begin + setting.size()))) return;
    }
    expect(false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kit::ScratchDirectory scratch;
    static const std::string path = (scratch / "config.ini").string();
    Draw draw({data, size});
    const Names names = draw_names(draw);
    const std::string value = draw.text();
    const auto rest = draw.rest();
    const std::string before(rest.begin(), rest.end());
    kit::write_file(path, before);

    read(names, value, path.c_str());
    GSetConfigFilePath(path.c_str());
    int number = 0;
    expect(GGetConfigInt(names.section.c_str(), names.key.c_str(), 7, &number) == 0);
    expect(kit::read_file(path) == before);

    expect(_IniWriteValue(names.section.c_str(), names.key.c_str(), value.c_str(), path.c_str()) ==
           0);
    expect_one_change(before, kit::read_file(path), names.key + "=" + value + "\n");
    read(names, value, path.c_str());
    return 0;
}
