// The tool's commands for MIFARE cards.
#include "tool_process.h"

namespace {

using namespace tool_tests;

constexpr const char* locker_a = "A0A1A2A3A4A5";
constexpr const char* locker_b = "B0B1B2B3B4B5";
constexpr const char* ticket_key = "49454D4B41455242214E4143554F5946";
constexpr const char* other_key = "00000000000000000000000000000000";

std::size_t size_of(const Json& object, const char* list) {
    return static_cast<std::size_t>(cJSON_GetArraySize(item(object.get(), list)));
}

const cJSON* element(const Json& object, const char* list, int index) {
    return cJSON_GetArrayItem(item(object.get(), list), index);
}

TEST(ClassicTool, DumpsTheSectorsThatTheKeysOpen) {
    const Finished run = virtual_tool({"m1", "dump", "--key", "FFFFFFFFFFFF", "--key", locker_a});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output.find("UID             5A5B5C5D\n"
                              "sector 1\n"
                              "  block   1  00000000000000000000000000000000  ................\n"
                              "  block   2  00000000000000000000000000000000  ................\n"
                              "  block   3  0000000000007F078869000000000000  keys and access\n"
                              "sector 2\n"
                              "  block   4  4C4F434B455220313700000000000000  LOCKER 17.......\n"
                              "  block   5  FA00000005FFFFFFFA00000005FA05FA  value 250\n"
                              "  block   6  00000000000000000000000000000000  ................\n"
                              "  block   7  0000000000007F078869000000000000  keys and access\n"
                              "sector 3\n"
                              "  block   8 "),
              0u)
        << run.output;
    EXPECT_NE(run.output.find("  block  63 "), std::string::npos);
    EXPECT_EQ(run.output.find("  block  64 "), std::string::npos);
}

TEST(ClassicTool, DumpShowsWhatStaysClosed) {
    const Finished run = virtual_tool({"m1", "dump"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("sector 2\n  RD_M1Verify: -5003 wrong key\nsector 3\n"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("  block   8  00000000"), std::string::npos);
}

TEST(ClassicTool, DumpTellsPrograms) {
    const Json object = virtual_json({"m1", "dump"});
    EXPECT_EQ(text(object, "uid"), "5A5B5C5D");
    EXPECT_EQ(size_of(object, "blocks"), 59u) << "fifteen sectors of four, but block 0";
    EXPECT_EQ(text(element(object, "blocks", 0), "sector"), "1");
    EXPECT_EQ(text(element(object, "blocks", 0), "block"), "1");
    ASSERT_EQ(size_of(object, "failures"), 1u);
    EXPECT_EQ(text(element(object, "failures", 0), "sector"), "2");
    EXPECT_EQ(text(element(object, "failures", 0), "number"), "-5003");
    const Json sector = virtual_json({"m1", "dump", "--sector", "2", "--key", locker_a});
    EXPECT_EQ(size_of(sector, "blocks"), 4u);
    EXPECT_EQ(text(element(sector, "blocks", 1), "value"), "250");
    EXPECT_EQ(text(element(sector, "blocks", 2), "value"), "(none)");
}

TEST(ClassicTool, DumpFailsWhenNothingOpens) {
    const Finished run = virtual_tool({"m1", "dump", "--sector", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "UID             5A5B5C5D\nsector 2\n  RD_M1Verify: -5003 wrong key\n");
    EXPECT_EQ(run.errors, "deskreader: RD_M1Verify: -5003 wrong key (其他错误)\n");
}

TEST(ClassicTool, DumpsALargeCard) {
    const Deck deck(R"({"cards": [{"type": "mifare-classic", "name": "large", "size": "4K",
        "inserted": true, "sectors": [{"number": 40, "key_a": "A0A1A2A3A4A5"}],
        "blocks": [{"number": 240, "data": "THE LAST SECTOR"}]}]})");
    const Json object =
        json(tool({"--json", "--virtual", deck.path(), "m1", "dump", "--size", "4K"}));
    EXPECT_EQ(size_of(object, "blocks"), 32u * 4u - 1u + 7u * 16u);
    const Finished run =
        tool({"--virtual", deck.path(), "m1", "dump", "--sector", "40", "--key", "A0A1A2A3A4A5"});
    EXPECT_NE(run.output.find("  block 240  544845204C41535420534543544F5200  THE LAST SECTOR.\n"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("  block 255  0000000000007F078869000000000000  keys and access\n"),
              std::string::npos);
}

TEST(ClassicTool, DumpGoesOnBehindABlockThatCannotBeRead) {
    // C1 C2 C3 of block 9 are 1 1 1: nothing may be done with it.
    const Deck deck(R"({"cards": [{"type": "mifare-classic", "name": "closed", "inserted": true,
        "sectors": [{"number": 3, "access": "5D25AA69"}]}]})");
    const Finished run = tool({"--virtual", deck.path(), "m1", "dump", "--sector", "3"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("  block   8  0000"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("  block   9  RD_M1ReadBlock: -5004 block not readable\n"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("  block  10  0000"), std::string::npos) << run.output;
}

TEST(ClassicTool, ReadsABlock) {
    EXPECT_EQ(virtual_tool({"m1", "read", "4", "--key", locker_a}).output,
              "UID             5A5B5C5D\n"
              "block           4\n"
              "data            4C4F434B455220313700000000000000\n"
              "text            LOCKER 17.......\n");
    const Json object = virtual_json({"m1", "read", "--key-type", "B", "--key", locker_b, "4"});
    EXPECT_EQ(text(object, "uid"), "5A5B5C5D");
    EXPECT_EQ(text(object, "block"), "4");
    EXPECT_EQ(text(object, "data"), "4C4F434B455220313700000000000000");
}

TEST(ClassicTool, TriesItsKeysInTurn) {
    const Finished run =
        virtual_tool({"m1", "read", "4", "--key", "000000000000", "--key", locker_a});
    EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(ClassicTool, ReportsAWrongKey) {
    const Finished run = virtual_tool({"m1", "read", "4", "--key", locker_b});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "UID             5A5B5C5D\n");
    EXPECT_EQ(run.errors, "deskreader: RD_M1Verify: -5003 wrong key (其他错误)\n");
    const Json object = virtual_json({"m1", "read", "4", "--key-type", "B", "--key", locker_a});
    EXPECT_EQ(error(object, "call"), "RD_M1Verify");
    EXPECT_EQ(error(object, "number"), "-5003");
    EXPECT_EQ(error(object, "name"), "wrong key");
}

TEST(ClassicTool, ReportsThatNoCardCame) {
    const Deck deck = empty_deck();
    const Finished run = tool({"--timeout", "1", "--virtual", deck.path(), "m1", "read", "4"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    // Which of them depends on whether the clock's second changes before the second attempt.
    EXPECT_TRUE(run.errors == "deskreader: RD_M1Powerup: -4001 power-on timed out (上电超时)\n" ||
                run.errors == "deskreader: RD_M1Powerup: -5001 activation refused (其他错误)\n")
        << run.errors;
}

TEST(ClassicTool, WritesABlock) {
    const Desk desk;
    desk.insert("locker");
    const std::string data = "00112233445566778899aabbccddeeff";
    const Finished run = desk.run({"m1", "write", "6", data, "--key", locker_a});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "UID             5A5B5C5D\n"
              "block           6\n"
              "data            00112233445566778899AABBCCDDEEFF\n"
              "result          written\n");
    EXPECT_NE(desk.run({"m1", "read", "6", "--key", locker_a})
                  .output.find("data            00112233445566778899AABBCCDDEEFF\n"),
              std::string::npos);
    EXPECT_EQ(text(virtual_json({"m1", "write", "6", data, "--key", locker_a}), "result"),
              "written");
}

TEST(ClassicTool, WritesATrailerOnlyWhenToldTo) {
    const Desk desk;
    desk.insert("locker");
    const std::string trailer = "C0C1C2C3C4C57F078869D0D1D2D3D4D5";
    const Finished refused =
        desk.run({"m1", "write", "7", trailer, "--key-type", "B", "--key", locker_b});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors,
              "deskreader: this block holds its sector's keys; --system writes it all the same\n");
    EXPECT_EQ(desk.run({"m1", "read", "4", "--key", locker_a}).status, 0) << "nothing has changed";
    EXPECT_EQ(
        desk.run({"m1", "write", "7", trailer, "--key-type", "B", "--key", locker_b, "--system"})
            .status,
        0);
    EXPECT_EQ(desk.run({"m1", "read", "4", "--key", "C0C1C2C3C4C5"}).status, 0);
}

TEST(ClassicTool, ReadsAndChangesValues) {
    const Desk desk;
    desk.insert("locker");
    const auto value = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--json", "m1", "value"});
        arguments.insert(arguments.end() - 1, {"--key", locker_a});
        const Finished run = desk.run(arguments);
        EXPECT_EQ(run.status, 0) << run.output;
        return text(json(run), "value");
    };
    EXPECT_EQ(value({"read", "5"}), "250");
    EXPECT_EQ(value({"increase", "5", "50"}), "300");
    EXPECT_EQ(value({"decrease", "5", "301"}), "-1");
    EXPECT_EQ(value({"read", "5"}), "-1");
    EXPECT_EQ(value({"write", "6", "2147483647"}), "2147483647");
    EXPECT_EQ(value({"read", "6"}), "2147483647");
    EXPECT_EQ(desk.run({"m1", "value", "write", "--key", locker_a, "6", "--", "-100"}).output,
              "UID             5A5B5C5D\nblock           6\nvalue           -100\n");
}

TEST(ClassicTool, ReportsWhatIsNoValue) {
    const Finished run = virtual_tool({"m1", "value", "read", "4", "--key", locker_a});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: RD_M1Read: -5006 value not readable (其他错误)\n");
    EXPECT_EQ(virtual_tool({"m1", "value", "increase", "4", "1", "--key", locker_a}).errors,
              "deskreader: RD_M1IncreaseValue: -5008 value not increased (其他错误)\n");
    EXPECT_EQ(virtual_tool({"m1", "value", "decrease", "4", "1", "--key", locker_a}).errors,
              "deskreader: RD_M1DecreaseValue: -5009 value not decreased (其他错误)\n");
}

TEST(ClassicTool, KnowsWrongUse) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"m1"},
             {"m1", "erase"},
             {"m1", "read"},
             {"m1", "read", "0"},
             {"m1", "read", "256"},
             {"m1", "read", "4", "--key", "A0A1A2A3A4"},
             {"m1", "read", "4", "--key", "A0A1A2A3A4AG"},
             {"m1", "read", "4", "--key-type", "C"},
             {"m1", "write", "4"},
             {"m1", "write", "4", std::string(31, '0')},
             {"m1", "write", "4", std::string(33, '0')},
             {"m1", "dump", "--sector", "41"},
             {"m1", "dump", "--size", "2K"},
             {"m1", "value"},
             {"m1", "value", "increase", "5"},
             {"m1", "value", "increase", "5", "0"},
             {"m1", "value", "increase", "5", "2147483648"},
             {"m1", "value", "write", "5", "2147483648"},
         }) {
        EXPECT_EQ(virtual_tool(arguments).status, 2) << testing::PrintToString(arguments);
    }
}

TEST(UltralightTool, ReadsPages) {
    EXPECT_EQ(virtual_tool({"m0", "read", "4", "--count", "3"}).output,
              "UID             04515253545556\n"
              "  page   4  54454E20  TEN \n"
              "  page   5  52494445  RIDE\n"
              "  page   6  532C2054  S, T\n");
    const Json object = virtual_json({"m0", "read", "0"});
    EXPECT_EQ(text(object, "uid"), "04515253545556");
    ASSERT_EQ(size_of(object, "pages"), 1u);
    EXPECT_EQ(text(element(object, "pages", 0), "page"), "0");
    EXPECT_EQ(text(element(object, "pages", 0), "data"), "0451528F") << "88 ^ 04 ^ 51 ^ 52";
}

TEST(UltralightTool, ReadsProtectedPagesWithTheKeyOnly) {
    const Finished closed = virtual_tool({"m0", "read", "15", "--count", "2"});
    EXPECT_EQ(closed.status, 1);
    EXPECT_EQ(closed.output, "UID             04515253545556\n");
    EXPECT_EQ(closed.errors, "deskreader: RD_M0Read: -99 failed (其他错误)\n");
    EXPECT_EQ(virtual_tool({"m0", "read", "15", "--count", "2", "--key", ticket_key}).output,
              "UID             04515253545556\n"
              "  page  15  00000000  ....\n"
              "  page  16  00000000  ....\n");
}

TEST(UltralightTool, ReadsNothingBehindTheLastPage) {
    EXPECT_EQ(virtual_tool({"m0", "read", "43", "--key", ticket_key}).status, 0);
    EXPECT_EQ(virtual_tool({"m0", "read", "44", "--key", ticket_key}).errors,
              "deskreader: RD_M0Read: -99 failed (其他错误)\n");
    EXPECT_EQ(virtual_tool({"m0", "read", "255", "--count", "2"}).errors,
              "deskreader: RD_M0Read: -1007 invalid parameter (参数异常)\n");
}

TEST(UltralightTool, WritesPages) {
    const Desk desk;
    desk.insert("ticket");
    const Finished run = desk.run({"m0", "write", "5", "0a1b2c3f"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "UID             04515253545556\n"
              "  page   5  0A1B2C3F  ..,?\n"
              "result          written\n");
    EXPECT_EQ(desk.run({"m0", "read", "4", "--count", "3"}).output,
              "UID             04515253545556\n"
              "  page   4  54454E20  TEN \n"
              "  page   5  0A1B2C3F  ..,?\n"
              "  page   6  532C2054  S, T\n");
    EXPECT_EQ(desk.run({"m0", "write", "16", "FFFFFFFF"}).errors,
              "deskreader: RD_M0Write: -99 failed (其他错误)\n");
    EXPECT_EQ(desk.run({"m0", "write", "16", "FFFFFFFF", "--key", ticket_key}).status, 0);
    EXPECT_EQ(text(json(desk.run({"--json", "m0", "write", "6", "00000000"})), "result"),
              "written");
}

TEST(UltralightTool, WritesWhatIsNoDataOnlyWhenToldTo) {
    const Desk desk;
    desk.insert("ticket");
    for (const char* page : {"0", "3", "40", "47"}) {
        const Finished run = desk.run({"m0", "write", page, "00000001"});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.errors.find("--system writes them all the same"), std::string::npos);
    }
    EXPECT_EQ(desk.run({"m0", "write", "3", "00000001", "--system"}).status, 0);
    EXPECT_NE(desk.run({"m0", "read", "3"}).output.find("  page   3  00000001"), std::string::npos);
}

TEST(UltralightTool, VerifiesTheKey) {
    EXPECT_EQ(virtual_tool({"m0", "verify", "--key", ticket_key}).output,
              "UID             04515253545556\nkey             right\n");
    EXPECT_EQ(text(virtual_json({"m0", "verify", "--key", ticket_key}), "key"), "right");
}

TEST(UltralightTool, ReportsAWrongKey) {
    const Finished run = virtual_tool({"m0", "verify", "--key", other_key});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "UID             04515253545556\n");
    EXPECT_EQ(run.errors, "deskreader: RD_M0VerifyKey: -99 failed (其他错误)\n");
    EXPECT_EQ(error(virtual_json({"m0", "read", "4", "--key", other_key}), "call"),
              "RD_M0VerifyKey");
}

TEST(UltralightTool, ReportsThatNoCardCame) {
    const Deck deck = empty_deck();
    const Finished run = tool({"--timeout", "1", "--virtual", deck.path(), "m0", "read", "4"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: RD_M0PowerOn: -4001 power-on timed out (上电超时)\n");
}

TEST(UltralightTool, TakesNoOtherCardForAnUltralight) {
    for (const char* card : {"locker", "visitor"}) {
        const Finished run =
            tool({"--timeout", "1", "--virtual", "--card", card, "m0", "read", "4"});
        EXPECT_EQ(run.status, 1) << card;
        EXPECT_EQ(run.errors, "deskreader: RD_M0PowerOn: -4001 power-on timed out (上电超时)\n");
    }
}

TEST(UltralightTool, KnowsWrongUse) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"m0"},
             {"m0", "erase"},
             {"m0", "read"},
             {"m0", "read", "256"},
             {"m0", "read", "--count", "49", "0"},
             {"m0", "read", "4", "--key", "49454D4B"},
             {"m0", "write", "5"},
             {"m0", "write", "5", "0000000"},
             {"m0", "write", "5", "0000000G"},
             {"m0", "verify"},
             {"m0", "verify", "--key", ticket_key, "--key", other_key},
         }) {
        EXPECT_EQ(virtual_tool(arguments).status, 2) << testing::PrintToString(arguments);
    }
}

}  // namespace
