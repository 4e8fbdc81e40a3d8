// Files of a test: a directory that goes with its scope, a config.ini and a log in it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kit {

class ScratchDirectory {
  public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

void write_file(const std::filesystem::path& path, std::string_view content);
std::string read_file(const std::filesystem::path& path);

// The library's config.ini for the length of a test. Without content the file does not exist.
class ConfigFile {
  public:
    ConfigFile();
    explicit ConfigFile(std::string_view content);

    void write(std::string_view content) const;
    std::string content() const { return read_file(path()); }
    std::filesystem::path path() const { return directory_ / "config.ini"; }

  private:
    ScratchDirectory directory_;
};

// The library's log for the length of a test, at information level unless told otherwise.
class LogFile {
  public:
    explicit LogFile(int level = 2);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // The raw file.
    std::string content() const;

    // Its messages in order, each with its kind and without date, for example
    // "Info:Send szPackage: 3630\r\n".
    std::vector<std::string> messages() const;

    // Whether one of the messages is exactly this one.
    bool has(std::string_view message) const;

    std::filesystem::path path() const { return directory_ / "desk.log"; }

  private:
    ScratchDirectory directory_;
};

}  // namespace kit
