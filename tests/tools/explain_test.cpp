// "decode" and "log" as they are run.
#include <regex>

#include "tool_process.h"

namespace {

using namespace tool_tests;

constexpr const char* log_text =
    "Info(2026-11-21 09:30:00):Send szPackage: 3630303245313031383203\r\n"
    "Info(2026-11-21 09:30:02):Read Pack(len=9): 363030314642394103\r\n"
    "Info(2026-11-21 09:30:02):Exit IC_GetInfo, ret = -4005\r\n"
    "Info(2026-11-21 09:30:02):Exit IC_GetInfo, ret = -22\r\n";

// A log that goes with its scope. A deck is such a file too.
using Log = Deck;

TEST(Decode, ExplainsWhatItIsGiven) {
    const Finished run = tool({"decode", "9F02:06:000000000012", "0x5F2A020156"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "data objects  14 bytes\n"
              "  9F02  Amount, authorised  000000000012  0.12\n"
              "  5F2A  Transaction currency code  0156  156 CNY Yuan Renminbi\n");
}

TEST(Decode, ReadsItsStandardInput) {
    Process process(tool_program, {"decode", "-"});
    process.write_line("6A");
    process.write_line("82");
    EXPECT_EQ(process.finish().output, "response\n  SW  6A82  file or application not found\n");
}

TEST(Decode, TakesItForWhatItIsTold) {
    EXPECT_EQ(tool({"decode", "--as", "tlv", "9000"}).output,
              "data objects  2 bytes\n  90  Issuer public key certificate\n");
    EXPECT_EQ(tool({"decode", "--as", "music", "9000"}).status, 2);
}

TEST(Decode, TellsPrograms) {
    EXPECT_EQ(tool({"--json", "decode", "6A82"}).output,
              R"({"kind":"apdu","decoded":[{"label":"response","parts":[{"label":"SW",)"
              R"("bytes":"6A82","meaning":"file or application not found","problem":true}]}]})"
              "\n");
}

TEST(Decode, SaysWhatItCannotRead) {
    EXPECT_EQ(tool({"decode", "9"}).errors, "deskreader: character 2 ends half a byte\n");
    const Finished run = tool({"decode", "42"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "deskreader: these bytes look like nothing known; --as tlv|atr|apdu|frame says what "
              "they are\n");
    EXPECT_EQ(tool({"decode"}).status, 2);
}

TEST(Decode, StandsWithoutIsoCodes) {
    const Finished run = tool({"decode", "5F2A020156"},
                              {{{"LC_ALL", "C.UTF-8"}, {"XDG_DATA_DIRS", "/nonexistent"}}});
    EXPECT_EQ(run.output, "data objects  5 bytes\n  5F2A  Transaction currency code  0156  156\n");
}

TEST(Decode, IsColouredOnATerminalAlone) {
    EXPECT_EQ(tool({"decode", "9000"}).output.find('\033'), std::string::npos);
    const Surroundings terminal{{{"LC_ALL", "C.UTF-8"}, {"TERM", "xterm"}, {"NO_COLOR", ""}}, true};
    EXPECT_NE(tool({"decode", "9000"}, terminal).output.find("\033[32mdone\033[0m"),
              std::string::npos);
    const Surroundings plain{{{"LC_ALL", "C.UTF-8"}, {"TERM", "xterm"}, {"NO_COLOR", "1"}}, true};
    EXPECT_EQ(tool({"decode", "9000"}, plain).output.find('\033'), std::string::npos);
}

TEST(Log, IsExplainedInBothLanguages) {
    const Log log(log_text);
    const Finished run = tool({"log", log.path()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "2026-11-21 09:30:00  > power on, contact\n"
              "    IC frame  command  2 bytes\n"
              "      power on, contact  E101\n"
              "      check  82  right\n"
              "2026-11-21 09:30:02  < no card\n"
              "    IC frame  reply  1 byte\n"
              "      status  FB  no card\n"
              "      check  9A  right\n"
              "2026-11-21 09:30:02    Exit IC_GetInfo, ret = -4005 (card absent, 卡片不在卡槽中)\n"
              "2026-11-21 09:30:02    Exit IC_GetInfo, ret = -22 (invalid argument, 参数异常)\n"
              "4 lines: 1 command, 0 without an answer, 2 other messages, 0 damaged\n");
}

TEST(Log, IsATimelineForPeopleAndPrograms) {
    const Log log(log_text);
    EXPECT_EQ(tool({"log", "--timeline", log.path()}).output,
              "2026-11-21 09:30:00           2 s  power on, contact  ->  no card\n"
              "4 lines: 1 command, 0 without an answer, 2 other messages, 0 damaged\n");
    EXPECT_EQ(tool({"--json", "log", "--timeline", log.path()}).output,
              R"({"entries":[{"line":1,"time":"2026-11-21 09:30:00","took_s":2,)"
              R"("sent":"power on, contact","answer":"no card","answered":true}],)"
              R"("lines":4,"commands":1,"answered":1,"other":2,"damaged":0})"
              "\n");
}

TEST(Log, IsMaskedUnlessAskedOtherwise) {
    const Log log("Info(2026-11-21 09:30:00):szTrack2data = 6222021234567890=2512\r\n");
    EXPECT_EQ(tool({"log", log.path()}).output.substr(0, 60),
              "2026-11-21 09:30:00    szTrack2data = *********************\n");
    EXPECT_EQ(tool({"log", "--unmasked", log.path()}).output.substr(0, 60),
              "2026-11-21 09:30:00    szTrack2data = 6222021234567890=2512\n");
}

TEST(Log, ThatIsNotThereIsSaidToBe) {
    const Finished run = tool({"log", "/nonexistent.log"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: /nonexistent.log: cannot be read\n");
    EXPECT_EQ(tool({"log", "/"}).status, 1);
}

TEST(Explaining, HasExamples) {
    EXPECT_NE(tool({"decode", "--help"}).output.find("Examples:\n  deskreader decode 9F02"),
              std::string::npos);
    EXPECT_NE(tool({"log", "--help"}).output.find("Examples:\n  deskreader log sd_20261121.log"),
              std::string::npos);
}

// Every number that the library has a message for has an English name, too.
TEST(Explaining, KnowsEveryMessageInBothLanguages) {
    std::string text;
    for (int number = -1; number > -5200; --number)
        text += "Info(2026-11-21 09:30:00):ret = " + std::to_string(number) + "\n";
    const Log log(text);
    const std::string output = tool({"log", log.path()}).output;
    const std::regex nameless("[(]error, (?!其他错误)");
    EXPECT_FALSE(std::regex_search(output, nameless));
    EXPECT_NE(output.find("ret = -4116 (error, 其他错误)\n"), std::string::npos);
    EXPECT_NE(output.find("ret = -5015 (invalid key type, 密钥类型不对，应为0x60或者0x61)\n"),
              std::string::npos);
}

}  // namespace
