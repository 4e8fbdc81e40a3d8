// What the tool says of itself, how it ends, and what shells complete.
#include <algorithm>
#include <set>
#include <sstream>

#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;

// Every command, with its groups.
constexpr const char* commands[] = {
    "info",
    "beep",
    "reset",
    "sn",
    "atr",
    "apdu",
    "monitor",
    "card",
    "pay",
    "logs",
    "ssc",
    "track read",
    "track write",
    "track number",
    "id",
    "m1 dump",
    "m1 read",
    "m1 write",
    "m1 value read",
    "m1 value write",
    "m1 value increase",
    "m1 value decrease",
    "m0 read",
    "m0 write",
    "m0 verify",
    "doctor",
    "stress",
    "record",
    "tour",
    "decode",
    "log",
    "completion",
    "help",
};

std::vector<std::string> words_of(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

TEST(Help, HasExamplesForEveryCommand) {
    for (const char* command : commands) {
        auto words = words_of(command);
        words.emplace_back("--help");
        const Finished run = tool(words);
        EXPECT_EQ(run.status, 0) << command;
        const std::size_t at = run.output.find("Examples:\n  deskreader ");
        ASSERT_NE(at, std::string::npos) << command << run.output;
        EXPECT_NE(run.output.find(command, at), std::string::npos) << command << run.output;
        words.pop_back();
        words.insert(words.begin(), "help");
        EXPECT_EQ(tool(words).output, run.output) << command;
    }
}

// All examples that a virtual reader can serve are run as they stand, but for their link.
TEST(Help, HasExamplesThatAreAccepted) {
    for (const char* command : commands) {
        auto words = words_of(command);
        words.emplace_back("--help");
        std::istringstream help(tool(words).output);
        bool in_examples = false;
        for (std::string line; std::getline(help, line);) {
            if (line == "Examples:") in_examples = true;
            if (!in_examples || line.find("  deskreader ") != 0) continue;
            auto example = words_of(line.substr(0, line.find('>')));
            example.erase(example.begin());
            example.insert(example.begin(), "--help");  // after which nothing is run
            EXPECT_EQ(tool(example).status, 0) << line;
        }
    }
}

TEST(Help, ListsTheExitCodes) {
    const Finished run = tool({"help", "exit-codes"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output,
              "Exit codes:\n"
              "    0  done; also monitor and stress that were interrupted\n"
              "    1  the reader, the card or the tool could not do it; standard error says why\n"
              "    2  wrong use: the command line, or DESKREADER_LINK\n"
              "    3  Ctrl-C (or SIGTERM) ended it before it was done\n"
              "    4  doctor found a problem; warnings alone are 0\n"
              "    5  done, but the host strayed from the recording behind replay:\n"
              "  126  record: the command cannot be run; otherwise its own status is given\n"
              "  127  record: the command was not found\n"
              "  128  and more: record's command was ended by signal 1, 2, ...\n");
    EXPECT_NE(tool({"--help"}).output.find(run.output), std::string::npos);
    EXPECT_EQ(text(json(tool({"--json", "help", "exit-codes"})), "help"), run.output);
}

TEST(Help, ExplainsLinks) {
    const Finished run = tool({"help", "links"});
    for (const char* form :
         {"hid:", "serial:DEVICE", "virtual:DECK", "replay:FILE", "DESKREADER_LINK"})
        EXPECT_NE(run.output.find(form), std::string::npos) << form;
}

TEST(Help, KnowsWhatItDoesNotKnow) {
    const Finished run = tool({"help", "dancing", "lessons"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "deskreader: there is no help on dancing lessons\n");
    EXPECT_EQ(tool({"help"}).output, tool({"--help"}).output);
}

TEST(Output, ThatCannotBeWrittenIsAFailure) {
    const Surroundings full{{{"LC_ALL", "C.UTF-8"}}, false, false, "/dev/full"};
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--help"},
                                               {"sn", "--help"},
                                               {"help", "exit-codes"},
                                               {"completion", "bash"},
                                               {"--virtual", "sn"},
                                               {"--virtual", "--json", "sn"},
                                               {"--virtual", "m1", "dump", "--sector", "1"}}) {
        const Finished run = tool(words, full);
        EXPECT_EQ(run.status, 1) << words.front();
        EXPECT_EQ(run.errors, "deskreader: the output could not be written\n") << words.front();
    }
}

TEST(Options, OutOfRangeAreNamedWithTheirRange) {
    const auto complaint = [](const std::vector<std::string>& words) {
        const Finished run = tool(words);
        EXPECT_EQ(run.status, 2);
        return run.errors.substr(0, run.errors.find('\n'));
    };
    EXPECT_EQ(complaint({"--timeout", "-1", "info"}),
              "--timeout: Value -1 not in range 0 to 1000000");
    EXPECT_EQ(complaint({"--timeout", "99999999999999999999", "info"}),
              "--timeout: Value 99999999999999999999 not in range 0 to 1000000");
    EXPECT_EQ(complaint({"monitor", "--count", "0"}), "--count: Value 0 not in range 1 to 1000000");
    EXPECT_EQ(complaint({"--virtual", "sn", "--set", ""}), "--set: expected 1 to 32 characters");
}

// What bash would offer for a line.
std::string completed(const std::string& script, const std::vector<std::string>& words) {
    std::string line = "source " + script + "; COMP_WORDS=(deskreader";
    for (const std::string& word : words)
        line += " '" + word + "'";
    line +=
        "); COMP_CWORD=" + std::to_string(words.size()) + "; _deskreader; echo \"${COMPREPLY[*]}\"";
    const Finished run = Process("/bin/bash", {"--norc", "-c", line}).finish();
    EXPECT_EQ(run.errors, "");
    return run.output.substr(0, run.output.find('\n'));
}

class Completion : public testing::Test {
  protected:
    Completion() { kit::write_file(script_, tool({"completion", "bash"}).output); }

    std::string bash(const std::vector<std::string>& words) const {
        return completed(script_, words);
    }

    kit::ScratchDirectory directory_;
    std::string script_ = directory_ / "deskreader";
};

TEST_F(Completion, ForgetsNoCommand) {
    std::set<std::string> groups;
    for (const std::string command : commands) {
        auto words = words_of(command);
        const std::string last = words.back();
        words.back() = "";
        const auto offered = words_of(bash(words));
        EXPECT_NE(std::ranges::find(offered, last), offered.end()) << command;
        words.back() = last;
        words.emplace_back("--");
        const auto options = words_of(bash(words));
        EXPECT_NE(std::ranges::find(options, "--help"), options.end()) << command;
        EXPECT_NE(std::ranges::find(options, "--link"), options.end()) << command;
    }
    EXPECT_EQ(words_of(bash({"m1", "value", ""})),
              (std::vector<std::string>{"read", "write", "increase", "decrease"}));
    EXPECT_EQ(bash({"m1", "d"}), "dump");
}

TEST_F(Completion, KnowsOptionsAndTheirValues) {
    EXPECT_EQ(bash({"atr", "--sl"}), "--slot");
    EXPECT_EQ(words_of(bash({"atr", "--slot", ""})),
              (std::vector<std::string>{"contact", "contactless", "auto"}));
    EXPECT_EQ(bash({"atr", "--slot", "contactl"}), "contactless");
    EXPECT_EQ(bash({"--json", "stress", "--what", "ap"}), "apdu");
    EXPECT_EQ(bash({"--timeout", ""}), "");
    EXPECT_EQ(words_of(bash({"completion", ""})), (std::vector<std::string>{"bash", "zsh"}));
}

TEST_F(Completion, KnowsLinks) {
    EXPECT_EQ(bash({"--link", "h"}), "hid:");
    EXPECT_EQ(words_of(bash({"--link", ""})),
              (std::vector<std::string>{"hid:", "serial:", "virtual:", "virtual-usb:", "replay:"}));
    EXPECT_EQ(bash({"--link", "replay", ":", script_.substr(0, script_.size() - 2)}), script_);
    EXPECT_EQ(bash({"--virtual", script_.substr(0, script_.size() - 2)}), script_);
    EXPECT_EQ(bash({"record", script_.substr(0, script_.size() - 2)}), script_);
}

// What zsh would offer: its completion builtins are stood in for, and print what they are given.
std::string completed_by_zsh(const std::string& script, std::vector<std::string> words) {
    std::string line =
        "compadd() { print -r -- ${@:#-*} }; compset() { PREFIX=${PREFIX#*:} };"
        "_files() { print -r -- files of $PREFIX }; _normal() { print -r -- command $words };"
        "_describe() { local name; for name in ${(P)2}; do print -rn -- ${name%%:*}' '; done };"
        "words=(deskreader";
    for (const std::string& word : words)
        line += " '" + word + "'";
    line += "); CURRENT=" + std::to_string(words.size() + 1) + "; PREFIX='" + words.back() +
            "'; source " + script;
    const Finished run = Process("/usr/bin/zsh", {"-fc", line}).finish();
    EXPECT_EQ(run.errors, "");
    return run.output.substr(0, run.output.find('\n'));
}

TEST_F(Completion, ForZshOffersTheSame) {
    const std::string zsh = tool({"completion", "zsh"}).output;
    EXPECT_EQ(zsh.find("#compdef deskreader\n"), 0u);
    for (const std::string command : commands) {
        const auto words = words_of(command);
        EXPECT_NE(zsh.find("          '" + words.back() + ":"), std::string::npos) << command;
    }
    if (access("/usr/bin/zsh", X_OK) != 0) GTEST_SKIP() << "zsh is not installed";
    const std::string file = directory_ / "_deskreader";
    kit::write_file(file, zsh);
    EXPECT_EQ(words_of(completed_by_zsh(file, {""})), words_of(bash({""})));
    EXPECT_EQ(words_of(completed_by_zsh(file, {"m1", "value", ""})),
              (std::vector<std::string>{"read", "write", "increase", "decrease"}));
    EXPECT_EQ(completed_by_zsh(file, {"atr", "--slot", ""}), "contact contactless auto");
    EXPECT_EQ(completed_by_zsh(file, {"--link", ""}), "hid: serial: virtual: virtual-usb: replay:");
    EXPECT_EQ(completed_by_zsh(file, {"--link", "replay:x"}), "files of x");
    EXPECT_EQ(completed_by_zsh(file, {"record", ""}), "files of");
    EXPECT_EQ(completed_by_zsh(file, {"record", "x", "--", "ls", ""}), "command ls");
}

TEST(CompletionOfShells, AreTwo) {
    EXPECT_EQ(tool({"completion", "fish"}).status, 2);
    EXPECT_EQ(tool({"completion"}).status, 2);
}

}  // namespace
