// Recordings as files, and readers that answer as they say.
#include <recording.h>
#include <replay.h>

#include "kit/scratch.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;
using namespace virtual_reader;

const std::string head = "# deskreader recording 1\n";

std::vector<RecordedLine> lines(const std::string& text) {
    return read_recording(head + text, "desk.rec");
}

std::string refusal(const std::string& text) {
    try {
        read_recording(text, "desk.rec");
        return "(taken)";
    } catch (const RecordingError& error) {
        return error.what();
    }
}

std::string refusal_of_file(const std::string& path) {
    try {
        read_recording_file(path);
        return "(taken)";
    } catch (const RecordingError& error) {
        return error.what();
    }
}

TEST(Recording, IsReadLineByLine) {
    const auto read =
        lines("+ 0 serial /dev/ttyS1\n\n# a word\n> 15 1B??4a\r\n< 2000 0003\n- 3000");
    ASSERT_EQ(read.size(), 4u);
    EXPECT_EQ(read[0].kind, RecordedLine::Kind::opened);
    EXPECT_EQ(read[0].link, RecordedLink::serial);
    EXPECT_EQ(read[1].kind, RecordedLine::Kind::sent);
    EXPECT_EQ(read[1].number, 5u);
    EXPECT_EQ(read[1].microseconds, 15u);
    EXPECT_EQ(read[1].pattern.bytes, (Bytes{0x1B, 0x00, 0x4A}));
    EXPECT_EQ(read[1].pattern.known, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(read[2].kind, RecordedLine::Kind::received);
    EXPECT_EQ(read[2].pattern.bytes, (Bytes{0x00, 0x03}));
    EXPECT_EQ(read[3].kind, RecordedLine::Kind::closed);
    EXPECT_EQ(read[3].microseconds, 3000u);
}

TEST(Recording, KeepsItsLinkUntilAnotherIsOpened) {
    const auto read = lines("> 0 00\n+ 1 usb 2E8B:0142\n> 2 00\n+ 3 serial ttyS1\n> 4 00\n");
    EXPECT_EQ(read[0].link, RecordedLink::serial);
    EXPECT_EQ(read[2].link, RecordedLink::usb);
    EXPECT_EQ(read[4].link, RecordedLink::serial);
}

TEST(Recording, IsWrittenAsItIsRead) {
    EXPECT_EQ(opened_line(RecordedLink::serial, 0, "/dev/ttyS1"), "+ 0 serial /dev/ttyS1\n");
    EXPECT_EQ(opened_line(RecordedLink::usb, 7, "2E8B:0142"), "+ 7 usb 2E8B:0142\n");
    EXPECT_EQ(traffic_line(RecordedLine::Kind::sent, 12, {{0x1B, 0x00}, {true, false}}),
              "> 12 1B??\n");
    EXPECT_EQ(traffic_line(RecordedLine::Kind::received, 13, {{0xFF}, {true}}), "< 13 FF\n");
    EXPECT_EQ(closed_line(99), "- 99\n");
    EXPECT_EQ(refusal(std::string(recording_header()) + std::string(masked_recording_note())),
              "(taken)");
}

TEST(Recording, SaysWhereItIsNone) {
    EXPECT_EQ(refusal("{}"),
              "desk.rec: is no recording: those begin with \"# deskreader recording 1\"");
    EXPECT_EQ(refusal(""),
              "desk.rec: is no recording: those begin with \"# deskreader recording 1\"");
    EXPECT_EQ(refusal(head + "? 0 00"), "desk.rec: line 2: expected +, -, > or < and a blank");
    EXPECT_EQ(refusal(head + "> x 00"), "desk.rec: line 2: expected microseconds");
    EXPECT_EQ(refusal(head + "> -1 00"), "desk.rec: line 2: expected microseconds");
    EXPECT_EQ(refusal(head + "> 99999999999999999999 00"),
              "desk.rec: line 2: expected microseconds");
    EXPECT_EQ(refusal(head + "> 0 0"), "desk.rec: line 2: expected pairs of hexadecimal digits");
    EXPECT_EQ(refusal(head + "> 0"), "desk.rec: line 2: expected pairs of hexadecimal digits");
    EXPECT_EQ(refusal(head + "> 0 0G"), "desk.rec: line 2: expected pairs of hexadecimal digits");
    EXPECT_EQ(refusal(head + "< 0 ??"), "desk.rec: line 2: expected pairs of hexadecimal digits");
    EXPECT_EQ(refusal(head + "> 0 ?0"), "desk.rec: line 2: expected pairs of hexadecimal digits");
    EXPECT_EQ(refusal(head + "+ 0 lpt x"), "desk.rec: line 2: expected serial or usb");
    EXPECT_EQ(refusal(head + "> 0 " + std::string(131074, '0')),
              "desk.rec: line 2: more than 65536 bytes at once");
    EXPECT_EQ(refusal(head + "> 0 " + std::string(131072, '0')), "(taken)");
}

TEST(Recording, HasLimits) {
    EXPECT_EQ(refusal(head + std::string(1'000'000, '\n')), "desk.rec: more than a million lines");
    const kit::ScratchDirectory directory;
    const std::string path = directory / "long.rec";
    kit::write_file(path, head);
    std::filesystem::resize_file(path, (32u << 20) + 1);
    EXPECT_EQ(refusal_of_file(path), path + ": is longer than 32 MiB");
    EXPECT_EQ(refusal_of_file(directory.path()), directory.path().string() + ": is a directory");
    EXPECT_EQ(refusal_of_file("/nonexistent.rec"), "/nonexistent.rec: cannot be read");
    EXPECT_EQ(refusal_of_file("/dev/zero"), "/dev/zero: cannot be read");
}

// Whatever stands in a file: a recording or a refusal, and then answers without end of the world.
TEST(Recording, IsSafeWithAnyFile) {
    std::uint32_t state = 1;
    const auto next = [&](std::uint32_t below) {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) % below;
    };
    constexpr std::string_view pieces[] = {"> ",   "< ", "+ ", "- ",   "0 ", "serial",
                                           "usb ", "00", "1B", "24??", "\n", "\n",
                                           "3F",   "#",  "x",  "??",   " "};
    int taken = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string text = head;
        for (std::uint32_t i = next(30); i > 0; --i)
            text += pieces[next(std::size(pieces))];
        try {
            Replay replay(read_recording(text, "desk.rec"));
            ++taken;
            for (std::uint32_t i = next(10); i > 0; --i) {
                const Bytes sent(next(5), static_cast<std::uint8_t>(next(256)));
                replay.receive(sent);
                if (next(2) == 0) replay.settle();
            }
            replay.end();
            EXPECT_LE(replay.take_complaints().size(), 100u);
        } catch (const RecordingError&) {
        }
    }
    EXPECT_GT(taken, 100);
}

using Texts = std::vector<std::string>;

TEST(Replay, AnswersWhatWasRecordedWhateverThePieces) {
    Replay replay(lines("> 0 0102\n< 1 AA\n< 2 BB\n> 3 03\n> 4 04\n< 5 CC\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01}), Bytes{});
    EXPECT_EQ(replay.receive(Bytes{0x02}), (Bytes{0xAA, 0xBB}));
    EXPECT_EQ(replay.receive(Bytes{0x03, 0x04}), Bytes{0xCC});
    EXPECT_FALSE(replay.is_waiting());
    replay.end();
    EXPECT_EQ(replay.take_complaints(), Texts{});
    EXPECT_FALSE(replay.has_strayed());
    EXPECT_EQ(replay.describe(), "3 of 3 requests followed");
}

TEST(Replay, TakesAnyByteWhereOneMayStand) {
    Replay replay(lines("> 0 01??03\n< 1 AA\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01, 0x77, 0x03}), Bytes{0xAA});
    EXPECT_FALSE(replay.has_strayed());
}

TEST(Replay, LeavesOutWhatWasSaidBeforeAnyRequest) {
    Replay replay(lines("< 0 EE\n> 1 01\n< 2 AA\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01}), Bytes{0xAA});
}

TEST(Replay, OverlooksOtherBytesAndSaysSo) {
    Replay replay(lines("> 0 010203\n< 1 AA\n> 2 04\n< 3 BB\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01, 0x99, 0x03}), Bytes{});
    EXPECT_TRUE(replay.is_waiting());
    EXPECT_EQ(replay.settle(), Bytes{0xAA});
    EXPECT_EQ(replay.take_complaints(),
              Texts{"line 2: the host sent another byte 2: 9903, recorded is 0203"});
    EXPECT_EQ(replay.receive(Bytes{0x04}), Bytes{0xBB});
    EXPECT_TRUE(replay.has_strayed());
}

TEST(Replay, GivesNoAnswerToWhatIsNotRecorded) {
    Replay replay(lines("> 0 010203\n< 1 AA\n"));
    replay.receive(Bytes{0x05, 0x06});
    EXPECT_EQ(replay.settle(), Bytes{});
    EXPECT_EQ(replay.take_complaints(), Texts{"line 2: the host sent 0506, recorded is 010203"});
    EXPECT_EQ(replay.receive(Bytes{0x01, 0x02, 0x03}), Bytes{0xAA});
}

TEST(Replay, MeetsTheHostLaterOn) {
    Replay replay(lines("> 0 01\n< 1 AA\n> 2 02\n< 3 BB\n> 4 03\n< 5 CC\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01}), Bytes{0xAA});
    EXPECT_EQ(replay.receive(Bytes{0x03}), Bytes{});
    EXPECT_EQ(replay.settle(), Bytes{0xCC});
    EXPECT_EQ(replay.take_complaints(),
              Texts{"line 4: the host left out what is recorded up to line 6"});
}

TEST(Replay, RepeatsItsLastAnswer) {
    Replay replay(lines("> 0 01\n< 1 AA\n> 2 02\n< 3 BB\n> 4 01\n< 5 CC\n"));
    EXPECT_EQ(replay.receive(Bytes{0x01}), Bytes{0xAA});
    EXPECT_EQ(replay.receive(Bytes{0x01}), Bytes{});
    EXPECT_EQ(replay.settle(), Bytes{0xAA});
    EXPECT_EQ(replay.take_complaints(), Texts{"line 2: the host repeats this request"});
    EXPECT_EQ(replay.receive(Bytes{0x02, 0x01}), (Bytes{0xBB, 0xCC}));
}

TEST(Replay, SaysWhatTheHostLeftOutAtTheEnd) {
    Replay replay(lines("> 0 01\n> 1 02\n> 2 03\n"));
    replay.receive(Bytes{0x01});
    replay.end();
    EXPECT_EQ(replay.take_complaints(),
              Texts{"line 3: the host ended, 2 of 3 requests were not sent"});
    EXPECT_TRUE(replay.has_strayed());
}

TEST(Replay, SaysWhatTheHostSendsBeyondTheEnd) {
    Replay replay(lines("> 0 01\n"));
    replay.receive(Bytes{0x01});
    replay.receive(Bytes{0x02});
    EXPECT_EQ(replay.settle(), Bytes{});
    EXPECT_EQ(replay.take_complaints(), Texts{"the recording is over, and the host sent 02"});
}

TEST(Replay, ComplainsAHundredTimesAtTheMost) {
    Replay replay(lines("> 0 0102\n"));
    for (int i = 0; i < 500; ++i) {
        replay.receive(Bytes{0x05});
        replay.settle();
    }
    const auto complaints = replay.take_complaints();
    EXPECT_EQ(complaints.size(), 100u);
    EXPECT_EQ(complaints.back(), "and so on");
}

TEST(Replay, HoldsNoMoreThanItMust) {
    Replay replay(lines("> 0 01\n< 1 AA\n"));
    for (int i = 0; i < 20; ++i)
        replay.receive(Bytes(4096, 0x05));
    EXPECT_EQ(replay.take_complaints().size(), 1u);
}

// Reports: output 00, mode, count, payload; input two bytes, payload. Mode commands go unanswered
// on a serial line.
TEST(Replay, TakesThePayloadOutOfReports) {
    Replay replay(
        lines("+ 0 usb 2E8B:0142\n"
              "> 1 00010336300300000000\n< 2 010241420000\n"
              "> 3 0001041B24493000\n< 4 01024F4B\n"
              "> 5 00000131\n< 6 000043\n"));
    EXPECT_EQ(replay.receive(Bytes{0x36, 0x30, 0x03}), (Bytes{0x41, 0x42}));
    EXPECT_EQ(replay.receive(Bytes{0x1B, 0x24, 0x49, 0x34}), Bytes{});
    EXPECT_EQ(replay.receive(Bytes{0x31}), Bytes{0x43});
    EXPECT_FALSE(replay.has_strayed());
}

// A reader of a recording, as a program.
class RecordedReader {
  public:
    explicit RecordedReader(const std::string& text) {
        kit::write_file(path(), head + text);
        process_.emplace(virtual_reader_program, std::vector<std::string>{"--replay", path()});
        device_ = process_->read_line();
    }

    std::string path() const { return directory_ / "desk.rec"; }
    const std::string& device() const { return device_; }
    Process& process() { return *process_; }

  private:
    kit::ScratchDirectory directory_;
    std::optional<Process> process_;
    std::string device_;
};

// GetDevInfo of the IC frame: 60 02 30 20 72, answered with status 00 and "DESK".
constexpr char device_information[] =
    "> 100 3630303233303230373203\n< 900 3630303530303434343535333442374403\n";

TEST(ReplayProgram, IsAReaderForAnyHost) {
    RecordedReader reader(device_information);
    EXPECT_EQ(reader.device().find("/dev/pts/"), 0u);
    reader.process().write_line("status");
    EXPECT_EQ(reader.process().read_line(), "0 of 1 requests followed");
    reader.process().write_line("insert bank");
    EXPECT_EQ(reader.process().read_line(), "a recording takes only: status, quit");
    reader.process().write_line("quit");
    const Finished run = reader.process().finish();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.errors,
              "virtual-reader: line 2: the host ended, 1 of 1 requests were not sent\n");
}

TEST(ReplayProgram, ReportsAFileThatIsNoRecording) {
    const Deck deck("{}");
    const Finished run = Process(virtual_reader_program, {"--replay", deck.path()}).finish();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "virtual-reader: " + deck.path() +
                              ": is no recording: those begin with \"# deskreader recording 1\"\n");
}

}  // namespace
