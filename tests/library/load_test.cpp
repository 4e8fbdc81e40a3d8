// What happens when a host loads and unloads the library: each test loads a copy of it from a
// directory of its own, in a process of its own.
#include <deskreader.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class LibraryLoad : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "deskreader-load-XXXXXX").string();
        directory_ = mkdtemp(name.data());
        fs::copy_file(DESKREADER_FILE, library());
    }

    void TearDown() override {
        unload();
        fs::remove_all(directory_);
    }

    void load() {
        handle_ = dlopen(library().c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
    }

    void unload() {
        if (handle_ != nullptr) dlclose(handle_);
        handle_ = nullptr;
    }

    template <class Function>
    Function* find(const char* name) {
        return reinterpret_cast<Function*>(dlsym(handle_, name));
    }

    fs::path library() const { return directory_ / "libdeskreader.so"; }
    fs::path log_directory() const { return directory_ / "log"; }

    void configure(const std::string& text) const {
        std::ofstream(directory_ / "config.ini") << text;
    }

    // The name of the log of a day so many days ago.
    static std::string log_name(int days_ago) {
        std::time_t moment = std::time(nullptr);
        std::tm day{};
        localtime_r(&moment, &day);
        day.tm_hour = 12;
        day.tm_mday -= days_ago;
        moment = mktime(&day);
        localtime_r(&moment, &day);
        char name[32];
        std::strftime(name, sizeof name, "sd_%Y%m%d.log", &day);
        return name;
    }

    void leave_log(const std::string& name) const {
        fs::create_directories(log_directory());
        std::ofstream(log_directory() / name) << "old\n";
    }

    bool has_log(const std::string& name) const { return fs::exists(log_directory() / name); }

    std::string log_of_today() const {
        std::ifstream file(log_directory() / log_name(0));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path directory_;
    void* handle_ = nullptr;
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
