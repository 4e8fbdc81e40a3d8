// Parts of the tool that show best by themselves.
#include <cerrno>
#include <filesystem>

#include <errors.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <timings.h>
#include <virtual_process.h>

#include "kit/scratch.h"

namespace {

using namespace desk_tool;

TEST(Timings, HaveAMedianWithinAHundredth) {
    Timings timings;
    EXPECT_EQ(timings.median(), 0);
    for (int i = 1; i <= 1001; ++i)
        timings.add(i / 10.0);
    EXPECT_EQ(timings.count(), 1001u);
    EXPECT_DOUBLE_EQ(timings.minimum(), 0.1);
    EXPECT_DOUBLE_EQ(timings.maximum(), 100.1);
    EXPECT_NEAR(timings.median(), 50.1, 0.51);
}

TEST(Timings, TakeAnyTime) {
    Timings timings;
    timings.add(0);
    EXPECT_EQ(timings.median(), 0);
    timings.add(1e12);
    timings.add(1e12);
    EXPECT_EQ(timings.minimum(), 0);
    EXPECT_EQ(timings.maximum(), 1e12);
    EXPECT_GT(timings.median(), 100'000);
}

std::size_t open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

bool has_children() {
    return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

std::string words_of_failure(const std::vector<std::string>& arguments) {
    try {
        const VirtualProcess process(arguments);
        return "(started)";
    } catch (const ToolError& error) {
        return error.what();
    }
}

// The reader is looked for beside this program, and then on the PATH.
class VirtualProcessOnPath : public testing::Test {
  protected:
    VirtualProcessOnPath() { setenv("PATH", (directory_.path().string() + ":/bin").c_str(), 1); }

    void install(const std::string& script) {
        const auto program = directory_ / "virtual-reader";
        kit::write_file(program, script);
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }

    kit::ScratchDirectory directory_;
    std::size_t files_ = open_files();
};

TEST_F(VirtualProcessOnPath, LeavesNothingWhenThereIsNoProgram) {
    EXPECT_EQ(words_of_failure({}), "the virtual reader did not start");
    EXPECT_EQ(open_files(), files_);
    EXPECT_FALSE(has_children());
}

TEST_F(VirtualProcessOnPath, LeavesNothingWhenTheProgramRefuses) {
    install("#!/bin/sh\necho 'virtual-reader: no such deck' >&2\necho 'nor this' >&2\nexit 1\n");
    EXPECT_EQ(words_of_failure({"--deck", "x"}), "no such deck\nnor this");
    EXPECT_EQ(open_files(), files_);
    EXPECT_FALSE(has_children());
}

TEST_F(VirtualProcessOnPath, LeavesNothingWhenTheProgramIsNone) {
    install("#!/bin/sh\nexec 1>&-\nexec sleep 60\n");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(words_of_failure({}), "the virtual reader did not start");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(open_files(), files_);
    EXPECT_FALSE(has_children());
}

TEST_F(VirtualProcessOnPath, TellsWhatWasSaidUpToItsEnd) {
    install("#!/bin/sh\necho /dev/desk\ncat >/dev/null\necho 'virtual-reader: bye' >&2\n");
    {
        VirtualProcess process({});
        EXPECT_EQ(process.device(), "/dev/desk");
        EXPECT_EQ(process.end(), std::vector<std::string>{"bye"});
        EXPECT_EQ(process.end(), std::vector<std::string>{});
    }
    EXPECT_EQ(open_files(), files_);
    EXPECT_FALSE(has_children());
}

}  // namespace
