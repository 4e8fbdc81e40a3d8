// Waiting for a card: what a terminal shows, and how Ctrl-C ends it.
#include <chrono>
#include <thread>

#include "tool_process.h"

namespace {

using namespace std::chrono_literals;
using namespace tool_tests;
using Clock = std::chrono::steady_clock;

const Surroundings on_terminal{{{"LC_ALL", "C.UTF-8"}}, false, true};

std::string read_until(const Process& process, const std::string& wanted) {
    std::string seen;
    const auto end = Clock::now() + 20s;
    while (seen.find(wanted) == std::string::npos && Clock::now() < end)
        seen += process.read_some_errors();
    EXPECT_NE(seen.find(wanted), std::string::npos) << seen;
    return seen;
}

class WaitingFor : public testing::TestWithParam<std::vector<std::string>> {};

// Each way to wait, in a reader without cards.
TEST_P(WaitingFor, ACardEndsWithCtrlC) {
    const Deck deck = empty_deck();
    std::vector<std::string> words = {"--timeout", "30", "--virtual", deck.path()};
    words.insert(words.end(), GetParam().begin(), GetParam().end());
    Process process(tool_program, words, on_terminal);
    read_until(process, "waiting for a");
    const auto begin = Clock::now();
    process.signal(SIGINT);
    const Finished run = process.finish();
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_EQ(run.status, 3) << run.errors;
    EXPECT_NE(run.errors.find("-1006 cancelled"), std::string::npos) << run.errors;
}

INSTANTIATE_TEST_SUITE_P(
    Tool, WaitingFor,
    testing::Values(std::vector<std::string>{"atr"}, std::vector<std::string>{"apdu", "0084000008"},
                    std::vector<std::string>{"card"}, std::vector<std::string>{"pay", "1.00"},
                    std::vector<std::string>{"logs"}, std::vector<std::string>{"ssc"},
                    std::vector<std::string>{"id"}, std::vector<std::string>{"m1", "dump"},
                    std::vector<std::string>{"m0", "read", "4"},
                    std::vector<std::string>{"track", "read"},
                    std::vector<std::string>{"track", "number"},
                    std::vector<std::string>{"track", "write", "--track2", "1=2"}));

TEST(Waiting, IsToldToProgramsAsCancelled) {
    const Deck deck = empty_deck();
    Process process(tool_program, {"--json", "--virtual", deck.path(), "atr"}, on_terminal);
    read_until(process, "waiting for a card");
    process.signal(SIGTERM);
    const Finished run = process.finish();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(error(json(run), "number"), "-1006");
}

TEST(Waiting, ShowsTheTimeLeftAndGoesAway) {
    const Deck deck = empty_deck();
    Process process(tool_program,
                    {"--timeout", "3", "--virtual", deck.path(), "atr", "--slot", "contact"},
                    on_terminal);
    const std::string seen = read_until(process, "2 s left");
    EXPECT_NE(seen.find("\rwaiting for a card, 3 s left, Ctrl-C ends\033[K"), std::string::npos);
    const Finished run = process.finish();
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("\r\033[Kdeskreader: RD_IcPowerOn: -4005 card absent"),
              std::string::npos)
        << run.errors;
}

TEST(Waiting, WithoutEndShowsNoTime) {
    const Deck deck = empty_deck();
    Process process(tool_program, {"--timeout", "0", "--virtual", deck.path(), "id"}, on_terminal);
    const std::string seen = read_until(process, "Ctrl-C ends");
    EXPECT_NE(seen.find("waiting for an identity card, Ctrl-C ends"), std::string::npos) << seen;
    process.signal(SIGINT);
    EXPECT_EQ(process.finish().status, 3);
}

TEST(Waiting, ShowsNothingElsewhere) {
    const Deck deck = empty_deck();
    const Finished run = tool({"--timeout", "2", "--virtual", deck.path(), "atr"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors.find("deskreader: RD_IcPowerOn: "), 0u) << run.errors;
    EXPECT_EQ(run.errors.find('\r'), std::string::npos);
}

TEST(Progress, OfADumpIsOnATerminalOnly) {
    const std::vector<std::string> words = {"--virtual", "--json",       "m1",    "dump",
                                            "--key",     "A0A1A2A3A4A5", "--key", "FFFFFFFFFFFF"};
    const Finished shown = tool(words, on_terminal);
    EXPECT_EQ(shown.status, 0);
    EXPECT_NE(shown.errors.find("\rsector 1 of 16\033[K"), std::string::npos) << shown.errors;
    EXPECT_NE(shown.errors.find("\rsector 16 of 16\033[K\r\033[K"), std::string::npos);
    const Finished silent = tool(words);
    EXPECT_EQ(silent.status, 0);
    EXPECT_EQ(silent.errors, "");
    EXPECT_EQ(silent.output, shown.output);
}

}  // namespace
