// The tool as a whole, its commands for the reader itself and for IC cards, and the virtual
// reader's program.
#include <thread>

#include "tool_process.h"

namespace {

using namespace std::chrono_literals;
using namespace tool_tests;

TEST(Tool, ShowsTheReader) {
    const Finished run = tool({"--virtual", "info"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("information     DESK READER VIRTUAL 1.0\n"), std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("serial number   DR2026000001\n"), std::string::npos);
    EXPECT_EQ(run.errors, "");
}

TEST(Tool, ShowsTheReaderToPrograms) {
    const Json object = json(tool({"--virtual", "--json", "info"}));
    EXPECT_EQ(text(object, "information"), "DESK READER VIRTUAL 1.0");
    EXPECT_EQ(text(object, "serial_number"), "DR2026000001");
    EXPECT_EQ(text(object, "link").find("/dev/pts/"), 0u);
}

TEST(Tool, BeepsAndResets) {
    EXPECT_EQ(tool({"--virtual", "beep", "50"}).output, "beep            50\n");
    EXPECT_EQ(tool({"--virtual", "reset"}).output, "reset           done\n");
}

TEST(Tool, ReadsAndWritesTheSerialNumber) {
    EXPECT_EQ(tool({"--virtual", "sn"}).output, "serial number   DR2026000001\n");
    EXPECT_EQ(tool({"--virtual", "sn", "--set", "NEW-1"}).output, "serial number   NEW-1\n");
    EXPECT_EQ(tool({"--virtual", "sn", "--set", std::string(33, 'x')}).status, 2);
}

TEST(Tool, ShowsTheAnswerToReset) {
    EXPECT_EQ(tool({"--virtual", "atr"}).output,
              "kind            contact\nATR             3B0444455348\n");
    EXPECT_EQ(tool({"--virtual", "atr", "--slot", "contactless"}).output,
              "kind            contactless\nATR             0400088041424344\n");
    EXPECT_EQ(tool({"--virtual", "atr", "--slot", "sideways"}).status, 2);
}

TEST(Tool, ExchangesApdus) {
    const Finished run = tool({"--virtual", "apdu", "00a4040006f04445534b01", "00B2010C00"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("> 00A4040006F04445534B01\n< 6F088406F04445534B01 9000"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("> 00B2010C00\n< 4D454D4245522030303031 9000   MEMBER 0001"),
              std::string::npos);
    const Json object = json(tool({"--virtual", "--json", "apdu", "0084000004"}));
    const cJSON* exchange =
        cJSON_GetArrayItem(cJSON_GetObjectItemCaseSensitive(object.get(), "exchanges"), 0);
    EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(exchange, "status_word")),
                 "9000");
}

TEST(Tool, ReportsBadApdus) {
    const Finished run = tool({"--virtual", "apdu", "00A"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: RD_IcAPDU: -1007 invalid parameter (参数异常)\n");
}

TEST(Tool, ReportsAMissingCard) {
    const Deck deck("{}");
    const Finished run =
        tool({"--timeout", "1", "--virtual", deck.path(), "atr", "--slot", "contact"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "deskreader: RD_IcPowerOn: -4005 card absent (卡片不在卡槽中)\n");
}

TEST(Tool, TellsItInTheEncodingOfTheTerminal) {
    const Finished run = tool({"--port", "no-such-port", "info"}, {{{"LC_ALL", "C"}}});
    EXPECT_EQ(run.errors, "deskreader: RD_Open: -1000 port cannot be opened (\?\?\?\?\?\?)\n");
}

TEST(Tool, TellsItToPrograms) {
    const Finished run = tool({"--json", "--port", "/dev/no-such-port", "info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(
        run.output,
        R"({"error":{"call":"RD_Open","number":-1000,"name":"port cannot be opened","message":"打开端口失败"}})"
        "\n");
}

TEST(Tool, ReportsADeckThatCannotBeUsed) {
    const Deck deck(R"({"cards": 7})");
    const Finished run = tool({"--virtual", deck.path(), "info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find(": /cards: expected an array, found 7"), std::string::npos)
        << run.errors;
}

TEST(Tool, KnowsWrongUse) {
    EXPECT_EQ(tool({}).status, 2);
    EXPECT_EQ(tool({"dance"}).status, 2);
    EXPECT_EQ(tool({"apdu"}).status, 2);
    EXPECT_EQ(tool({"--usb", "--port", "x", "info"}).status, 2);
    EXPECT_EQ(tool({"--baud", "1", "--virtual", "info"}).status, 2);
    EXPECT_EQ(tool({"--port", std::string(80, 'x'), "info"}).status, 2);
}

TEST(Tool, HelpsItself) {
    const Finished run = tool({"--help"});
    EXPECT_EQ(run.status, 0);
    for (const char* command :
         {"info",   "beep",   "reset",      "sn",    "atr",  "apdu",      "monitor", "card",
          "pay",    "logs",   "ssc",        "track", "id",   "m1",        "m0",      "doctor",
          "stress", "record", "completion", "help",  "tour", "Exit codes"}) {
        EXPECT_NE(run.output.find(command), std::string::npos) << command;
    }
}

TEST(Tool, MonitorsUntilItHasSeenEnough) {
    const Finished run = tool({"--virtual", "monitor", "--count", "1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "waiting for cards, Ctrl-C ends\ncontact         3B0444455348\ndone\n");
}

TEST(Tool, MonitorsUntilInterrupted) {
    const Deck deck("{}");
    Process process(tool_program, {"--virtual", deck.path(), "monitor"});
    std::this_thread::sleep_for(500ms);
    const auto begin = std::chrono::steady_clock::now();
    process.signal(SIGINT);
    const Finished run = process.finish();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "waiting for cards, Ctrl-C ends\ndone\n");
}

TEST(VirtualReader, ShowsItsDeckAndItsHelp) {
    const Finished deck = Process(virtual_reader_program, {"--show-deck"}).finish();
    EXPECT_EQ(deck.status, 0);
    EXPECT_NE(json(deck).get(), nullptr);
    EXPECT_NE(Process(virtual_reader_program, {"--help"}).finish().output.find("--deck"),
              std::string::npos);
}

TEST(VirtualReader, ReportsADeckThatIsNotThere) {
    const Finished run = Process(virtual_reader_program, {"--deck", "/nonexistent.json"}).finish();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "virtual-reader: /nonexistent.json: cannot be read\n");
}

// What they say where the module is there is tested in a machine that has it (script/usb-test).
TEST(Tool, AVirtualReaderOnUsbNeedsItsModule) {
    if (std::filesystem::exists("/sys/devices/platform/vhci_hcd.0")) GTEST_SKIP();
    const std::string words =
        "there is no /sys/devices/platform/vhci_hcd.0: a USB reader needs the kernel module "
        "vhci-hcd (modprobe vhci-hcd, as root)\n";
    const Finished reader = Process(virtual_reader_program, {"--usb"}).finish();
    EXPECT_EQ(reader.status, 1);
    EXPECT_EQ(reader.errors, "virtual-reader: " + words);
    const Finished run = tool({"--virtual", "--usb", "info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: " + words);
}

}  // namespace
