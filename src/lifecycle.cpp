// What happens when the library is loaded into a process and when it leaves it. The one file that
// looks at several floors.
#include <deskreader.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <sys/stat.h>

#include "support/bounded.h"
#include "support/clock.h"
#include "support/config.h"

namespace {

constexpr char version[] = "V2.1.56.1";
constexpr std::size_t path_size = 1024;

// The directory that holds this library, without a slash at its end; its whole path if that has
// none.
void find_own_directory(char (&directory)[path_size]) {
    Dl_info info{};
    dladdr(reinterpret_cast<void*>(&my_init), &info);
    deskreader::bounded::copy_text(directory, info.dli_fname == nullptr ? "" : info.dli_fname);
    if (char* slash = std::strrchr(directory, '/')) *slash = '\0';
}

// "directory/name", empty where that is too long.
void join(char (&path)[path_size], const char* directory, const char* name) {
    const int length = std::snprintf(path, sizeof path, "%s/%s", directory, name);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) path[0] = '\0';
}

void set_log_file_of_today(const char* log_directory) {
    const std::time_t now = deskreader::clock::wall_time();
    std::tm today{};
    localtime_r(&now, &today);
    char name[64];
    std::snprintf(name, sizeof name, "sd_%.4d%.2d%.2d.log", today.tm_year + 1900, today.tm_mon + 1,
                  today.tm_mday);
    char path[path_size];
    join(path, log_directory, name);
    GSetLogFilePath(path);
}

}  // namespace

__attribute__((constructor)) void my_init(void) {
    char directory[path_size];
    find_own_directory(directory);

    char config_path[path_size];
    join(config_path, directory, "config.ini");
    GSetConfigFilePath(config_path);
    GSetLogLevel(deskreader::config::integer("log", "loglevel", 1));

    char log_directory[path_size];
    join(log_directory, directory, "log");
    mkdir(log_directory, 0777);
    GScanDirectory(log_directory, ScanDirCallback, nullptr);
    set_log_file_of_today(log_directory);

    GSetDllPath(directory);
    GSetComName(1, "/dev/ttyAMA0");
    GLogI("LoadLibrary, version = %s\r\n", version);
}

__attribute__((destructor)) void my_fini(void) {
    GLogI("FreeLibrary\r\n");
}
