// The library's own files, and those of the system around it.
#include <deskreader.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <cJSON.h>
#include <dlfcn.h>
#include <fmt/chrono.h>
#include <fmt/core.h>
#include <hidapi.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "doctor.h"
#include "text.h"

namespace desk_tool::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t mebibyte = 1u << 20;
constexpr std::uintmax_t little_space = 50 * mebibyte;

constexpr const char* rule_directories[] = {"/etc/udev/rules.d", "/run/udev/rules.d",
                                            "/usr/local/lib/udev/rules.d", "/usr/lib/udev/rules.d",
                                            "/lib/udev/rules.d"};

// The file behind the library's name tells its version: libdeskreader.so.2.1.56.
std::string version_of(const fs::path& library) {
    std::error_code error;
    const std::string name = fs::canonical(library, error).filename();
    const std::string mark = ".so.";
    const std::size_t at = name.find(mark);
    return at == std::string::npos ? "unknown" : name.substr(at + mark.size());
}

bool mentions_reader(const fs::path& rules) {
    std::ifstream file(rules, std::ios::binary);
    const std::string text = upper({std::istreambuf_iterator<char>(file), {}});
    return text.find("2E8B") != std::string::npos && text.find("0142") != std::string::npos;
}

struct Companion {
    const char* path;
    const char* purpose;
};

// They are looked for in the working directory of each host.
constexpr Companion companions[] = {
    {"./libwlt.so", "decodes the photos of identity cards"},
    {"./libPicConvert.so", "makes pictures of identity cards, front and back"},
};

std::string log_of_today() {
    return fmt::format("sd_{:%Y%m%d}.log", fmt::localtime(std::time(nullptr)));
}

void check_space(const std::string& directory, Findings& findings) {
    struct statvfs space {};
    if (statvfs(directory.c_str(), &space) != 0) return;
    const std::uintmax_t free = static_cast<std::uintmax_t>(space.f_bavail) * space.f_frsize;
    const State state = free < mebibyte       ? State::problem
                        : free < little_space ? State::warning
                                              : State::ok;
    findings.push_back(
        {state, "disk space", fmt::format("{} MiB free for logs", free / mebibyte),
         state == State::ok ? "" : "make room, or have logs kept for fewer days (saveday)"});
}

void check_level(int level, Findings& findings) {
    if (level < 2) return;
    findings.push_back({State::warning, "log level",
                        fmt::format("loglevel={} keeps every frame, and what is on cards", level),
                        "set loglevel=1 once you have found what you look for"});
}

}  // namespace

void check_library(Findings& findings) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&RD_Open), &info) == 0 || info.dli_fname == nullptr) return;
    findings.push_back({State::ok, "library",
                        fmt::format("{}, version {}", info.dli_fname, version_of(info.dli_fname)),
                        ""});
}

void check_companions(Findings& findings) {
    findings.push_back({State::ok, "with",
                        fmt::format("hidapi {}, cJSON {}", hid_version_str(), cJSON_Version()),
                        ""});
    for (const Companion& one : companions) {
        const bool there = access(one.path, R_OK) == 0;
        findings.push_back(
            {there ? State::ok : State::warning, "companion",
             fmt::format("{} {} ({})", one.path, there ? "is there" : "is not there", one.purpose),
             there ? "" : "needed for that alone: put it where the host is started"});
    }
}

bool check_log(const std::string& directory, int level, Findings& findings) {
    const std::string today = directory + "/" + log_of_today();
    const bool writable =
        fs::is_directory(directory) && access(directory.c_str(), W_OK | X_OK) == 0;
    const bool appendable = access(today.c_str(), F_OK) != 0 || access(today.c_str(), W_OK) == 0;
    if (writable && appendable) {
        findings.push_back({State::ok, "log", fmt::format("{}, level {}", directory, level), ""});
        check_space(directory, findings);
        check_level(level, findings);
        return true;
    }
    findings.push_back(
        {level > 0 ? State::problem : State::warning, "log",
         fmt::format("{} cannot be written: a host stops for ever at its second message",
                     writable ? today : directory),
         "make it writable for you (share-with-group), or set loglevel=0"});
    return false;
}

void check_udev_rule(Findings& findings) {
    for (const char* directory : rule_directories) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(directory, error)) {
            if (entry.path().extension() != ".rules" || !mentions_reader(entry.path())) continue;
            return findings.push_back({State::ok, "udev rule", entry.path().string(), ""});
        }
    }
    findings.push_back(
        {State::warning, "udev rule", "no rule names the reader 2E8B:0142: only root may use it",
         "install 70-deskreader.rules, then: udevadm control --reload && udevadm trigger"});
}

}  // namespace desk_tool::doctor
