// What the library finds in the place of its config.ini and its log.
#include <deskreader.h>

#include <atomic>

#include <unistd.h>

#include "kit/child.h"
#include "kit/scratch.h"
#include "robustness/bench.h"

namespace {

using kit::Link;
using namespace robustness;

std::string lines(const char* name, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += name + std::to_string(i) + "=" + std::to_string(i) + "\n";
    return text;
}

class ConfigAndLog : public testing::TestWithParam<Link> {
  protected:
    // A flow that reads the configuration at every step: the frame of its commands.
    void expect_work(int frame) {
        char text[512] = "";
        int length = 0;
        int kind = 0;
        ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        EXPECT_EQ(RD_GetDevInfo(0, text, &length), 0);
        EXPECT_STREQ(text, "DESK READER VIRTUAL 1.0");
        EXPECT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0);
        // Known to the Union frame only.
        EXPECT_EQ(RD_CardDetect(&kind), frame == 1 ? 0 : -1008);
        EXPECT_EQ(RD_Close(), 0);
    }

    kit::LogFile log_{0};
    Bench bench_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, ConfigAndLog, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(ConfigAndLog, WithoutAFileAllIsAsByDefault) {
    const kit::ConfigFile config;
    expect_work(0);
    EXPECT_FALSE(std::filesystem::exists(config.path()));
}

TEST_P(ConfigAndLog, AnEmptyFileIsNone) {
    const kit::ConfigFile config("");
    expect_work(0);
}

TEST_P(ConfigAndLog, WhatCannotBeReadIsNone) {
    const kit::ConfigFile config;
    std::filesystem::create_directory(config.path());
    expect_work(0);
    EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", "1"), 0);
    EXPECT_TRUE(std::filesystem::is_directory(config.path()));
}

TEST_P(ConfigAndLog, AFileWithoutRightsIsNone) {
    if (geteuid() == 0) GTEST_SKIP() << "a privileged process reads it all the same";
    const kit::ConfigFile config("[devcfg]\nIccmd=1\n");
    std::filesystem::permissions(config.path(), std::filesystem::perms::none);
    expect_work(0);
}

TEST_P(ConfigAndLog, LineEndsMayBeThoseOfOtherSystems) {
    const kit::ConfigFile config("[devcfg]\r\nIccmd=1\r\n");
    expect_work(1);
}

TEST_P(ConfigAndLog, LinesMayBeLong) {
    const std::string filler(10'000, 'x');
    const kit::ConfigFile config(filler + "\n[devcfg]\n;" + filler +
                                 "\nIccmd=1\nDevBaud=" + std::string(10'000, '9') + "\n");
    char value[256] = "";
    EXPECT_EQ(GGetConfigString("devcfg", "DevBaud", "", value, sizeof value), 0);
    EXPECT_EQ(std::string(value), std::string(247, '9')) << "a piece has 255 bytes";
    GSetConfigString("devcfg", "DevBaud", "9600");
    GSetConfigString("devcfg", "Iccmd", "0");
    const std::string content = config.content();
    EXPECT_TRUE(
        content.starts_with(filler + "\n[devcfg]\n;" + filler + "\nIccmd=0\nDevBaud=9600\n"));
    constexpr std::size_t long_line = 8 + 10'000 + 1;  // of which the first piece is replaced
    EXPECT_EQ(content.size(), 2 * filler.size() + 11 + 22 + long_line - 255);
}

// A flow that changes the frame writes the file anew.
TEST_P(ConfigAndLog, GroupsMayHaveManyLines) {
    for (const int count : {20, 21, 22, 100, 1000}) {
        const std::string before = lines("before", count);
        const std::string after = lines("after", count);
        const kit::ConfigFile config(before + "[devcfg]\n" + lines("a", count) + "Iccmd=0\n" +
                                     after);
        ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        bench_.add_fault("status bytes C3");
        char text[4102];
        int kind = 0;
        EXPECT_EQ(RD_ICGetDetail_KP(&kind, nullptr, 0, text, 1), 0) << count;
        EXPECT_EQ(config.content(),
                  before + "[devcfg]\n" + lines("a", count) + "Iccmd=1\n" + after);
        RD_Close();
        expect_work(1);
        bench_.heal();
    }
}

TEST_P(ConfigAndLog, TheFileMayBeReplacedMeanwhile) {
    const kit::ConfigFile config("[devcfg]\nIccmd=0\nDevBaud=9600\n");
    std::atomic<int> replaced = 0;
    std::jthread editor([&](const std::stop_token& stop) {
        const auto other = config.path().parent_path() / "edited.ini";
        for (; !stop.stop_requested(); ++replaced) {
            kit::write_file(other,
                            lines("x", replaced % 500) + "[devcfg]\nIccmd=0\nDevBaud=9600\n");
            std::filesystem::rename(other, config.path());
        }
    });
    for (int round = 0; round < 20 || replaced < 20; ++round) {
        expect_work(0);
        int value = 0;
        EXPECT_EQ(GGetConfigInt("devcfg", "DevBaud", 9600, &value), 0);
        EXPECT_EQ(value, 9600) << "of the one file or of the other";
    }
}

// Kept: a log that cannot be written stops the host at its next message; without messages it works.
TEST_P(ConfigAndLog, ALogInAMissingDirectory) {
    const kit::ConfigFile config("");
    const kit::ScratchDirectory directory;
    ASSERT_EQ(GSetLogFilePath((directory / "log/desk.log").c_str()), 0);
    expect_work(0);
    const auto end = kit::run_in_child(std::chrono::milliseconds(300), [] {
        GSetLogLevel(1);
        GLogE("first\r\n");
        GLogE("second\r\n");
    });
    EXPECT_TRUE(end.timed_out);
    expect_work(0);
}

TEST(ConfigMistakes, NullPointersAreRefused) {
    const kit::ConfigFile config("[devcfg]\nIccmd=0\n");
    char value[256] = "kept";
    const std::string path = config.path();
    EXPECT_EQ(GGetConfigInt("devcfg", "Iccmd", 1, nullptr), -22);
    EXPECT_EQ(GGetDllPath(1024, nullptr), -22);
    EXPECT_EQ(_IniReadValue(nullptr, "Iccmd", "", value, path.c_str()), -22);
    EXPECT_EQ(_IniReadValue("devcfg", nullptr, "", value, path.c_str()), -22);
    EXPECT_EQ(_IniReadValue("devcfg", "Iccmd", nullptr, value, path.c_str()), -22);
    EXPECT_EQ(_IniReadValue("devcfg", "Iccmd", "", nullptr, path.c_str()), -22);
    EXPECT_EQ(_IniWriteValue(nullptr, "Iccmd", "1", path.c_str()), -22);
    EXPECT_EQ(_IniWriteValue("devcfg", nullptr, "1", path.c_str()), -22);
    EXPECT_EQ(_IniWriteValue("devcfg", "Iccmd", nullptr, path.c_str()), -22);
    EXPECT_STREQ(value, "kept");
    EXPECT_EQ(config.content(), "[devcfg]\nIccmd=0\n");
    EXPECT_EQ(_IniReadValue("devcfg", "Iccmd", "none", value, nullptr), 0);
    EXPECT_STREQ(value, "none") << "no path, no file";
}

}  // namespace
