#include "options.h"

#include <sstream>

#include "kit/bytes.h"

namespace {

using namespace virtual_reader;

struct Outcome {
    std::optional<Options> options;
    int status = -1;
    std::string output;
    std::string errors;
};

Outcome run(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "virtual-reader");
    std::ostringstream output;
    std::ostringstream errors;
    Outcome outcome;
    outcome.options = read_options(static_cast<int>(arguments.size()), arguments.data(), output,
                                   errors, outcome.status);
    outcome.output = output.str();
    outcome.errors = errors.str();
    return outcome;
}

TEST(ReaderOptions, AreReadFromTheCommandLine) {
    const Outcome none = run({});
    ASSERT_TRUE(none.options);
    EXPECT_EQ(none.options->deck, "");
    EXPECT_FALSE(none.options->show_deck);
    const Outcome some = run({"--deck", "a.json", "--show-deck", "--check", "--card", "bank",
                              "--control", "/tmp/desk", "--vpcd", "[::1]:35963"});
    ASSERT_TRUE(some.options);
    EXPECT_EQ(some.options->deck, "a.json");
    EXPECT_TRUE(some.options->show_deck);
    EXPECT_TRUE(some.options->check);
    EXPECT_EQ(some.options->card, "bank");
    EXPECT_EQ(some.options->control, "/tmp/desk");
    EXPECT_EQ(some.options->vpcd, "[::1]:35963");
    EXPECT_EQ(run({"--vpcd-listen", "127.0.0.1:0"}).options->vpcd_listen, "127.0.0.1:0");
}

TEST(ReaderOptions, HelpTellsAllOfThem) {
    const Outcome help = run({"--help"});
    EXPECT_FALSE(help.options);
    EXPECT_EQ(help.status, ended);
    EXPECT_EQ(help.errors, "");
    EXPECT_FALSE(option_rows().empty());
    for (const OptionRow& row : option_rows()) {
        const std::string words =
            row.value == nullptr ? std::string(row.name) : std::string(row.name) + " " + row.value;
        EXPECT_NE(help.output.find("\n  " + words + " "), std::string::npos) << words;
    }
    for (const char* part : {"  insert NAME slot N  ", "  fault KIND ...      ", "Examples:\n",
                             "Exit status:\n  0  ", "\n  corrupt             "})
        EXPECT_NE(help.output.find(part), std::string::npos) << part;
    std::istringstream lines(help.output);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 95u) << line;
}

TEST(ReaderOptions, WrongOnesEndTheProgram) {
    const std::pair<std::vector<const char*>, const char*> rows[] = {
        {{"--dance"}, "--dance"},
        {{"deck.json"}, "deck.json"},
        {{"--deck"}, "--deck"},
        {{"--vpcd", "nowhere"}, "--vpcd: expected HOST:PORT, not nowhere"},
        {{"--vpcd-listen", "here:65536"}, "--vpcd-listen: expected HOST:PORT, not here:65536"},
        {{"--vpcd", "a:1", "--vpcd-listen", "b:1"}, "--vpcd"},
    };
    for (const auto& [arguments, error] : rows) {
        const Outcome wrong = run(arguments);
        EXPECT_FALSE(wrong.options) << error;
        EXPECT_EQ(wrong.status, misused) << error;
        EXPECT_NE(wrong.errors.find(error), std::string::npos) << wrong.errors;
    }
}

}  // namespace
