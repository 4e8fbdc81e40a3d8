// What happens when a host loads and unloads the library.
#include <deskreader.h>

#include <regex>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "loaded_library.h"

namespace fs = std::filesystem;

namespace {

class LibraryLoad : public LoadedLibrary {
  protected:
    LibraryLoad() : LoadedLibrary(DESKREADER_FILE) {}
};

TEST_F(LibraryLoad, WithoutConfigurationMakesTheLogDirectoryAndLogsNothing) {
    const mode_t mask = umask(022);
    load();
    umask(mask);
    EXPECT_TRUE(fs::is_directory(log_directory()));
    EXPECT_EQ(fs::status(log_directory()).permissions(), fs::perms(0755));
    EXPECT_TRUE(fs::is_empty(log_directory()));
}

TEST_F(LibraryLoad, LogsLoadAndUnloadAtInformationLevel) {
    configure("[log]\nloglevel=2\n");
    load();
    unload();
    EXPECT_TRUE(std::regex_match(
        log_of_today(),
        std::regex("Info\\(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\):LoadLibrary, version = "
                   "V2\\.1\\.56\\.1\r\n"
                   "Info\\(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\):FreeLibrary\r\n")))
        << log_of_today();
}

TEST_F(LibraryLoad, TakesItsDirectoryFromItsOwnFile) {
    load();
    char path[1024] = "";
    find<decltype(GGetDllPath)>("GGetDllPath")(sizeof path, path);
    EXPECT_EQ(path, directory_.string());
}

TEST_F(LibraryLoad, ReadsTheConfigurationBesideItself) {
    configure("[devcfg]\nIdBaud=57600\n");
    load();
    int value = 0;
    find<decltype(GGetConfigInt)>("GGetConfigInt")("devcfg", "IdBaud", 9600, &value);
    EXPECT_EQ(value, 57600);
}

TEST_F(LibraryLoad, KeepsFifteenDaysOfLogs) {
    for (const int days : {0, 1, 14, 15, 16, 400})
        leave_log(log_name(days));
    load();
    EXPECT_TRUE(has_log(log_name(0)));
    EXPECT_TRUE(has_log(log_name(1)));
    EXPECT_TRUE(has_log(log_name(14)));
    EXPECT_FALSE(has_log(log_name(15)));
    EXPECT_FALSE(has_log(log_name(16)));
    EXPECT_FALSE(has_log(log_name(400)));
}

TEST_F(LibraryLoad, SavedayNoughtDeletesTheLogOfToday) {
    configure("[log]\nloglevel=2\nsaveday=0\n");
    leave_log(log_name(0));
    load();
    EXPECT_EQ(log_of_today().find("old"), std::string::npos);
    EXPECT_NE(log_of_today().find("LoadLibrary"), std::string::npos);
}

TEST_F(LibraryLoad, SavedayAboveAYearCountsAsAYear) {
    configure("[log]\nsaveday=1000\n");
    leave_log(log_name(364));
    leave_log(log_name(367));
    load();
    EXPECT_TRUE(has_log(log_name(364)));
    EXPECT_FALSE(has_log(log_name(367)));
}

TEST_F(LibraryLoad, CleansUpByDateInTheNameAlone) {
    leave_log("sd_20200101.txt");
    leave_log("sd_2020.log");
    leave_log("notes.log");
    load();
    EXPECT_FALSE(has_log("sd_20200101.txt"));
    EXPECT_TRUE(has_log("sd_2020.log"));
    EXPECT_TRUE(has_log("notes.log"));
}

TEST_F(LibraryLoad, CleansUpAgainOnEveryLoad) {
    load();
    unload();
    leave_log(log_name(20));
    load();
    EXPECT_FALSE(has_log(log_name(20)));
}

TEST_F(LibraryLoad, LetsAHostRunBothEndsItself) {
    configure("[log]\nloglevel=2\n");
    load();
    const auto count = [this](std::string_view message) {
        int found = 0;
        const std::string log = log_of_today();
        for (std::size_t at = log.find(message); at != std::string::npos;
             at = log.find(message, at + 1)) {
            ++found;
        }
        return found;
    };
    const auto init = find<decltype(my_init)>("my_init");
    const auto fini = find<decltype(my_fini)>("my_fini");
    fini();
    EXPECT_EQ(count("):FreeLibrary\r\n"), 1);
    init();
    EXPECT_EQ(count("):LoadLibrary, version = V2.1.56.1\r\n"), 2);
    configure("[log]\nloglevel=0\n");
    init();
    fini();
    EXPECT_EQ(count("LoadLibrary") + count("FreeLibrary"), 3) << "the level was read afresh";
}

TEST_F(LibraryLoad, CanBeLoadedUsedAndUnloadedManyTimes) {
    for (int round = 0; round < 20; ++round) {
        load();
        char text[4];
        const unsigned char bytes[] = {0xAB, 0x01};
        EXPECT_EQ(find<decltype(GByte2Hex)>("GByte2Hex")(bytes, 2, text, sizeof text), 4);
        EXPECT_EQ(std::string_view(text, 4), "AB01");
        unload();
    }
}

}  // namespace
