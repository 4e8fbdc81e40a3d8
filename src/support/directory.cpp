// The directory scanner, and what it does with the log directory at load.
#include <deskreader.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "status.h"
#include "support/clock.h"
#include "support/config.h"

using namespace deskreader;

namespace {

constexpr int default_days_kept = 15;
constexpr int most_days_kept = 365;
constexpr double seconds_a_day = 86400;

struct CloseDirectory {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};

bool is_regular_file(DIR* directory, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_REG;
    struct stat info {};
    return fstatat(dirfd(directory), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(info.st_mode);
}

// Midnight at the beginning of the day that a daily log is named for.
bool parse_log_date(const char* name, std::time_t& midnight) {
    int year = 0;
    int month = 0;
    int day = 0;
    // kept: what follows the eight digits is not looked at.
    if (std::sscanf(name, "sd_%04d%02d%02d.log", &year, &month, &day) < 3) return false;
    std::tm date{};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    midnight = mktime(&date);
    return true;
}

}  // namespace

int GScanDirectory(const char* directory, GScanCallback callback, void* user) {
    if (directory == nullptr || callback == nullptr) return status::invalid_argument;
    const std::unique_ptr<DIR, CloseDirectory> opened(opendir(directory));
    if (!opened) return status::failed;
    char path[1024] = "";
    while (const dirent* entry = readdir(opened.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        // kept: for an entry that is no regular file the path of the last one stays.
        if (is_regular_file(opened.get(), *entry))
            std::snprintf(path, sizeof path, "%s/%s", directory, entry->d_name);
        const int result = callback(entry->d_name, path, user);
        if (result != 0) return result;
    }
    return status::ok;
}

int ScanDirCallback(const char* name, const char* path, void*) {
    std::time_t midnight = 0;
    if (!parse_log_date(name, midnight)) return 0;
    int days = config::integer("log", "saveday", default_days_kept);
    if (days > most_days_kept) days = most_days_kept;
    if (std::difftime(clock::wall_time(), midnight) > days * seconds_a_day) std::remove(path);
    return 0;
}
