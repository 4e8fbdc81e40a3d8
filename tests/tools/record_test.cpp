// record: what goes over the wire, written down, and what it is good for.
#include <thread>

#include <recording.h>

#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace std::chrono_literals;
using namespace tool_tests;
using virtual_reader::RecordedLine;

// The numbers of the built-in cards look as if they were masked.
constexpr char own_cards[] = R"({ "cards": [
  { "type": "payment", "name": "bank", "answer": "3B0442414E4B", "label": "DESK DEBIT",
    "account_number": "9999991234560013", "sequence_number": 1, "expiry": "301231",
    "holder": "EXAMPLE/ADA", "pin": "1234", "balance": 10000 },
  { "type": "magnetic", "name": "loyalty", "track2": "9999123456780003=3012" } ] })";

class Record : public testing::Test {
  protected:
    // Records the tool at a reader that stays.
    Finished record(std::vector<std::string> words, std::vector<std::string> before = {}) {
        before.insert(before.begin(), "record");
        before.insert(before.end(), {file_, "--", tool_program, "--port", device_});
        before.insert(before.end(), words.begin(), words.end());
        return tool(before, surroundings_);
    }
    Finished replay(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--link", "replay:" + file_});
        return tool(words);
    }
    std::string content() const { return kit::read_file(file_); }

    // A sanitizer in the host wants to be loaded first, and is not.
    const Surroundings surroundings_{
        {{"LC_ALL", "C.UTF-8"}, {"ASAN_OPTIONS", "verify_asan_link_order=0"}}};
    Desk desk_;
    std::string device_ = desk_.device();
    Deck own_deck_{own_cards};
    kit::ScratchDirectory directory_;
    std::string file_ = directory_ / "desk.rec";
};

TEST_F(Record, WritesDownWhatGoesOverASerialLine) {
    const Finished run = record({"sn"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "serial number   DR2026000001\n");
    EXPECT_EQ(run.errors, "");
    const auto lines = virtual_reader::read_recording_file(file_);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines.front().kind, RecordedLine::Kind::opened);
    EXPECT_NE(content().find("\n+ 0 serial " + desk_.device() + "\n"), std::string::npos);
    // GetDevAllInfo: 60 01 36, their XOR, 03.
    EXPECT_EQ(lines[1].kind, RecordedLine::Kind::sent);
    EXPECT_EQ(virtual_reader::to_hex(lines[1].pattern.bytes).substr(0, 8), "36303031");
    EXPECT_EQ(lines[1].pattern.bytes.back(), 0x03);
    EXPECT_EQ(lines[2].kind, RecordedLine::Kind::received);
    EXPECT_GT(lines[2].microseconds, lines[1].microseconds);
    EXPECT_EQ(lines.back().kind, RecordedLine::Kind::closed);
}

TEST_F(Record, IsReplayedStepByStep) {
    EXPECT_EQ(record({"apdu", "--slot", "contact", "00a4040006f04445534b01", "00B2010C00"}).status,
              0);
    const Finished original =
        desk_.run({"apdu", "--slot", "contact", "00a4040006f04445534b01", "00B2010C00"});
    const Finished run =
        replay({"apdu", "--slot", "contact", "00a4040006f04445534b01", "00B2010C00"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, original.output);
    EXPECT_EQ(run.errors, "");
}

TEST_F(Record, ShowsWhereAnotherHostStrays) {
    EXPECT_EQ(record({"apdu", "--slot", "contact", "0084000008"}).status, 0);
    const Finished run = replay({"--json", "apdu", "--slot", "contact", "0084000004"});
    EXPECT_EQ(run.status, 5) << run.output << run.errors;
    const Json object = json(run);
    const cJSON* strays = item(object.get(), "strays");
    ASSERT_EQ(cJSON_GetArraySize(strays), 1) << run.output;
    EXPECT_NE(std::string(cJSON_GetStringValue(cJSON_GetArrayItem(strays, 0)))
                  .find("the host sent another byte"),
              std::string::npos);
}

TEST_F(Record, IsMaskedAndStillReplays) {
    const Desk desk({"--deck", own_deck_.path()});
    device_ = desk.device();
    desk.insert("bank");
    EXPECT_EQ(record({"card"}).status, 0);
    // The account number as hexadecimal digits in frames of hexadecimal digits.
    EXPECT_EQ(content().find("39393939393931323334353630303133"), std::string::npos);
    EXPECT_NE(content().find("\n# Masked: "), std::string::npos);
    const Finished run = replay({"card"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output.find("9999991234560013"), std::string::npos);
    EXPECT_NE(run.output.find("account number  9999990000000013\n"), std::string::npos)
        << run.output;
    EXPECT_EQ(run.errors, "");
}

TEST_F(Record, MasksIdentityCards) {
    desk_.insert("resident");
    EXPECT_EQ(record({"id"}).status, 0);
    const Finished run = replay({"id"});
    EXPECT_EQ(run.status, 0) << run.errors << run.output;
    EXPECT_EQ(run.output.find("999999200001019991"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("样本甲"), std::string::npos);
}

TEST_F(Record, KeepsEverythingIfAskedTo) {
    const Desk desk({"--deck", own_deck_.path()});
    device_ = desk.device();
    desk.insert("loyalty");
    EXPECT_EQ(record({"track", "number"}, {"--unmasked"}).status, 0);
    EXPECT_NE(content().find("39393939313233343536373830303033"), std::string::npos);
    EXPECT_EQ(content().find("# Masked"), std::string::npos);
    EXPECT_EQ(replay({"track", "number"}).output, "card number     9999123456780003\n");
    EXPECT_EQ(std::filesystem::status(file_).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(Record, MasksStripes) {
    const Desk desk({"--deck", own_deck_.path()});
    device_ = desk.device();
    desk.insert("loyalty");
    EXPECT_EQ(record({"track", "number"}).status, 0);
    EXPECT_EQ(content().find("39393939313233343536373830303033"), std::string::npos);
}

TEST_F(Record, EndsAsItsCommandDid) {
    EXPECT_EQ(record({"--timeout", "1", "atr", "--slot", "sideways"}).status, 2);
    EXPECT_EQ(tool({"record", file_, "--", "/bin/sh", "-c", "exit 42"}).status, 42);
    EXPECT_EQ(tool({"record", file_, "--", "/bin/sh", "-c", "kill -TERM $$"}).status, 143);
    const Finished missing = tool({"record", file_, "--", "no-such-host-program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.errors.find("deskreader: no-such-host-program: No such file or directory\n"),
              0u);
    EXPECT_EQ(tool({"record", file_, "--", "/tmp"}).status, 126);
}

TEST_F(Record, SaysThatNothingWasRecorded) {
    const Finished run = tool({"record", file_, "--", "/bin/echo", "--json", "hello"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "--json hello\n");
    EXPECT_EQ(run.errors,
              "deskreader: nothing was recorded: did the host open a reader through "
              "libdeskreader?\n");
}

TEST_F(Record, SeesHostsBehindAShell) {
    const std::string line = std::string(tool_program) + " --port " + desk_.device() + " beep 3";
    const Finished run = tool({"record", file_, "--", "/bin/sh", "-c", line}, surroundings_);
    EXPECT_EQ(run.output, "beep            3\n");
    EXPECT_GT(virtual_reader::read_recording_file(file_).size(), 2u);
}

TEST_F(Record, LeavesCtrlCToTheHost) {
    Process process(tool_program,
                    {"record", file_, "--", tool_program, "--port", desk_.device(), "stress"},
                    surroundings_);
    std::this_thread::sleep_for(1500ms);
    process.signal_group(SIGINT);
    const Finished run = process.finish();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("ended by        interrupted"), std::string::npos) << run.output;
    EXPECT_EQ(virtual_reader::read_recording_file(file_).back().kind, RecordedLine::Kind::closed);
}

TEST_F(Record, ReportsAFileThatCannotBeWritten) {
    const Finished run = tool({"record", "/nonexistent/x.rec", "--", "/bin/true"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: /nonexistent/x.rec: No such file or directory\n");
    const Finished full = tool({"record", "/dev/full", "--", "/bin/true"});
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.errors, "deskreader: /dev/full: No space left on device\n");
    EXPECT_EQ(tool({"record", file_}).status, 2);
    EXPECT_EQ(tool({"record"}).status, 2);
}

// In a host it must not be in the way of anything but what it looks at.
TEST(RecordCompanion, StandsBeforeNothingElse) {
    const Finished run =
        Process("/usr/bin/nm", {"-D", "--defined-only", "--format=just-symbols", record_companion})
            .finish();
    EXPECT_EQ(run.output,
              "__open64_2\n__open_2\n__read_chk\nclose\nhid_close\nhid_open\n"
              "hid_read_timeout\nhid_write\nopen\nopen64\nread\nwrite\n");
}

// A reader on USB, from a recording, is recorded again.
TEST_F(Record, WritesDownReportsOnUsb) {
    EXPECT_EQ(record({"beep", "3"}).status, 0);
    std::string reports = "# deskreader recording 1\n+ 0 usb 2E8B:0142\n";
    for (const auto& line : virtual_reader::read_recording_file(file_)) {
        if (line.pattern.bytes.empty()) continue;
        const bool sent = line.kind == RecordedLine::Kind::sent;
        virtual_reader::Bytes report = {static_cast<std::uint8_t>(line.pattern.bytes.size())};
        report.insert(report.begin(), {0x00, 0x02});
        if (!sent) report.erase(report.begin());
        virtual_reader::append(report, line.pattern.bytes);
        report.resize(sent ? 65 : 64);
        reports += virtual_reader::traffic_line(line.kind, line.microseconds,
                                                {report, std::vector<bool>(report.size(), true)});
    }
    const std::string usb_file = directory_ / "usb.rec";
    kit::write_file(usb_file, reports);
    const Surroundings on_usb{{{"LC_ALL", "C.UTF-8"},
                               {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                               {"LD_PRELOAD", usb_reader_library},
                               {"DESK_USB_RECORDING", usb_file.c_str()}}};
    const std::string again = directory_ / "again.rec";
    const Finished run =
        tool({"record", again, "--", tool_program, "--link", "hid:", "beep", "3"}, on_usb);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "beep            3\n");
    const std::string recorded = kit::read_file(again);
    EXPECT_NE(recorded.find("\n+ 0 usb 2E8B:0142\n"), std::string::npos) << recorded;
    const auto lines = virtual_reader::read_recording_file(again);
    ASSERT_EQ(lines.size(), 4u) << recorded;
    EXPECT_EQ(lines[1].pattern.bytes.size(), 65u);
    EXPECT_EQ(lines[2].pattern.bytes.size(), 64u);
    // On a serial line it is the same beep.
    const Finished replayed = tool({"--link", "replay:" + again, "beep", "3"});
    EXPECT_EQ(replayed.status, 0) << replayed.errors;
}

}  // namespace
