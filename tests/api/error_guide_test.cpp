// docs/errors.md says what the library says: every number, its text and its terminal number.
#include <deskreader.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

namespace {

struct Row {
    int terminal = 0;
    std::string text;
};

std::string content_of(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// The rows of a table whose third column is a message.
std::map<int, Row> rows_of_guide() {
    static const std::regex row(R"(\n\| (-\d+) \| (-\d+) \| ([^|]+) \| )");
    const std::string guide = content_of(ERROR_GUIDE);
    std::map<int, Row> rows;
    for (std::sregex_iterator at(guide.begin(), guide.end(), row), end; at != end; ++at)
        rows[std::stoi((*at)[1])] = {std::stoi((*at)[2]), (*at)[3]};
    return rows;
}

std::string message_of(int number) {
    char text[56];
    int length = 0;
    RD_GetErrInfo(number, sizeof text, text, &length);
    return {text, static_cast<std::size_t>(length)};
}

TEST(ErrorGuide, SaysOfEachNumberWhatTheLibrarySays) {
    const std::map<int, Row> rows = rows_of_guide();
    ASSERT_FALSE(rows.empty());
    for (const auto& [number, row] : rows) {
        EXPECT_EQ(row.text, message_of(number)) << number;
        EXPECT_EQ(row.terminal, Ovan_GetErrorCode(number)) << number;
    }
}

TEST(ErrorGuide, HasEveryNumberOfTheApi) {
    static const std::regex definition(R"(inline constexpr int \w+ = (-\d{4});)");
    const std::map<int, Row> rows = rows_of_guide();
    const std::string numbers = content_of(STATUS_HEADER);
    int found = 0;
    for (std::sregex_iterator at(numbers.begin(), numbers.end(), definition), end; at != end;
         ++at) {
        ++found;
        EXPECT_TRUE(rows.contains(std::stoi((*at)[1]))) << (*at)[1];
    }
    EXPECT_GT(found, 60);
}

}  // namespace
