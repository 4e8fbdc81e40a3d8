// The tool's commands for magnetic stripes.
#include "tool_process.h"

namespace {

using namespace tool_tests;

constexpr const char* damaged_deck = R"({"cards": [
    {"type": "magnetic", "name": "worn", "inserted": true, "track1": "B9^A^1",
     "track2": "123=45", "damaged": [2]}]})";

TEST(TrackTool, ReadsAllTracks) {
    const Finished run = virtual_tool({"track", "read"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "track 1         B9999000000000003^EXAMPLE/CAT^3012\n"
              "track 2         9999000000000003=3012\n"
              "track 3         009999000000000003'0012'0\n");
    EXPECT_EQ(run.errors, "");
}

TEST(TrackTool, ReadsThoseThatAreNamed) {
    EXPECT_EQ(virtual_tool({"track", "read", "--tracks", "2"}).output,
              "track 2         9999000000000003=3012\n");
    const Json object = virtual_json({"track", "read", "--tracks", "23"});
    EXPECT_EQ(text(object, "track1"), "(none)");
    EXPECT_EQ(text(object, "track2"), "9999000000000003=3012");
    EXPECT_EQ(text(object, "track3"), "009999000000000003'0012'0");
}

TEST(TrackTool, ShowsWhatItCanOfADamagedStripe) {
    const Deck deck(damaged_deck);
    const Finished run = tool({"--virtual", deck.path(), "track", "read", "--tracks", "12"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "track 1         B9^A^1\ntrack 2         (not readable)\n");
    EXPECT_EQ(run.errors,
              "deskreader: RD_ReadMagCard: -2002 track 2 not readable (读2磁道数据失败)\n");
}

TEST(TrackTool, TellsProgramsOfEveryTrackThatCouldNotBeRead) {
    const Deck deck(damaged_deck);
    const Json object = json(tool({"--json", "--virtual", deck.path(), "track", "read"}));
    EXPECT_EQ(text(object, "track1"), "B9^A^1");
    EXPECT_EQ(text(object, "track2"), "(null)") << "damaged";
    EXPECT_EQ(text(object, "track3"), "(null)") << "blank";
    EXPECT_EQ(error(object, "call"), "RD_ReadMagCard");
    EXPECT_EQ(error(object, "number"), "-2002");
}

TEST(TrackTool, ReportsThatNoCardCame) {
    const Deck deck = empty_deck();
    const Finished run = tool({"--timeout", "1", "--virtual", deck.path(), "track", "read"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "deskreader: RD_ReadMagCard: -1004 no answer in time (读数据超时)\n");
}

TEST(TrackTool, WritesWhatIsReadLater) {
    const Desk desk;
    desk.insert("loyalty");
    const Finished run = desk.run({"track", "write", "--track2", "4=5", "--track3", "6'7"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "track 2         4=5\n"
              "track 3         6'7\n"
              "result          written\n");
    EXPECT_EQ(desk.run({"track", "read", "--tracks", "23"}).output,
              "track 2         4=5\ntrack 3         6'7\n");
    EXPECT_EQ(desk.run({"track", "write", "--track3", "8"}).output,
              "track 3         8\nresult          written\n");
    EXPECT_EQ(desk.run({"track", "read"}).output,
              "track 1         B9999000000000003^EXAMPLE/CAT^3012\n"
              "track 2         4=5\n"
              "track 3         8\n");
}

TEST(TrackTool, TellsProgramsWhatItWrote) {
    const Json object = virtual_json({"track", "write", "--track2", "4=5"});
    EXPECT_EQ(text(object, "track2"), "4=5");
    EXPECT_EQ(text(object, "track3"), "(none)");
    EXPECT_EQ(text(object, "result"), "written");
}

TEST(TrackTool, ReportsATrackThatCannotBeWritten) {
    const Deck deck(damaged_deck);
    const Finished run = tool({"--virtual", deck.path(), "track", "write", "--track2", "4=5"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors,
              "deskreader: RD_WriteMagCard: -2102 track 2 not written (写2道数据失败)\n");
}

TEST(TrackTool, ReadsTheCardNumber) {
    EXPECT_EQ(virtual_tool({"track", "number"}).output, "card number     9999000000000003\n");
    EXPECT_EQ(text(virtual_json({"track", "number", "--tracks", "3"}), "card_number"),
              "009999000000000003");
}

TEST(TrackTool, ReportsThatThereIsNoCardNumber) {
    const Finished run = virtual_tool({"track", "number", "--tracks", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "deskreader: RD_GetMagCardNo: -2105 no card number (解析磁道的卡号数据失败)\n");
}

TEST(TrackTool, KnowsWrongUse) {
    EXPECT_EQ(virtual_tool({"track"}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "erase"}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "read", "--tracks", "32"}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "write"}).status, 2) << "nothing to write";
    EXPECT_EQ(virtual_tool({"track", "write", "--track2", ""}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "write", "--track2", "12A"}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "write", "--track2", std::string(121, '1')}).status, 2);
    EXPECT_EQ(virtual_tool({"track", "write", "--track2", "1", "--track3", "A"}).status, 2)
        << "the good one is not written alone";
}

}  // namespace
