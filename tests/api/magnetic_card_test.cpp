#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::join;
using kit::Link;
using Messages = std::vector<std::string>;

// The commands on the wire, by selection.
Bytes command_of(int selection) {
    switch (selection) {
        case 1:
            return hex("1B 41 5D");
        case 2:
            return hex("1B 5D");
        case 3:
            return hex("1B 54 5D");
        case 12:
            return hex("1B 44 5D");
        case 13:
            return hex("1B 45 5D");
        case 23:
            return hex("1B 42 5D");
        default:
            return hex("1B 46 5D");
    }
}

struct Track {
    std::string text = std::string(300, '#');
    int length = -7;  // -7: not written

    std::string given() const { return text.substr(0, text.find('\0')); }
};

struct Read {
    int result = 0;
    Track one, two, three;
};

Read read(int selection, int room = 256, int timeout_s = 5) {
    Read out;
    out.result = RD_ReadMagCard(9, selection, room, out.one.text.data(), &out.one.length, room,
                                out.two.text.data(), &out.two.length, room, out.three.text.data(),
                                &out.three.length, timeout_s);
    return out;
}

// What a case says of a track: its text and its length afterwards.
struct Expected {
    std::string text;
    int length;
};

class MagneticCard : public testing::TestWithParam<Link> {
  protected:
    // The module's answer to a read: the characters of tracks 2, 3 and 1 with their marks.
    void expect_read(int selection, std::string_view characters) {
        desk_->expect(1, command_of(selection),
                      join({hex("1B 73"), kit::ascii(characters), hex("3F 1C")}));
    }
    void expect_reset() { desk_->expect_silence(1, hex("1B 30")); }

    kit::ConfigFile config_;
    kit::LogFile log_{1};
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, MagneticCard, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(MagneticCard, ResetSendsItsCommand) {
    expect_reset();
    EXPECT_EQ(RD_ResetMsr(), 0);
    EXPECT_EQ(log_.messages(), Messages{});
}

TEST(MagneticCardUnplugged, ResetSucceedsAndReadsDoNot) {
    const kit::ConfigFile config;
    const kit::LogFile log(1);
    kit::prepare_hid(&context);
    EXPECT_EQ(RD_ResetMsr(), 0);
    const Read given = read(123);
    EXPECT_EQ(given.result, -1000);
    EXPECT_EQ(given.one.given(), "");
    EXPECT_EQ(given.three.length, 0);
    EXPECT_EQ(log.messages(),
              (Messages{"Error:ReadTrack Error!\r\n", "Error:iErrorCode = -2\r\n"}));
}

TEST_P(MagneticCard, ReadsEverySelection) {
    for (const int selection : {1, 2, 3, 12, 13, 23, 123}) {
        SCOPED_TRACE(selection);
        const bool three_tracks = selection != 2 && selection != 3 && selection != 23;
        expect_read(selection, three_tracks ? "12A345%B6789" : "12A345");
        expect_reset();
        const Read given = read(selection);
        EXPECT_EQ(given.result, 0);
        const std::string tracks = std::to_string(selection);
        const auto named = [&](char track) { return tracks.find(track) != std::string::npos; };
        EXPECT_EQ(given.one.length, named('1') ? 5 : -7);
        EXPECT_EQ(given.two.length, named('2') ? 2 : -7);
        EXPECT_EQ(given.three.length, named('3') ? 3 : -7);
        EXPECT_EQ(given.one.given().substr(0, 5), three_tracks ? "B6789" : "#####");
        EXPECT_EQ(given.two.given(), "12");
        EXPECT_EQ(given.three.given(), "345");
        desk_->verify();
    }
    EXPECT_EQ(log_.messages(), Messages{});
}

TEST_P(MagneticCard, AnotherSelectionReadsNothing) {
    for (const int selection : {0, 4, 21, 132, -1}) {
        expect_reset();
        const Read given = read(selection);
        EXPECT_EQ(given.result, 0) << selection;
        for (const Track* track : {&given.one, &given.two, &given.three}) {
            EXPECT_EQ(track->given(), "");
            EXPECT_EQ(track->length, 0);
        }
    }
}

TEST_P(MagneticCard, NegativeLimitIsRefusedWithoutTraffic) {
    const Read given = read(23, 256, -1);
    EXPECT_EQ(given.result, -1007);
    EXPECT_EQ(given.two.length, -7);
    EXPECT_EQ(given.two.text[0], '#');
    EXPECT_EQ(log_.messages(), Messages{"Error:Timeout Error!\r\n"});
    EXPECT_EQ(RD_ReadMagCard(0, 23, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr,
                             -2147483647 - 1),
              -1007);
    EXPECT_EQ(log_.messages().back(), "Error:Timeout Error!\r\n") << "the limit is looked at first";
}

// A read with the pointers that `present` names: 1, 2, 3 the texts, a, b, c their lengths.
int read_with(int selection, std::string_view present) {
    static char texts[3][256];
    static int lengths[3];
    const auto text = [&](std::size_t i) {
        return present.find(static_cast<char>('1' + i)) == present.npos ? nullptr : texts[i];
    };
    const auto length = [&](std::size_t i) {
        return present.find(static_cast<char>('a' + i)) == present.npos ? nullptr : &lengths[i];
    };
    return RD_ReadMagCard(0, selection, 256, text(0), length(0), 256, text(1), length(1), 256,
                          text(2), length(2), 1);
}

TEST_P(MagneticCard, EverySelectionNeedsItsPointers) {
    struct Case {
        int selection;
        std::string needed;
    };
    const Case cases[] = {{1, "1a"},       {2, "2b"},     {3, "3c"},       {12, "1a2b"},
                          {13, "1a3c"},    {23, "2b3c"},  {123, "1a2b3c"}, {0, "1a2b3c"},
                          {321, "1a2b3c"}, {-1, "1a2b3c"}};
    for (const Case& row : cases) {
        SCOPED_TRACE(row.selection);
        for (const char missing : row.needed) {
            std::string present = "1a2b3c";
            std::erase(present, missing);
            EXPECT_EQ(read_with(row.selection, present), -1007) << "without " << missing;
            EXPECT_EQ(log_.messages().back(), "Error:Track Error!\r\n");
        }
        if (row.selection > 0 && row.selection < 321) expect_read(row.selection, "1");
        expect_reset();
        EXPECT_EQ(read_with(row.selection, row.needed), 0) << "the others may be null";
        desk_->verify();
    }
}

struct PlaceholderCase {
    int selection;
    const char* characters;  // tracks 2, 3 and 1 as the module sends them
    int result;
    Expected one, two, three;  // "#": not named, not looked at
};

const Expected other{"#", -7};

const PlaceholderCase placeholder_cases[] = {
    // one track
    {1, "%\x7F", -2001, {"", 1}, other, other},
    {1, "%00000", -2001, {"", 5}, other, other},
    {1, "%0000", 0, {"0000", 4}, other, other},
    {1, "%000000", 0, {"000000", 6}, other, other},
    {1, "%\x7F\x7F", 0, {"\x7F\x7F", 2}, other, other},
    {2, "\x7F", -2002, other, {"", 1}, other},
    {2, "00000", -2002, other, {"", 5}, other},
    {3, "A\x7F", -2003, other, other, {"", 1}},
    {3, "A00000", -2003, other, other, {"", 5}},
    // tracks that the selection does not name are not looked at
    {2, "12A00000", 0, other, {"12", 2}, {"00000", -7}},
    {3, "00000A12", 0, other, {"00000", -7}, {"12", 2}},
    // 1 and 2
    {12, "\x7F%\x7F", -2106, {"", 1}, {"", 1}, other},
    {12, "00000%00000", -2106, {"", 5}, {"", 5}, other},
    {12, "00000%\x7F", -2001, {"", 1}, {"00000", 5}, other},
    {12, "\x7F%00000", -2001, {"", 5}, {"\x7F", 1}, other},
    {12, "12%\x7F", -2001, {"", 1}, {"12", 2}, other},
    {12, "00000%B12", -2002, {"B12", 3}, {"", 5}, other},
    {12, "\x7F%B12", -2002, {"B12", 3}, {"", 1}, other},
    {12, "12%B12", 0, {"B12", 3}, {"12", 2}, other},
    {12, "12A00000%00000", -2001, {"", 5}, {"12", 2}, {"00000", -7}},
    // 1 and 3
    {13, "A\x7F%\x7F", -2107, {"", 1}, other, {"", 1}},
    {13, "A00000%00000", -2107, {"", 5}, other, {"", 5}},
    {13, "A00000%\x7F", -2001, {"", 1}, other, {"00000", 5}},
    {13, "A12%00000", -2001, {"", 5}, other, {"12", 2}},
    {13, "A\x7F%B12", -2003, {"B12", 3}, other, {"", 1}},
    {13, "A00000%B12", -2003, {"B12", 3}, other, {"", 5}},
    // 2 and 3
    {23,
     "\x7F"
     "A\x7F",
     -2004,
     other,
     {"", 1},
     {"", 1}},
    {23, "00000A00000", -2004, other, {"", 5}, {"", 5}},
    {23, "00000A\x7F", -2002, other, {"", 5}, {"\x7F", 1}},
    {23,
     "\x7F"
     "A00000",
     -2002,
     other,
     {"", 1},
     {"00000", 5}},
    {23, "12A\x7F", -2003, other, {"12", 2}, {"", 1}},
    {23, "12A00000", -2003, other, {"12", 2}, {"", 5}},
    {23, "00000A12", -2002, other, {"", 5}, {"12", 2}},
    // all
    {123,
     "\x7F"
     "A\x7F%\x7F",
     -2000,
     {"", 1},
     {"", 1},
     {"", 1}},
    {123, "00000A00000%00000", -2000, {"", 5}, {"", 5}, {"", 5}},
    {123,
     "\x7F"
     "A00000%\x7F",
     -2106,
     {"", 1},
     {"", 1},
     {"00000", 5}},
    {123, "00000A12%00000", -2106, {"", 5}, {"", 5}, {"12", 2}},
    {123, "00000A\x7F%\x7F", -2107, {"", 1}, {"00000", 5}, {"", 1}},
    {123, "12A00000%00000", -2107, {"", 5}, {"12", 2}, {"", 5}},
    {123, "00000A00000%\x7F", -2004, {"\x7F", 1}, {"", 5}, {"", 5}},
    {123,
     "\x7F"
     "A\x7F%B12",
     -2004,
     {"B12", 3},
     {"", 1},
     {"", 1}},
    {123, "12A34%\x7F", -2001, {"", 1}, {"12", 2}, {"34", 2}},
    {123,
     "\x7F"
     "A34%00000",
     -2001,
     {"", 5},
     {"\x7F", 1},
     {"34", 2}},
    {123, "00000A34%B12", -2002, {"B12", 3}, {"", 5}, {"34", 2}},
    {123,
     "\x7F"
     "A00000%B12",
     -2002,
     {"B12", 3},
     {"", 1},
     {"00000", 5}},
    {123, "12A\x7F%B12", -2003, {"B12", 3}, {"12", 2}, {"", 1}},
    {123, "12A00000%B12", -2003, {"B12", 3}, {"12", 2}, {"", 5}},
    {123, "12A34%B12", 0, {"B12", 3}, {"12", 2}, {"34", 2}},
};

void compare(const Track& track, const Expected& expected, const char* name) {
    EXPECT_EQ(track.length, expected.length) << name;
    if (expected.text == "#") return;
    EXPECT_EQ(track.given(), expected.text) << name;
}

TEST_P(MagneticCard, PlaceholdersAreFailedTracks) {
    for (const PlaceholderCase& row : placeholder_cases) {
        SCOPED_TRACE(std::to_string(row.selection) + ": " + row.characters);
        expect_read(row.selection, row.characters);
        expect_reset();
        const Read given = read(row.selection);
        EXPECT_EQ(given.result, row.result);
        compare(given.one, row.one, "track 1");
        compare(given.two, row.two, "track 2");
        compare(given.three, row.three, "track 3");
        desk_->verify();
    }
}

TEST_P(MagneticCard, PlaceholderIsLoggedAsAFailedRead) {
    expect_read(2, "00000");
    expect_reset();
    EXPECT_EQ(read(2).result, -2002);
    EXPECT_EQ(log_.messages(),
              (Messages{"Error:ReadTrack Error!\r\n", "Error:iErrorCode = -2002\r\n"}));
}

TEST_P(MagneticCard, FailedReadIsMappedAndResetAllTheSame) {
    desk_->expect_silence(1, hex("1B 42 5D"));
    expect_reset();
    const Read given = read(23, 256, 1);
    EXPECT_EQ(given.result, -1004);
    EXPECT_EQ(given.two.given(), "");
    EXPECT_EQ(given.two.length, 0);
    EXPECT_EQ(given.three.given(), "");
    EXPECT_EQ(given.three.length, 0);
    EXPECT_EQ(given.one.length, -7);
    EXPECT_EQ(log_.messages(),
              (Messages{"Error:ReadTrack Error!\r\n", "Error:iErrorCode = -62\r\n"}));
}

TEST_P(MagneticCard, WrongHeaderIsTheSelectionsFailure) {
    constexpr std::pair<int, int> failures[] = {{1, -2001},  {2, -2002},  {3, -2003},  {12, -2106},
                                                {13, -2107}, {23, -2004}, {123, -2000}};
    for (const auto& [selection, failure] : failures) {
        desk_->expect(1, command_of(selection), hex("1B 74 31 3F 1C"));
        expect_reset();
        EXPECT_EQ(read(selection).result, failure);
    }
}

TEST_P(MagneticCard, NamedBuffersAreClearedToTheirCapacity) {
    expect_read(123, "12A34%56");
    expect_reset();
    Read given = read(123, 10);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.one.text.substr(0, 11), std::string("56\0\0\0\0\0\0\0\0#", 11));
    EXPECT_EQ(given.two.text.substr(0, 11), std::string("12\0\0\0\0\0\0\0\0#", 11));
    EXPECT_EQ(given.three.text.substr(0, 11), std::string("34\0\0\0\0\0\0\0\0#", 11));
    expect_read(1, "12A34%56");
    expect_reset();
    given = read(1, 10);
    EXPECT_EQ(given.one.text.substr(0, 11), std::string("56\0\0\0\0\0\0\0\0#", 11));
    EXPECT_EQ(given.two.text.substr(0, 4), std::string("12\0#", 4)) << "not named, not cleared";
}

TEST_P(MagneticCard, TracksThatFillTheirBuffersAreMeasuredToItsEnd) {
    expect_read(123, "12345A67%89");
    expect_reset();
    Read given = read(123, 4);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two.text.substr(0, 5), "1234#");
    EXPECT_EQ(given.two.length, 4);
    EXPECT_EQ(given.three.text.substr(0, 5), std::string("67\0\0#", 5));
    EXPECT_EQ(given.three.length, 2);
    EXPECT_EQ(given.one.length, 2);
    expect_read(2, "00000");
    expect_reset();
    given = read(2, 5);
    EXPECT_EQ(given.result, -2002) << "a placeholder, also without a terminator";
    EXPECT_EQ(given.two.given(), "");
    EXPECT_EQ(given.two.length, 5);
}

TEST_P(MagneticCard, TheRoomOfTrack2GoesForBoth) {
    std::string two(300, '#');
    std::string three(300, '#');
    int length2 = -7;
    int length3 = -7;
    expect_read(23, "1A34567");
    expect_reset();
    EXPECT_EQ(RD_ReadMagCard(0, 23, 0, nullptr, nullptr, 4, two.data(), &length2, 40, three.data(),
                             &length3, 5),
              0);
    EXPECT_EQ(three.substr(0, 5), std::string("3456\0", 5));
    EXPECT_EQ(length3, 4);
    EXPECT_EQ(length2, 1);
    three.assign(300, '#');
    expect_read(23, "1A34567");
    expect_reset();
    EXPECT_EQ(RD_ReadMagCard(0, 23, 0, nullptr, nullptr, 40, two.data(), &length2, 4, three.data(),
                             &length3, 5),
              0);
    EXPECT_EQ(three.substr(0, 7), std::string("34567\0#", 7));
    EXPECT_EQ(length3, 5);
}

TEST_P(MagneticCard, BuffersWithoutRoomStayAsTheyAre) {
    for (const int room : {0, -1}) {
        expect_read(123, "12A34%56");
        expect_reset();
        const Read given = read(123, room);
        EXPECT_EQ(given.result, 0);
        for (const Track* track : {&given.one, &given.two, &given.three}) {
            EXPECT_EQ(track->length, 0);
            EXPECT_EQ(track->text[0], '#');
        }
    }
}

TEST(MagneticCardLimit, IsSeconds) {
    const kit::ConfigFile config;
    kit::FakeClock clock;
    kit::ScriptedHid reader(&clock);
    kit::prepare_hid(&context);
    reader.expect_silence(1, hex("1B 5D"));
    reader.expect_silence(1, hex("1B 30"));
    const unsigned long long begin = GetTickCount();
    EXPECT_EQ(read(2, 256, 30).result, -1004);
    EXPECT_GE(GetTickCount() - begin, 30'000u);
    EXPECT_LT(GetTickCount() - begin, 31'000u);
    reader.expect(1, hex("1B 5D"), hex("1B 73 31 3F 1C"));
    reader.expect_silence(1, hex("1B 30"));
    EXPECT_EQ(read(2, 256, 2147483647).result, 0);
}

TEST_P(MagneticCard, CancelledReadIsTheSelectionsFailure) {
    if (GetParam() == Link::hid) return;  // this script has one thread
    desk_->expect_silence(1, hex("1B 46 5D"));
    expect_reset();
    std::jthread canceller([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        RD_Cancel();
    });
    EXPECT_EQ(read(123, 256, 10).result, -2000);
}

// Writing.

int write(const char* track2, const char* track3, int timeout_s = 5) {
    return RD_WriteMagCard(9, nullptr, -1, track2, -1, track3, -1, timeout_s);
}

constexpr char write_2[] = "1B 74 31 32 3D 33 1D 1B 5C 1B 6A";
constexpr char write_3[] = "1B 74 41 34 35 27 1D 1B 5C 1B 6A";
constexpr char write_both[] = "1B 74 31 32 3D 33 41 34 35 27 1D 1B 5C 1B 6A";

TEST_P(MagneticCard, WritesBothTracks) {
    desk_->expect(1, hex(write_both), hex("1B 42 72 70"));
    expect_reset();
    EXPECT_EQ(write("12=3", "45'"), 0);
    EXPECT_EQ(log_.messages(), Messages{});
}

TEST_P(MagneticCard, WritesTheTrackThatIsGiven) {
    desk_->expect(1, hex(write_2), hex("1B 72 70"));
    expect_reset();
    EXPECT_EQ(write("12=3", nullptr), 0);
    desk_->expect(1, hex(write_3), hex("1B 54 72 70"));
    expect_reset();
    EXPECT_EQ(write(nullptr, "45'"), 0);
}

TEST_P(MagneticCard, WritesTheGoodOneOfTwoTexts) {
    const std::string long_text(121, '1');
    for (const char* bad : {"", "45B", "4 5", long_text.c_str()}) {
        desk_->expect(1, hex(write_2), hex("1B 72 70"));
        expect_reset();
        EXPECT_EQ(write("12=3", bad), 0);
        desk_->expect(1, hex(write_3), hex("1B 54 72 71"));
        expect_reset();
        EXPECT_EQ(write(bad, "45'"), -2103) << "the result is that write's";
        EXPECT_EQ(write(bad, bad), -1007);
        EXPECT_EQ(log_.messages().back(), "Error:TrackData Error!\r\n");
    }
}

TEST_P(MagneticCard, TextsOf120CharactersAreWritten) {
    const std::string text(120, '@');
    desk_->expect(1, join({hex("1B 74"), Bytes(120, '@'), hex("1D 1B 5C 1B 6A")}), hex("1B 72 70"));
    expect_reset();
    EXPECT_EQ(write(text.c_str(), nullptr), 0);
    desk_->expect(
        1, join({hex("1B 74"), Bytes(120, '@'), hex("41"), Bytes(120, '@'), hex("1D 1B 5C 1B 6A")}),
        hex("1B 42 72 70"));
    expect_reset();
    EXPECT_EQ(write(text.c_str(), text.c_str()), 0);
}

TEST_P(MagneticCard, WritesThatAreRefusedSendNothing) {
    const std::string long_text(121, '1');
    EXPECT_EQ(write(long_text.c_str(), nullptr), -1007);
    EXPECT_EQ(write(nullptr, long_text.c_str()), -1007);
    EXPECT_EQ(write("", nullptr), -1007);
    EXPECT_EQ(write(nullptr, "1?"), -1007);
    EXPECT_EQ(log_.messages(), Messages(4, "Error:TrackData Error!\r\n"));
    EXPECT_EQ(write(nullptr, nullptr), -1007);
    EXPECT_EQ(log_.messages().back(), "Error:TrackData Is Null!\r\n");
    EXPECT_EQ(write("1", nullptr, -1), -1007);
    EXPECT_EQ(log_.messages().back(), "Error:Timeout Error!\r\n");
    EXPECT_EQ(write("x", nullptr, -1), -1007);
    EXPECT_EQ(log_.messages().back(), "Error:TrackData Error!\r\n")
        << "the text is looked at first";
    EXPECT_EQ(write(nullptr, nullptr, -1), -1007);
    EXPECT_EQ(log_.messages().back(), "Error:TrackData Is Null!\r\n");
    EXPECT_EQ(log_.messages().size(), 8u);
}

TEST_P(MagneticCard, FailedWriteIsLoggedAndReset) {
    for (const auto& [reply, result] :
         {std::pair{"1B 72 71", -2102}, std::pair{"1B 54 72 71", -2103},
          std::pair{"1B 72 70", -2104}}) {
        desk_->expect(1, hex(write_both), hex(reply));
        expect_reset();
        EXPECT_EQ(write("12=3", "45'"), result);
    }
    EXPECT_EQ(log_.messages(),
              (Messages{"Error:WriteTrack Error!\r\n", "Error:iErrorCode = -2102\r\n",
                        "Error:WriteTrack Error!\r\n", "Error:iErrorCode = -2103\r\n",
                        "Error:WriteTrack Error!\r\n", "Error:iErrorCode = -2104\r\n"}));
    desk_->expect_silence(1, hex(write_2));
    expect_reset();
    EXPECT_EQ(write("12=3", nullptr, 1), -1004);
    EXPECT_EQ(log_.messages().back(), "Error:iErrorCode = -62\r\n");
}

TEST(TrackData, MayHoldDigitsAndFiveSigns) {
    EXPECT_EQ(IsTrackDataValue(""), 1);
    EXPECT_EQ(IsTrackDataValue("0123456789='@#:"), 1);
    const std::string allowed = "0123456789='@#:";
    for (int code = 1; code < 256; ++code) {
        const char text[] = {static_cast<char>(code), '\0'};
        EXPECT_EQ(IsTrackDataValue(text), allowed.find(text[0]) == std::string::npos ? 0 : 1)
            << code;
    }
    EXPECT_EQ(IsTrackDataValue(nullptr), 0);
}

TEST(TrackData, FirstBadCharacterIsLogged) {
    const kit::LogFile log;
    EXPECT_EQ(IsTrackDataValue("12B4C"), 0);
    EXPECT_EQ(IsTrackDataValue("\xE7"), 0);
    EXPECT_EQ(log.messages(),
              (Messages{"Info:szTrackData[2] = 42\r\n", "Info:szTrackData[0] = E7\r\n"}));
}

// The card number.

struct Number {
    int result;
    std::string text;
    int length = -7;
};

Number card_number(int selection, int kind, int timeout_s = 5) {
    std::string out(256, '#');
    Number given{0, {}};
    given.result = RD_GetMagCardNo(9, selection, kind, out.data(), &given.length, timeout_s);
    given.text = out.substr(0, out.find('\0'));
    return given;
}

TEST_P(MagneticCard, CardNumberStandsInTheNamedTrack) {
    struct Case {
        int selection;
        int kind;
        const char* characters;
        std::string number;
    };
    const Case cases[] = {
        {1, 0, "2=A3=%12=5", "12"},  {2, 0, "6222=99A1'", "6222"},   {3, 1, "2=A99'1=", "99"},
        {3, 2, "2=A99'1=", "99"},    {3, 2, "2=A99=1'", "99"},       {123, 0, "34=5A67%12", "34"},
        {123, 0, "34A67=%12", "67"}, {123, 0, "34=5A67=%12=", "12"}, {23, 0, "12=34A56=", "12"},
        {23, 1, "12=34A56'7", "56"}, {12, 0, "34=5%12", "34"},       {13, 1, "A5'6%12", "5"},
        {2, 0, "12|34=5", "34"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(std::to_string(row.selection) + ": " + row.characters);
        expect_read(row.selection, row.characters);
        expect_reset();
        const Number given = card_number(row.selection, row.kind);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.text, row.number);
        EXPECT_EQ(given.length, static_cast<int>(row.number.size()));
    }
    EXPECT_EQ(log_.messages(), Messages{});
}

TEST_P(MagneticCard, OneFailedTrackOfTwoIsTolerated) {
    for (const char* characters : {"00000A34=",
                                   "\x7F"
                                   "A34="}) {
        expect_read(23, characters);
        expect_reset();
        const Number given = card_number(23, 0);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.text, "34");
        EXPECT_EQ(given.length, 2);
    }
    expect_read(23, "12=3A00000");
    expect_reset();
    EXPECT_EQ(card_number(23, 0).text, "12");
    expect_read(123, "00000A34=%B1");
    expect_reset();
    EXPECT_EQ(card_number(123, 0).text, "34");
}

TEST_P(MagneticCard, AFailedTrack2AloneHasNoNumber) {
    desk_->expect(1, hex("1B 5D"), hex("1B 74 3F 1C"));
    expect_reset();
    const Number given = card_number(2, 0);
    EXPECT_EQ(given.result, -2105);
    EXPECT_EQ(given.text, "");
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(log_.messages(),
              (Messages{"Error:ReadTrack Error!\r\n", "Error:iErrorCode = -2002\r\n",
                        "Error:GetCardNo Error!\r\n", "Error:iErrorCode = -2105\r\n"}));
}

TEST_P(MagneticCard, OtherFailedReadsEndIt) {
    struct Case {
        int selection;
        const char* characters;
        int result;
    };
    constexpr Case cases[] = {
        {1, "%\x7F", -2001},          {23, "00000A00000", -2004},
        {12, "00000%00000", -2106},   {13, "A00000%00000", -2107},
        {123, "12=A34%00000", -2001}, {123, "00000A00000%00000", -2000},
    };
    for (const Case& row : cases) {
        expect_read(row.selection, row.characters);
        expect_reset();
        const Number given = card_number(row.selection, 0);
        EXPECT_EQ(given.result, row.result);
        EXPECT_EQ(given.length, -7);
        EXPECT_EQ(given.text[0], '#');
    }
    desk_->expect_silence(1, hex("1B 5D"));
    expect_reset();
    EXPECT_EQ(card_number(2, 0, 1).result, -1004);
    const Messages messages = log_.messages();
    EXPECT_EQ(Messages(messages.end() - 4, messages.end()),
              (Messages{"Error:ReadTrack Error!\r\n", "Error:iErrorCode = -62\r\n",
                        "Error:ReadTrack Error!\r\n", "Error:iErrorCode = -1004\r\n"}));
}

TEST_P(MagneticCard, WithoutAnEndCharacterThereIsNoNumber) {
    expect_read(23, "12A345");
    expect_reset();
    const Number given = card_number(23, 0);
    EXPECT_EQ(given.result, -2105);
    EXPECT_EQ(given.text, "345") << "what was collected last";
    EXPECT_EQ(given.length, 3);
    expect_read(2, "12=");
    expect_reset();
    EXPECT_EQ(card_number(2, 3).result, -2105);
}

TEST_P(MagneticCard, AnotherSelectionHasNoNumber) {
    expect_reset();
    const Number given = card_number(5, 0);
    EXPECT_EQ(given.result, -2105);
    EXPECT_EQ(given.text, "");
}

TEST_P(MagneticCard, LongestNumberFits256Bytes) {
    // A reply of 248 bytes is the longest that HID carries whole.
    expect_read(2, std::string(243, '7') + "=");
    expect_reset();
    const Number given = card_number(2, 0);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.text, std::string(243, '7'));
}

TEST_P(MagneticCard, CardNumberRefusesBadArgumentsWithoutTraffic) {
    int length = 0;
    char out[256];
    EXPECT_EQ(RD_GetMagCardNo(0, 23, 0, nullptr, &length, 5), -1007);
    EXPECT_EQ(RD_GetMagCardNo(0, 23, 0, out, nullptr, 5), -1007);
    EXPECT_EQ(log_.messages(), Messages{});
    EXPECT_EQ(card_number(23, 0, -1).result, -1007);
    EXPECT_EQ(log_.messages(), (Messages{"Error:Timeout Error!\r\n", "Error:ReadTrack Error!\r\n",
                                         "Error:iErrorCode = -1007\r\n"}));
}

}  // namespace
