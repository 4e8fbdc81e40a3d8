// doctor, in installations of the library that the test arranges.
#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;
namespace fs = std::filesystem;

// A directory with a link to the library is an installation with a configuration and a log of its
// own.
class Doctor : public testing::Test {
  protected:
    Doctor() {
        fs::create_symlink(reader_library, directory_ / "libdeskreader.so.2");
        configure("[log]\nloglevel=1\nsaveday=15\n\n; a word\n[devcfg]\nDevBaud=9600\n");
    }

    void configure(const std::string& text) { kit::write_file(directory_ / "config.ini", text); }
    std::string directory() const { return directory_.path().string(); }

    Finished run(std::vector<std::string> words, const char* preload = "",
                 const char* recording = nullptr) {
        words.push_back("doctor");
        const std::string path = directory();
        Surroundings surroundings{{{"LC_ALL", "C.UTF-8"},
                                   {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                                   {"LD_LIBRARY_PATH", path.c_str()},
                                   {"LD_PRELOAD", preload}}};
        if (recording != nullptr)
            surroundings.variables.emplace_back("DESK_USB_RECORDING", recording);
        return tool(words, surroundings);
    }

    // "state: text -> advice" of the checks on a subject, at the virtual reader.
    std::vector<std::string> checks(const char* subject) {
        const Json object = json(run({"--json", "--virtual"}));
        std::vector<std::string> found;
        const cJSON* check = nullptr;
        cJSON_ArrayForEach(check, item(object.get(), "checks")) {
            if (text(check, "subject") != subject) continue;
            const bool has_advice = item(check, "advice") != nullptr;
            found.push_back(text(check, "state") + ": " + text(check, "text") +
                            (has_advice ? " -> " + text(check, "advice") : ""));
        }
        return found;
    }
    std::string check(const char* subject) {
        const auto found = checks(subject);
        EXPECT_EQ(found.size(), 1u) << subject;
        return found.empty() ? "" : found.front();
    }

    kit::ScratchDirectory directory_;
};

TEST_F(Doctor, FindsNothingToDoAboutAVirtualReader) {
    const Finished finished = run({"--virtual"});
    EXPECT_EQ(finished.status, 0) << finished.output << finished.errors;
    EXPECT_NE(finished.output.find("ok       reader        DESK READER VIRTUAL 1.0\n"),
              std::string::npos)
        << finished.output;
    EXPECT_NE(finished.output.find("ok       link          virtual: (as asked for)\n"),
              std::string::npos);
    EXPECT_NE(finished.output.find("problems        0\n"), std::string::npos);
    EXPECT_EQ(finished.errors, "");
}

TEST_F(Doctor, ShowsTheLibraryAndItsVersion) {
    EXPECT_EQ(check("library"), "ok: " + directory() + "/libdeskreader.so.2, version 2.1.56");
    EXPECT_EQ(check("with").find("ok: hidapi "), 0u);
    const auto companions = checks("companion");
    ASSERT_EQ(companions.size(), 2u);
    EXPECT_EQ(companions[0],
              "warning: ./libwlt.so is not there (decodes the photos of identity cards) -> "
              "needed for that alone: put it where the host is started");
}

TEST_F(Doctor, ReadsTheConfiguration) {
    EXPECT_EQ(check("config.ini"), "ok: " + directory() + "/config.ini, 3 settings");
    fs::remove(directory_ / "config.ini");
    EXPECT_EQ(check("config.ini"), "warning: " + directory() +
                                       "/config.ini is not there: every setting has its default "
                                       "-> install it, or go on with the defaults");
    fs::create_directory(directory_ / "config.ini");
    EXPECT_EQ(check("config.ini"),
              "warning: " + directory() +
                  "/config.ini cannot be read and written: every setting has its default -> give "
                  "yourself both permissions, for example by the group plugdev");
}

TEST_F(Doctor, FindsWhatIsWrongInTheConfiguration) {
    configure(
        "loglevel=1\n"
        "[log]\n"
        "loglevel=7\n"
        "saveday=366\n"
        "DevBaud=9600\n"
        "[Devcfg]\n"
        "[devcfg]\r\n"
        "DevBaud=9601\r\n"
        " IdBaud=9600\n"
        "IcBaud\n"
        "Colour=blue\n"
        "Iccmd=yes\n"
        "devtype = 1 \n"
        "devtype=0\n"
        ";" +
        std::string(300, 'x') + "\n");
    const std::string at = "warning: " + directory() + "/config.ini:";
    EXPECT_EQ(checks("config.ini"),
              (std::vector<std::string>{
                  at + "1: loglevel is no key of section [] -> move it to [log]",
                  at + "3: loglevel=7 is out of range -> one of: 0, 1, 2",
                  at + "4: saveday=366 is out of range -> one of: 0 to 365",
                  at + "5: DevBaud is no key of section [log] -> move it to [devcfg]",
                  at + "6: [Devcfg] is no section that the library reads -> write [log] or "
                       "[devcfg]",
                  at + "8: DevBaud=9601 is out of range -> one of: 1200, 2400, 4800, 9600, "
                       "19200, 38400, 57600, 115200",
                  at + "9: IdBaud does not count, because blanks are before it -> remove them",
                  at + "10: IcBaud has no value and counts as 0 -> write IcBaud=...",
                  at + "11: Colour is no key of section [devcfg] -> see config.ini in the manual "
                       "for those there are",
                  at + "12: Iccmd=yes is out of range -> one of: 0, 1",
                  at + "14: devtype stands here again, and this one counts -> keep one of them",
                  at + "15: is longer than 254 characters, what is beyond counts as a line of its "
                       "own -> shorten it"}));
}

TEST_F(Doctor, LooksAfterTheLog) {
    EXPECT_EQ(check("log"), "ok: " + directory() + "/log, level 1");
    EXPECT_EQ(check("disk space").find("ok: "), 0u);
    configure("[log]\nloglevel=2\n");
    EXPECT_EQ(check("log level"),
              "warning: loglevel=2 keeps every frame, and what is on cards -> set loglevel=1 once "
              "you have found what you look for");
}

// The library would wait for ever at its second message; doctor does not.
TEST_F(Doctor, SurvivesALogThatCannotBeWritten) {
    kit::write_file(directory_ / "log", "in the way");
    const std::string found = directory() +
                              "/log cannot be written: a host stops for ever at its second message "
                              "-> make it writable for you (share-with-group), or set loglevel=0";
    EXPECT_EQ(check("log"), "problem: " + found);
    EXPECT_EQ(run({"--port", "no-such-port"}).status, 4);
    configure("[log]\nloglevel=2\n");
    EXPECT_EQ(check("log"), "problem: " + found);
    configure("[log]\nloglevel=0\n");
    EXPECT_EQ(check("log"), "warning: " + found);
}

TEST_F(Doctor, ExplainsALinkThatCannotBeUsed) {
    const Finished finished = run({"--port", "no-such-port"});
    EXPECT_EQ(finished.status, 4);
    EXPECT_NE(finished.output.find(
                  "problem  link          serial:/dev/no-such-port (as asked for), which is not "
                  "there\n                       -> plug the adapter in, or name another device\n"),
              std::string::npos)
        << finished.output;
    EXPECT_NE(finished.output.find("problem  reader        RD_Open: -1000 port cannot be opened"),
              std::string::npos);
    EXPECT_NE(finished.output.find("problems        2\n"), std::string::npos);
}

TEST_F(Doctor, ExplainsABadLinkInTheEnvironment) {
    const std::string path = directory();
    const Finished finished = tool(
        {"doctor"},
        {{{"LC_ALL", "C.UTF-8"}, {"LD_LIBRARY_PATH", path.c_str()}, {"DESKREADER_LINK", "ttyS1"}}});
    EXPECT_EQ(finished.status, 4);
    EXPECT_NE(finished.output.find("problem  link          DESKREADER_LINK: link ttyS1: expected"),
              std::string::npos)
        << finished.output;
}

TEST_F(Doctor, FindsASerialReaderThatDoesNotAnswer) {
    const Desk desk;
    desk.tell("fault mute at 0");
    const Finished finished = run({"--port", desk.device()});
    EXPECT_EQ(finished.status, 4);
    EXPECT_NE(finished.output.find("problem  reader        RD_GetDevInfo: -"), std::string::npos)
        << finished.output;
    EXPECT_NE(finished.output.find("ok       link          serial:" + desk.device()),
              std::string::npos);
}

TEST_F(Doctor, MissesTheReaderOnUsb) {
    const Finished finished = run({"--usb"}, usb_reader_library);
    EXPECT_EQ(finished.status, 4);
    EXPECT_NE(finished.output.find(
                  "problem  USB           no reader 2E8B:0142\n                       -> plug it "
                  "in, or name another link: deskreader help links\n"),
              std::string::npos)
        << finished.output;
    EXPECT_NE(run({"--virtual"}, usb_reader_library)
                  .output.find("ok       USB           no reader 2E8B:0142\n"),
              std::string::npos);
}

TEST_F(Doctor, FindsTheReaderOnUsb) {
    const std::string recording = directory_ / "usb.rec";
    kit::write_file(recording, "# deskreader recording 1\n");
    const Finished finished = run({"--usb"}, usb_reader_library, recording.c_str());
    EXPECT_NE(finished.output.find("ok       USB           reader 2E8B:0142 at 1-1:1.0\n"),
              std::string::npos)
        << finished.output;
    EXPECT_EQ(finished.status, 4);  // it answers nothing
    EXPECT_NE(finished.output.find("ok       link          hid: (as asked for)\n"),
              std::string::npos);
}

TEST_F(Doctor, LooksForTheUdevRuleAndThePorts) {
    EXPECT_EQ(checks("udev rule").size(), 1u);
    EXPECT_GE(checks("serial ports").size(), 1u);
}

}  // namespace
