// stress: exchanges again and again.
#include <chrono>
#include <thread>

#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace std::chrono_literals;
using namespace tool_tests;

class Work : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(Work, IsRepeatedAndCounted) {
    std::vector<std::string> words = {"--json", "--virtual", "stress", "--count", "7", "--what"};
    words.insert(words.end(), GetParam().begin(), GetParam().end());
    const Finished run = tool(words);
    EXPECT_EQ(run.status, 0) << run.errors;
    const Json object = json(run);
    EXPECT_EQ(text(object, "exchanges"), "7");
    EXPECT_EQ(text(object, "failed"), "0");
    EXPECT_EQ(text(object, "ended"), "count");
    const double minimum = item(object.get(), "minimum_ms")->valuedouble;
    const double median = item(object.get(), "median_ms")->valuedouble;
    const double maximum = item(object.get(), "maximum_ms")->valuedouble;
    EXPECT_GT(minimum, 0);
    EXPECT_LE(minimum, median);
    EXPECT_LE(median, maximum);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Work,
    testing::Values(std::vector<std::string>{"info"}, std::vector<std::string>{"sn"},
                    std::vector<std::string>{"beep"}, std::vector<std::string>{"atr"},
                    std::vector<std::string>{"apdu", "0084000008", "00b2010c00"}));

TEST(Stress, EndsInTime) {
    const Json object = virtual_json({"stress", "--for", "1"});
    EXPECT_EQ(text(object, "ended"), "time");
    EXPECT_GT(item(object.get(), "exchanges")->valueint, 1);
}

TEST(Stress, EndsWhenInterrupted) {
    Process process(tool_program, {"--virtual", "stress"});
    std::this_thread::sleep_for(700ms);
    process.signal(SIGINT);
    const Finished run = process.finish();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("failed          0\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("ended by        interrupted\n"), std::string::npos) << run.output;
    EXPECT_EQ(run.errors, "");
}

TEST(Stress, CountsFailuresByNumber) {
    const Deck deck("{}");
    const Json object = json(tool({"--json", "--virtual", deck.path(), "stress", "--what", "atr",
                                   "--slot", "contact", "--count", "2"}));
    EXPECT_EQ(text(object, "failed"), "2");
    const cJSON* failures = item(object.get(), "failures");
    ASSERT_EQ(cJSON_GetArraySize(failures), 1);
    EXPECT_EQ(text(cJSON_GetArrayItem(failures, 0), "number"), "-4005");
    EXPECT_EQ(text(cJSON_GetArrayItem(failures, 0), "count"), "2");
    EXPECT_EQ(text(cJSON_GetArrayItem(failures, 0), "call"), "RD_IcPowerOn");
    EXPECT_EQ(tool({"--virtual", deck.path(), "stress", "--what", "atr", "--slot", "contact",
                    "--count", "1"})
                  .status,
              1);
}

TEST(Stress, GoesOnAfterASpoiltAnswer) {
    const Desk desk;
    desk.tell("fault drop after 3 times 1");
    const Finished run = desk.run({"--json", "stress", "--count", "8"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(text(json(run), "failed"), "1") << run.output;
    EXPECT_EQ(text(json(run), "exchanges"), "8");
    EXPECT_EQ(text(json(run), "ended"), "count");
}

TEST(Stress, EndsWhenUnplugged) {
    const Desk desk;
    Process process(tool_program, {"--port", desk.device(), "--json", "stress"});
    std::this_thread::sleep_for(700ms);
    desk.tell("unplug");
    const Finished run = process.finish();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(text(json(run), "ended"), "unplugged") << run.output;
    EXPECT_GT(item(json(run).get(), "exchanges")->valueint, 1);
}

TEST(Stress, ShowsCountsOnATerminalOnly) {
    const Surroundings on_terminal{{{"LC_ALL", "C.UTF-8"}}, false, true};
    const Finished shown = tool({"--virtual", "stress", "--for", "1"}, on_terminal);
    EXPECT_NE(shown.errors.find(" exchanges, 0 failed, median "), std::string::npos)
        << shown.errors;
    EXPECT_EQ(shown.errors.find('\n'), std::string::npos);
    EXPECT_EQ(shown.errors.substr(shown.errors.size() - 4), "\r\033[K");
    EXPECT_EQ(tool({"--virtual", "stress", "--for", "1"}).errors, "");
}

TEST(Stress, KnowsWrongUse) {
    EXPECT_EQ(tool({"--virtual", "stress", "--what", "apdu"}).errors,
              "deskreader: --what apdu needs at least one APDU\n");
    EXPECT_EQ(tool({"--virtual", "stress", "00A4"}).errors,
              "deskreader: an APDU needs --what apdu\n");
    EXPECT_EQ(tool({"--virtual", "stress", "00A4"}).status, 2);
    EXPECT_EQ(tool({"--virtual", "stress", "--what", "dance"}).status, 2);
    EXPECT_EQ(tool({"--virtual", "stress", "--count", "0"}).status, 2);
}

}  // namespace
