// The tour of all cards.
#include "kit/working_directory.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;

constexpr const char* results[] = {
    // Of the calls in their order; null is not the same every time.
    nullptr,
    "DESK READER VIRTUAL 1.0",
    "DR2026000001",
    "heard",
    "ATR 3B0444455348",
    "6F088406F04445534B019000",
    "MEMBER 0001",
    "done",
    "account 9999990000000013",
    nullptr,
    nullptr,
    "paid 12.50",
    nullptr,
    "ADA EXAMPLE",
    "9999000000000003=3012",
    "9999000000000003=3112",
    "9999000000000003=3112",
    "9999000000000003",
    "样本甲, photo 102 x 126",
    "UID 5A5B5C5D",
    "sector 2, key A",
    "250",
    "300",
    "250",
    "done",
    "UID 04515253545556",
    "TEN ",
    "both have the key",
    "00000000",
    "done",
    "done",
};

TEST(Tour, GoesThroughCardsOfAllKinds) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Finished run = virtual_tool({"--json", "tour"});
    EXPECT_EQ(run.status, 0) << run.output;
    const Json object = json(run);
    const cJSON* steps = item(object.get(), "steps");
    ASSERT_EQ(cJSON_GetArraySize(steps), static_cast<int>(std::size(results)));
    for (std::size_t i = 0; i < std::size(results); ++i) {
        const cJSON* step = cJSON_GetArrayItem(steps, static_cast<int>(i));
        if (results[i] != nullptr) {
            EXPECT_EQ(text(step, "result"), results[i]) << text(step, "step");
        }
        EXPECT_GT(item(step, "milliseconds")->valuedouble, 0.0);
    }
}

TEST(Tour, ShowsItToPeopleInUnderTwoMinutes) {
    const kit::WorkingDirectory here;
    const auto begin = std::chrono::steady_clock::now();
    const Finished run = virtual_tool({"tour"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(2));
    EXPECT_EQ(run.status, 0) << run.errors;
    for (const char* part :
         {"The reader\n", "ISO 7816 card (member)\n", "Payment card, a purchase (bank)\n",
          "Social security card (citizen)\n", "Magnetic stripe (loyalty)\n",
          "Identity card (resident)\n", "样本甲, no photo: ./libwlt.so, its decoder, is not here\n",
          "MIFARE Classic card (locker)\n", "MIFARE Ultralight C card (ticket)\n", "Toured in "}) {
        EXPECT_NE(run.output.find(part), std::string::npos) << part;
    }
}

TEST(Tour, DrawsThePhotoInATerminalWithColours) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Finished run = tool(
        {"--virtual", "tour"},
        {{{"LC_ALL", "C.UTF-8"}, {"TERM", "xterm"}, {"COLORTERM", "truecolor"}, {"NO_COLOR", ""}},
         true});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("m\u2580\x1B[38;2;"), std::string::npos) << run.output;
}

TEST(Tour, FailsWhereItFindsSomethingElse) {
    const Deck deck(R"({"reader": {"serial_number": "OTHER"}})");
    const Finished run = tool({"--virtual", deck.path(), "tour"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: expected DR2026000001, found OTHER\n");
}

TEST(Tour, FailsWithoutItsCards) {
    const Deck deck(R"({"reader": {"information": "DESK READER VIRTUAL 1.0",
                                   "serial_number": "DR2026000001"}})");
    const Finished run = tool({"--virtual", deck.path(), "tour"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: no card is named member\n");
}

TEST(Tour, NeedsAReaderWhoseCardsItCanMove) {
    const Desk desk;
    const Finished run = desk.run({"tour"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: only the cards of a virtual reader can be moved\n");
}

}  // namespace
