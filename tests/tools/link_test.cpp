// Which reader the tool uses, as one text.
#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;

std::string link_of(const Finished& run) {
    return text(json(run), "link");
}

TEST(Links, NameAVirtualReader) {
    EXPECT_EQ(tool({"--link", "virtual:", "sn"}).output, "serial number   DR2026000001\n");
    const Deck deck(R"({"reader": {"serial_number": "MINE"}})");
    EXPECT_EQ(tool({"--link", "virtual:" + deck.path(), "sn"}).output, "serial number   MINE\n");
    EXPECT_EQ(tool({"sn", "--link=virtual:"}).output, "serial number   DR2026000001\n");
}

TEST(Links, NameASerialDevice) {
    const Desk desk;
    EXPECT_EQ(link_of(tool({"--json", "--link", "serial:" + desk.device(), "info"})),
              desk.device());
    const Finished run = tool({"--link", "serial:no-such-port", "info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: RD_Open: -1000 port cannot be opened (打开端口失败)\n");
}

TEST(Links, NameTheReaderOnUsb) {
    const Finished run = tool({"--link", "hid:", "info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors.find("deskreader: RD_Open: -1000 "), 0u) << run.errors;
    EXPECT_EQ(tool({"--usb", "info"}).errors, run.errors);
    EXPECT_EQ(tool({"info"}).errors, run.errors);
}

TEST(Links, MaySitInTheEnvironment) {
    const Desk desk;
    const std::string link = "serial:" + desk.device();
    const Surroundings surroundings{{{"LC_ALL", "C.UTF-8"}, {"DESKREADER_LINK", link.c_str()}}};
    EXPECT_EQ(link_of(tool({"--json", "info"}, surroundings)), desk.device());
    const Deck deck(R"({"reader": {"serial_number": "NEARER"}})");
    EXPECT_EQ(tool({"--virtual", deck.path(), "sn"}, surroundings).output,
              "serial number   NEARER\n");
    EXPECT_EQ(tool({"--link", "virtual:" + deck.path(), "sn"}, surroundings).output,
              "serial number   NEARER\n");
}

TEST(Links, InTheEnvironmentMatterOnlyToWhomItConcerns) {
    const Surroundings bad{{{"LC_ALL", "C.UTF-8"}, {"DESKREADER_LINK", "ttyS1"}}};
    const Finished run = tool({"sn"}, bad);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors,
              "deskreader: DESKREADER_LINK: link ttyS1: expected hid:, serial:DEVICE, "
              "virtual:[DECK], virtual-usb:[DECK] or replay:FILE\n");
    EXPECT_EQ(tool({"help", "links"}, bad).status, 0);
    const Surroundings empty{{{"LC_ALL", "C.UTF-8"}, {"DESKREADER_LINK", ""}}};
    EXPECT_EQ(tool({"info"}, empty).status, 1);
}

std::string complaint_about(const std::string& link) {
    const Finished run = tool({"--link", link, "info"});
    EXPECT_EQ(run.status, 2) << link;
    return run.errors.substr(0, run.errors.find('\n'));
}

TEST(Links, ThatAreNoneAreExplained) {
    constexpr char expected[] =
        "expected hid:, serial:DEVICE, virtual:[DECK], virtual-usb:[DECK] or replay:FILE";
    EXPECT_EQ(complaint_about("ttyS1"), std::string("--link: link ttyS1: ") + expected);
    EXPECT_EQ(complaint_about("usb:"), std::string("--link: link usb:: ") + expected);
    EXPECT_EQ(complaint_about("HID:"), std::string("--link: link HID:: ") + expected);
    EXPECT_EQ(complaint_about("hid:1"), "--link: link hid:1: nothing goes behind hid:");
    EXPECT_EQ(complaint_about("serial:"),
              "--link: link serial:: names no device, as in serial:ttyS1");
    EXPECT_EQ(complaint_about("serial:" + std::string(60, 'x')),
              "--link: the device name is longer than 63 characters: /dev/" + std::string(60, 'x'));
    EXPECT_EQ(complaint_about("replay:"), "--link: link replay:: names no recording");
    EXPECT_EQ(complaint_about("virtual:/nonexistent.json"),
              "--link: link virtual:/nonexistent.json: there is no file /nonexistent.json");
    EXPECT_EQ(complaint_about("replay:/tmp"), "--link: link replay:/tmp: /tmp is a directory");
    EXPECT_EQ(tool({"--link", "hid:", "--virtual", "info"}).status, 2);
    EXPECT_EQ(tool({"--link", "hid:", "--port", "x", "info"}).status, 2);
    EXPECT_EQ(tool({"--link", "hid:", "--usb", "info"}).status, 2);
}

TEST(Links, ShortFormsAreExplainedToo) {
    EXPECT_EQ(tool({"--virtual", "/tmp", "info"}).errors,
              "deskreader: link virtual:/tmp: /tmp is a directory\n");
    EXPECT_EQ(tool({"--virtual", "/tmp", "info"}).status, 2);
    EXPECT_EQ(tool({"--port", "", "info"}).errors,
              "deskreader: link serial:: names no device, as in serial:ttyS1\n");
}

TEST(Links, TakeACardOnlyToAVirtualReader) {
    const Finished run = tool({"--port", "ttyS1", "--card", "bank", "info"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "deskreader: --card is for virtual readers\n");
    EXPECT_EQ(tool({"--link", "virtual:", "--card", "bank", "card"}).status, 0);
}

TEST(Links, TellOfABadDeckInTheReadersOwnWords) {
    const Deck deck(R"({"cards": 7})");
    const std::string words = deck.path() + ": /cards: expected an array, found 7";
    EXPECT_EQ(error(json(tool({"--json", "--virtual", deck.path(), "info"})), "message"), words);
    EXPECT_EQ(error(json(tool({"--json", "--link", "virtual:" + deck.path(), "info"})), "message"),
              words);
    EXPECT_EQ(error(json(tool({"--json", "--virtual", "--card", "nobody", "info"})), "message"),
              "no card is named nobody");
}

class Recording {
  public:
    explicit Recording(const std::string& lines) {
        kit::write_file(path(), "# deskreader recording 1\n" + lines);
    }
    std::string path() const { return directory_ / "desk.rec"; }
    std::string link() const { return "replay:" + path(); }

  private:
    kit::ScratchDirectory directory_;
};

TEST(Links, ReplayARecording) {
    const Desk desk;
    const kit::ScratchDirectory directory;
    const std::string file = directory / "sn.rec";
    const Finished recorded =
        tool({"record", file, "--", tool_program, "--port", desk.device(), "sn"});
    EXPECT_EQ(recorded.status, 0) << recorded.errors;
    EXPECT_EQ(recorded.output, "serial number   DR2026000001\n");
    const Finished run = tool({"--link", "replay:" + file, "sn"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "serial number   DR2026000001\n");
    EXPECT_EQ(run.errors, "");
    const Finished strayed = tool({"--link", "replay:" + file, "beep"});
    EXPECT_EQ(strayed.status, 1);
    EXPECT_NE(strayed.errors.find("deskreader: replay: line "), std::string::npos)
        << strayed.errors;
}

TEST(Links, TellOfAHostThatStrayed) {
    const Recording recording("> 0 0102030405060708\n");
    const Finished run = tool({"--link", recording.link(), "tour"});
    EXPECT_EQ(run.status, 1);
    const Json object = json(tool({"--json", "--link", recording.link(), "reset"}));
    const cJSON* strays = item(object.get(), "strays");
    EXPECT_GT(cJSON_GetArraySize(strays), 0);
    const std::string last =
        cJSON_GetStringValue(cJSON_GetArrayItem(strays, cJSON_GetArraySize(strays) - 1));
    EXPECT_EQ(last, "line 2: the host ended, 1 of 1 requests were not sent");
}

}  // namespace
