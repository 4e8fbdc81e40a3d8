#include "kit/scratch.h"

#include <deskreader.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

namespace kit {

ScratchDirectory::ScratchDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "deskreader-XXXXXX").string();
    path_ = mkdtemp(name.data());
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void write_file(const std::filesystem::path& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string read_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

ConfigFile::ConfigFile() {
    GSetConfigFilePath(path().c_str());
}

ConfigFile::ConfigFile(std::string_view content) : ConfigFile() {
    write(content);
}

void ConfigFile::write(std::string_view content) const {
    write_file(path(), content);
}

LogFile::LogFile(int level) {
    GSetLogFilePath(path().c_str());
    GSetLogLevel(level);
}

LogFile::~LogFile() {
    GSetLogLevel(0);
}

std::string LogFile::content() const {
    return read_file(path());
}

std::vector<std::string> LogFile::messages() const {
    static const std::regex prefix(R"((Info|Error)\(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\):)");
    const std::string all = content();
    std::vector<std::string> messages;
    std::sregex_iterator next(all.begin(), all.end(), prefix);
    while (next != std::sregex_iterator()) {
        const std::smatch match = *next++;
        const auto begin = match.suffix().first;
        const auto end = next == std::sregex_iterator() ? all.end() : (*next)[0].first;
        messages.push_back(match[1].str() + ":" + std::string(begin, end));
    }
    return messages;
}

bool LogFile::has(std::string_view message) const {
    const auto all = messages();
    return std::find(all.begin(), all.end(), message) != all.end();
}

}  // namespace kit
