#include <deskreader.h>

#include <cstdarg>
#include <regex>

#include "kit/child.h"
#include "kit/fake_clock.h"
#include "kit/scratch.h"

namespace {

using kit::LogFile;
using namespace std::chrono_literals;

constexpr std::time_t noon = 1'709'636'822;  // 2024-03-05 11:07:02 UTC

class Log : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "UTC-1", 1);  // an hour ahead of UTC
        tzset();
        clock_.set_wall_time(noon);
    }

    kit::FakeClock clock_;
};

TEST_F(Log, InformationLineIsPrefixInLocalTimeAndTheTextAsItIs) {
    const LogFile log;
    EXPECT_EQ(GLogI("abc\r\n"), 0);
    EXPECT_EQ(log.content(), "Info(2024-03-05 12:07:02):abc\r\n");
}

TEST_F(Log, ErrorLineHasItsOwnPrefix) {
    const LogFile log;
    EXPECT_EQ(GLogE("iErrorCode = %d\r\n", -19), 0);
    EXPECT_EQ(log.content(), "Error(2024-03-05 12:07:02):iErrorCode = -19\r\n");
}

TEST_F(Log, PrefixesAre26And27BytesLong) {
    const LogFile log;
    GLogI("x");
    EXPECT_EQ(log.content().size(), 26u + 1);
    GLogE("y");
    EXPECT_EQ(log.content().size(), 26u + 1 + 27 + 1);
}

TEST_F(Log, MessageHasNoLengthLimit) {
    const LogFile log;
    const std::string text(100'000, 'z');
    EXPECT_EQ(GLogI("%s", text.c_str()), 0);
    EXPECT_EQ(log.content(), "Info(2024-03-05 12:07:02):" + text);
}

TEST_F(Log, LevelOneLogsErrorsOnly) {
    const LogFile log(1);
    EXPECT_EQ(GLogI("no"), -22);
    EXPECT_EQ(log.content(), "");
    EXPECT_EQ(GLogE("yes"), 0);
    EXPECT_EQ(log.content(), "Error(2024-03-05 12:07:02):yes");
}

TEST_F(Log, LevelZeroAndBelowLogNothing) {
    for (const int level : {0, -1}) {
        const LogFile log(level);
        EXPECT_EQ(GLogI("no"), -22);
        EXPECT_EQ(GLogE("no"), -22);
        EXPECT_FALSE(std::filesystem::exists(log.path()));
    }
}

TEST_F(Log, LevelsAboveTwoAreLikeTwo) {
    const LogFile log(99);
    EXPECT_EQ(GLogI("yes"), 0);
}

TEST_F(Log, LevelIsStoredWhateverItIs) {
    EXPECT_EQ(GSetLogLevel(-2147483647), 0);
    EXPECT_EQ(GSetLogLevel(2147483647), 0);
}

TEST_F(Log, NullFormatIsRefused) {
    const LogFile log;
    const char* none = nullptr;
    EXPECT_EQ(GLogI(none, 0), -22);
    EXPECT_EQ(GLogE(none, 0), -22);
    EXPECT_FALSE(std::filesystem::exists(log.path()));
}

TEST_F(Log, NullPathIsRefusedAndTheOldOneStays) {
    const LogFile log;
    EXPECT_EQ(GSetLogFilePath(nullptr), -22);
    GLogI("still here");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Info:still here"});
}

TEST_F(Log, PathTooLongForItsFieldIsCut) {
    const std::string path(1000, 'p');
    EXPECT_EQ(GSetLogFilePath(path.c_str()), 0);
}

TEST_F(Log, EveryKindButOneIsInformation) {
    const LogFile log;
    for (const int kind : {1, 2, 5, 0, -1})
        EXPECT_EQ(GDbgPrintStr(kind, "x"), 0);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"Error:x", "Info:x", "Info:x", "Info:x", "Info:x"}));
}

TEST_F(Log, PrintingIgnoresTheLevel) {
    const LogFile log(0);
    EXPECT_EQ(GDbgPrintStr(1, "x"), 0);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Error:x"});
}

TEST_F(Log, NullTextIsRefused) {
    EXPECT_EQ(GDbgPrintStr(1, nullptr), -22);
}

TEST_F(Log, EmptyMessageWritesItsPrefixAndIsRefused) {
    const LogFile log;
    EXPECT_EQ(GLogI("%s", ""), -22);
    EXPECT_EQ(log.content(), "Info(2024-03-05 12:07:02):");
}

TEST_F(Log, UnwritableFileFailsBeforeTheText) {
    const kit::ScratchDirectory directory;
    GSetLogFilePath((directory / "missing/desk.log").c_str());
    EXPECT_EQ(GDbgPrintStr(1, "x"), -99);
}

TEST_F(Log, AppendTakesTheDataUpToTheirZero) {
    const LogFile log;
    EXPECT_EQ(_GAppendDataToLogFile(log.path().c_str(), "one\0two", 7), 0);
    EXPECT_EQ(_GAppendDataToLogFile(log.path().c_str(), "three", 1), 0);
    EXPECT_EQ(log.content(), "onethree");
}

// After each of these the next message waits for ever.
void expect_the_next_message_to_hang(const std::function<void()>& first) {
    const kit::ChildEnd end = kit::run_in_child(300ms, [&] {
        first();
        GDbgPrintStr(1, "x");
    });
    EXPECT_TRUE(end.timed_out);
}

TEST(LogLock, StaysHeldAfterAnEmptyMessage) {
    const LogFile log;
    expect_the_next_message_to_hang([] { GLogI("%s", ""); });
}

TEST(LogLock, StaysHeldAfterAFileThatCannotBeOpened) {
    expect_the_next_message_to_hang([] {
        EXPECT_EQ(_GAppendDataToLogFile("/nonexistent/desk.log", "x", 1), -2);
        const LogFile log;
    });
}

TEST(LogLock, StaysHeldAfterAMissingArgument) {
    const LogFile log;
    expect_the_next_message_to_hang([] { EXPECT_EQ(_GAppendDataToLogFile(nullptr, "x", 1), -22); });
    expect_the_next_message_to_hang(
        [&] { EXPECT_EQ(_GAppendDataToLogFile(log.path().c_str(), nullptr, 1), -22); });
    expect_the_next_message_to_hang(
        [&] { EXPECT_EQ(_GAppendDataToLogFile(log.path().c_str(), "x", 0), -22); });
}

TEST(LogLock, IsFreeAgainAfterAMessage) {
    const LogFile log;
    const kit::ChildEnd end = kit::run_in_child(5s, [] {
        for (int i = 0; i < 10; ++i)
            GLogI("x");
    });
    EXPECT_EQ(end.exit_status, 0);
}

TEST(LogThreads, NoFragmentIsLost) {
    const LogFile log;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([] {
                for (int i = 0; i < 25; ++i)
                    GLogI("[message]");
            });
        }
    }
    const std::string content = log.content();
    const auto count = [&](const char* pattern) {
        const std::regex expression(pattern);
        return std::distance(std::sregex_iterator(content.begin(), content.end(), expression),
                             std::sregex_iterator());
    };
    EXPECT_EQ(count(R"(Info\(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\):)"), 100);
    EXPECT_EQ(count(R"(\[message\])"), 100);
    EXPECT_EQ(content.size(), 100u * (26 + 9));
}

int format(char** out, const char* pattern, ...) {
    va_list args;
    va_start(args, pattern);
    const int result = _Safe_vasprintf(out, pattern, args);
    va_end(args);
    return result;
}

TEST(SafeFormat, AllocatesExactlyTheText) {
    char* text = nullptr;
    EXPECT_EQ(format(&text, "%s-%03d", "A", 7), 0);
    EXPECT_STREQ(text, "A-007");
    std::free(text);
}

TEST(SafeFormat, AnEmptyTextIsAText) {
    char* text = nullptr;
    EXPECT_EQ(format(&text, "%s", ""), 0);
    EXPECT_STREQ(text, "");
    std::free(text);
}

}  // namespace
