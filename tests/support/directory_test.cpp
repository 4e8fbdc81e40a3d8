#include <deskreader.h>

#include <map>

#include "kit/fake_clock.h"
#include "kit/scratch.h"

namespace {

using Seen = std::vector<std::pair<std::string, std::string>>;

int note(const char* name, const char* path, void* user) {
    static_cast<Seen*>(user)->emplace_back(name, path);
    return 0;
}

TEST(DirectoryScan, ShowsEveryEntryAndThePathsOfFiles) {
    const kit::ScratchDirectory directory;
    kit::write_file(directory / "a", "");
    kit::write_file(directory / "b", "");
    Seen seen;
    EXPECT_EQ(GScanDirectory(directory.path().c_str(), note, &seen), 0);
    std::map<std::string, std::string> entries(seen.begin(), seen.end());
    EXPECT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries["a"], (directory / "a").string());
    EXPECT_EQ(entries["b"], (directory / "b").string());
}

TEST(DirectoryScan, GivesOtherEntriesThePathOfTheLastFile) {
    const kit::ScratchDirectory directory;
    for (const char* name : {"d1", "d2", "d3"})
        std::filesystem::create_directory(directory / name);
    for (const char* name : {"f1", "f2", "f3"})
        kit::write_file(directory / name, "");
    Seen seen;
    GScanDirectory(directory.path().c_str(), note, &seen);
    ASSERT_EQ(seen.size(), 6u);
    std::string last;
    for (const auto& [name, path] : seen) {
        if (name[0] == 'f') last = (directory / name).string();
        EXPECT_EQ(path, last) << name;
    }
}

TEST(DirectoryScan, StopsAtTheFirstResultThatIsNotNought) {
    const kit::ScratchDirectory directory;
    for (const char* name : {"a", "b", "c"})
        kit::write_file(directory / name, "");
    int calls = 0;
    const auto stop = [](const char*, const char*, void* user) {
        return ++*static_cast<int*>(user) == 2 ? 7 : 0;
    };
    EXPECT_EQ(GScanDirectory(directory.path().c_str(), stop, &calls), 7);
    EXPECT_EQ(calls, 2);
}

TEST(DirectoryScan, RefusesNullAndWhatIsNoDirectory) {
    Seen seen;
    EXPECT_EQ(GScanDirectory(nullptr, note, &seen), -22);
    EXPECT_EQ(GScanDirectory("/", nullptr, &seen), -22);
    EXPECT_EQ(GScanDirectory("/nonexistent", note, &seen), -99);
    EXPECT_TRUE(seen.empty());
}

class LogCleanUp : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        kit::write_file(file(), "");
    }

    // Whether a file of this name is deleted on 16 March 2024, `seconds` after midnight.
    bool deletes(const char* name, long seconds) {
        constexpr std::time_t midnight = 1'710'547'200;
        clock_.set_wall_time(midnight + seconds);
        kit::write_file(file(), "");
        EXPECT_EQ(ScanDirCallback(name, file().c_str(), nullptr), 0);
        return !std::filesystem::exists(file());
    }

    std::string file() const { return (directory_ / "file").string(); }

    kit::ScratchDirectory directory_;
    kit::FakeClock clock_;
};

TEST_F(LogCleanUp, KeepsFifteenDaysByDefault) {
    const kit::ConfigFile config;
    EXPECT_FALSE(deletes("sd_20240316.log", 1));
    EXPECT_FALSE(deletes("sd_20240302.log", 3600));
    EXPECT_FALSE(deletes("sd_20240301.log", 0)) << "exactly fifteen days";
    EXPECT_TRUE(deletes("sd_20240301.log", 1));
    EXPECT_TRUE(deletes("sd_20200101.log", 1));
}

TEST_F(LogCleanUp, ReadsTheDaysForEveryEntry) {
    const kit::ConfigFile config("[log]\nsaveday=2\n");
    EXPECT_TRUE(deletes("sd_20240313.log", 1));
    config.write("[log]\nsaveday=30\n");
    EXPECT_FALSE(deletes("sd_20240313.log", 1));
}

TEST_F(LogCleanUp, HasAnUpperBoundOnly) {
    const kit::ConfigFile config("[log]\nsaveday=1000\n");
    EXPECT_FALSE(deletes("sd_20230317.log", 0));
    EXPECT_TRUE(deletes("sd_20230316.log", 0));
    config.write("[log]\nsaveday=0\n");
    EXPECT_TRUE(deletes("sd_20240316.log", 1));
    config.write("[log]\nsaveday=-10\n");
    EXPECT_TRUE(deletes("sd_20240320.log", 0));
}

TEST_F(LogCleanUp, GoesByTheDigitsAlone) {
    const kit::ConfigFile config;
    EXPECT_TRUE(deletes("sd_20200101.txt", 1));
    EXPECT_TRUE(deletes("sd_20200101", 1));
    for (const char* name :
         {"sd_2020.log", "sd_202001.log", "sd_x.log", "xsd_20200101.log", "notes", ""}) {
        EXPECT_FALSE(deletes(name, 1)) << name;
    }
}

}  // namespace
