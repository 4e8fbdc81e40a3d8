// Logs of the library, as text, objects and timeline. The frames were put together by hand.
#include <memory>

#include "bytes.h"
#include "explain/log_views.h"

namespace {

using namespace explain_tests;
using explain::LogDecoder;
using explain::LogFile;
using explain::LogKind;

// Commands and answers as the library logs them: the hexadecimal text of what is on the wire.
constexpr std::string_view session =
    "Info(2026-11-21 09:30:00):Enter IC_GetInfo\r\n"
    "Info(2026-11-21 09:30:00):Send szPackage: 3630303245313031383203\r\n"  // E1 01
    "Info(2026-11-21 09:30:02):Read Pack(len=9): 363030314642394103\r\n"    // FB
    "Error(2026-11-21 09:30:02):IcPowerOn Error!\r\n"
    "Info(2026-11-21 09:30:05):Send szPackage: 363030374533303130304232303130433030334103\r\n"
    "Info(2026-11-21 09:30:05):Read Pack(len=37): "
    "36303046303037303041354130383632323230323132333435"
    "363738393039303030304403\r\n"
    "Info(2026-11-21 09:30:06):Exit IC_GetInfo, ret = -4005\r\n";

struct View {
    std::string text;
    std::vector<std::string> objects;
    std::string summary;
};

using Viewer = void (*)(LogDecoder&, bool, const explain::LogSink&);

View viewed(std::string_view log, Viewer viewer, bool unmasked = false, bool coloured = false) {
    View view;
    LogDecoder decoder(log,
                       {unmasked, [](int number) { return "<" + std::to_string(number) + ">"; }});
    viewer(decoder, coloured, [&](cJSON* object, const std::string& line) {
        view.text += line + "\n";
        char* printed = cJSON_PrintUnformatted(object);
        view.objects.push_back(printed);
        cJSON_free(printed);
        cJSON_Delete(object);
    });
    view.summary = explain::summary(decoder.counts());
    return view;
}

TEST(Log, IsShownAsMessages) {
    EXPECT_EQ(viewed(session, explain::view_messages).text,
              "2026-11-21 09:30:00    Enter IC_GetInfo\n"
              "2026-11-21 09:30:00  > power on, contact\n"
              "    IC frame  command  2 bytes\n"
              "      power on, contact  E101\n"
              "      check  82  right\n"
              "2026-11-21 09:30:02  < no card\n"
              "    IC frame  reply  1 byte\n"
              "      status  FB  no card\n"
              "      check  9A  right\n"
              "2026-11-21 09:30:02    IcPowerOn Error!\n"
              "2026-11-21 09:30:05  > APDU, contact: READ RECORD record 1 of file 1\n"
              "    IC frame  command  7 bytes\n"
              "      APDU, contact  E301\n"
              "      command  READ RECORD\n"
              "        CLA INS  00B2\n"
              "        P1 P2  010C  record 1 of file 1\n"
              "        Le  up to 256 bytes\n"
              "      check  3A  right\n"
              "2026-11-21 09:30:05  < done, 9000 done\n"
              "    IC frame  reply  15 bytes\n"
              "      status  00  done\n"
              "      response\n"
              "        70  Record template\n"
              "          5A  Application primary account number (PAN)  6222020000007890  "
              "6222020000007890\n"
              "        SW  9000  done\n"
              "      check  7D  right\n"
              "2026-11-21 09:30:06    Exit IC_GetInfo, ret = -4005 (<-4005>)\n");
}

TEST(Log, ShowsCardNumbersWhenAsked) {
    const std::string text = viewed(session, explain::view_messages, true).text;
    EXPECT_NE(text.find("6222021234567890  6222021234567890\n"), std::string::npos) << text;
    EXPECT_EQ(viewed(session, explain::view_messages).text.find("1234567890"), std::string::npos);
}

TEST(Log, IsATimeline) {
    EXPECT_EQ(viewed(session, explain::view_timeline).text,
              "2026-11-21 09:30:00           2 s  power on, contact  ->  no card\n"
              "2026-11-21 09:30:05    +3 s   0 s  APDU, contact: READ RECORD record 1 of file 1"
              "  ->  done, 9000 done\n");
}

TEST(Log, IsObjects) {
    const View messages = viewed(session, explain::view_messages);
    ASSERT_EQ(messages.objects.size(), 7u);
    EXPECT_EQ(messages.objects[0],
              R"({"line":1,"time":"2026-11-21 09:30:00","severity":"information",)"
              R"("text":"Enter IC_GetInfo"})");
    EXPECT_EQ(messages.objects[2],
              R"({"line":3,"time":"2026-11-21 09:30:02","direction":"from_reader",)"
              R"("title":"no card","frame":{"label":"IC frame","name":"reply","meaning":"1 byte",)"
              R"("parts":[{"name":"status","bytes":"FB","meaning":"no card","problem":true},)"
              R"({"name":"check","bytes":"9A","meaning":"right"}]}})");
    EXPECT_EQ(messages.objects[3], R"({"line":4,"time":"2026-11-21 09:30:02","severity":"error",)"
                                   R"("text":"IcPowerOn Error!"})");
    const View timeline = viewed(session, explain::view_timeline);
    ASSERT_EQ(timeline.objects.size(), 2u);
    EXPECT_EQ(timeline.objects[1], R"({"line":5,"time":"2026-11-21 09:30:05","gap_s":3,"took_s":0,)"
                                   R"("sent":"APDU, contact: READ RECORD record 1 of file 1",)"
                                   R"("answer":"done, 9000 done","answered":true})");
}

TEST(Log, IsCounted) {
    EXPECT_EQ(viewed(session, explain::view_messages).summary,
              "7 lines: 2 commands, 0 without an answer, 3 other messages, 0 damaged");
}

TEST(Log, IsColouredWhenAsked) {
    const std::string text =
        viewed("Error(2026-11-21 09:30:02):Cancel!\r\n", explain::view_messages, false, true).text;
    EXPECT_EQ(text, "\033[2m2026-11-21 09:30:02  \033[0m  \033[31mCancel!\033[0m\n");
}

// A failed read is logged as as many zeros as the command had bytes.
TEST(Log, KnowsThatNothingCame) {
    constexpr std::string_view log =
        "Info(2026-11-21 09:30:00):Send szPackage: 3630303245313031383203\r\n"
        "Info(2026-11-21 09:30:07):Read Pack(len=11): 0000000000000000000000\r\n"
        "Info(2026-11-21 09:30:08):Send szPackage: 3630303245313031383203\r\n";
    EXPECT_EQ(viewed(log, explain::view_timeline).text,
              "2026-11-21 09:30:00           7 s  power on, contact  ->  no answer\n"
              "2026-11-21 09:30:08    +1 s        power on, contact  ->  nothing was read\n");
    EXPECT_EQ(viewed(log, explain::view_timeline).summary,
              "3 lines: 2 commands, 2 without an answer, 0 other messages, 0 damaged");
}

TEST(Log, HasEscapeCommandsAsTheyAre) {
    constexpr std::string_view log =
        "Info(2026-11-21 09:30:00):Send Cmd: \033]\r\n"
        "Info(2026-11-21 09:30:03):Read Pack(len=15): 1B7331323334353637383930313D3F1C\r\n";
    EXPECT_EQ(viewed(log, explain::view_messages, true).text,
              "2026-11-21 09:30:00  > read track 2\n"
              "    escape command  1B5D  read track 2\n"
              "2026-11-21 09:30:03  < tracks\n"
              "    escape command  1B7331323334353637383930313D3F1C  tracks\n"
              "      characters  12345678901=?\n");
}

TEST(Log, LeavesOutWhatFramesRepeat) {
    constexpr std::string_view log =
        "Info(2026-11-21 09:30:00):Cmd: 1\023, CmdSize = 2\r\n"
        "Info(2026-11-21 09:30:00):Send szPackage: 023030303233313133323203\r\n"
        "Info(2026-11-21 09:30:00):PBOC_IcAPDU szInData = 0020008008241234FFFFFFFFFF\r\n";
    EXPECT_EQ(viewed(log, explain::view_messages).text,
              "2026-11-21 09:30:00  > beep\n"
              "    Union frame  command  2 bytes\n"
              "      beep  3113\n"
              "      check  22  right\n");
}

TEST(Log, ShowsALongAnswerThatItHasNotWhole) {
    const std::string log = "Info(2026-11-21 09:30:00):Read Pack(len=1300): AAAAAA96690508000090" +
                            std::string(2000, '7') + "\r\n";
    const std::string text = viewed(log, explain::view_messages).text;
    EXPECT_NE(text.find("the log has 1010 of 1300 bytes"), std::string::npos)
        << text.substr(0, 300);
    EXPECT_EQ(text.find("7777"), std::string::npos);
}

TEST(Log, PassesOtherTextsThrough) {
    constexpr std::string_view log =
        "no log at all\n"
        "Info(2026-11-21 09:30:00):two\nlines\033[2J\r\n"
        "Info(yesterday):Send szPackage: 00\r\n"
        "Info(2026-11-21 09:30:00):Send szPackage: 36303Z\r\n"
        "Info(2026-11-21 09:30:00):Read Pack(len=x): 41\r\n"
        "Info(2026-11-21 09:30:00):Read Pack(len=\r\n";
    const View view = viewed(log, explain::view_messages);
    EXPECT_EQ(view.text,
              "  no log at all\n"
              "2026-11-21 09:30:00    two.lines.[2J..Info(yesterday):Send szPackage: 00\n"
              "2026-11-21 09:30:00  > no frame\n"
              "    3630  no frame\n"
              "      the line is damaged\n"
              "2026-11-21 09:30:00  < no frame\n"
              "    41  no frame\n"
              "      the line is damaged\n"
              "2026-11-21 09:30:00  < no answer\n");
    EXPECT_EQ(view.summary, "7 lines: 1 command, 0 without an answer, 2 other messages, 3 damaged");
    EXPECT_EQ(viewed("", explain::view_messages).text, "");
}

TEST(LogFile, SaysWhereAMessageBegins) {
    LogFile file("a\nb\nInfo(2026-11-21 09:30:00):c\nInfo(1970-01-02 00:00:01):d");
    const auto first = file.next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->text, "a\nb");
    EXPECT_FALSE(first->seconds);
    const auto second = file.next();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->line, 3u);
    EXPECT_EQ(second->text, "c");
    const auto third = file.next();
    ASSERT_TRUE(third);
    EXPECT_EQ(third->line, 4u);
    EXPECT_EQ(third->seconds, 86401);
    EXPECT_FALSE(file.next());
}

}  // namespace
