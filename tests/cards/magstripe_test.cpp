#include "cards/magstripe.h"

#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using kit::Link;
namespace magstripe = deskreader::magstripe;

// What a host's three buffers hold afterwards; '#' was there before.
struct Buffers {
    std::string one = std::string(300, '#');
    std::string two = std::string(300, '#');
    std::string three = std::string(300, '#');
};

// A text of the buffer up to its terminator; the whole buffer if it has none.
std::string text(const std::string& buffer) {
    return buffer.substr(0, buffer.find('\0'));
}

// The characters that were written, without a terminator.
std::string written(const std::string& buffer) {
    EXPECT_EQ(buffer.find('\0'), std::string::npos) << "terminated";
    return buffer.substr(0, buffer.find('#'));
}

using Splitter = void (*)(magstripe::Characters, magstripe::Tracks&) noexcept;

Buffers split(Splitter splitter, const Bytes& characters, int room1 = 300, int room2 = 300,
              int room3 = 300) {
    Buffers out;
    magstripe::Tracks tracks{
        {out.one.data(), room1}, {out.two.data(), room2}, {out.three.data(), room3}};
    splitter(characters, tracks);
    return out;
}

Buffers split_two(const Bytes& characters, int room2 = 300, int room3 = 300) {
    return split(magstripe::split_two_tracks, characters, 300, room2, room3);
}

TEST(TwoTracks, AreParted) {
    const Buffers out = split_two(ascii("1234A5678"), 40, 40);
    EXPECT_EQ(text(out.two), "1234");
    EXPECT_EQ(text(out.three), "5678");
    EXPECT_EQ(written(out.one), "");
}

TEST(TwoTracks, EveryMarkIsDropped) {
    const Buffers out = split_two(ascii("12A3A4AA5"));
    EXPECT_EQ(text(out.two), "12");
    EXPECT_EQ(text(out.three), "345");
}

TEST(TwoTracks, PercentIsACharacter) {
    const Buffers out = split_two(ascii("%1A%2"));
    EXPECT_EQ(text(out.two), "%1");
    EXPECT_EQ(text(out.three), "%2");
}

TEST(TwoTracks, EndAtTheEndMark) {
    const Buffers out = split_two(hex("31 32 41 33 3F 1C 34 41 35"));
    EXPECT_EQ(text(out.two), "12");
    EXPECT_EQ(text(out.three), "3");
}

TEST(TwoTracks, EndAtAZero) {
    const Buffers out = split_two(hex("31 00 32 41 33"));
    EXPECT_EQ(text(out.two), "1");
    EXPECT_EQ(text(out.three), "");
}

TEST(TwoTracks, HalfAnEndMarkIsCharacters) {
    EXPECT_EQ(text(split_two(hex("31 3F 32 1C 33 3F")).two),
              "1?2\x1C"
              "3?");
    EXPECT_EQ(text(split_two(hex("3F 3F 1C 31")).two), "?");
}

TEST(TwoTracks, NothingGivesEmptyTexts) {
    for (const Bytes& characters : {Bytes{}, hex("3F 1C"), hex("00 31")}) {
        const Buffers out = split_two(characters);
        EXPECT_EQ(text(out.two), "");
        EXPECT_EQ(text(out.three), "");
    }
}

TEST(TwoTracks, FullBufferDropsTheRestAndTerminatesNeither) {
    const Buffers two = split_two(ascii("12345A67"), 4, 40);
    EXPECT_EQ(written(two.two), "1234");
    EXPECT_EQ(written(two.three), "67");
    const Buffers three = split_two(ascii("12A345"), 40, 2);
    EXPECT_EQ(written(three.two), "12");
    EXPECT_EQ(written(three.three), "34");
}

TEST(TwoTracks, ExactlyFullIsFull) {
    EXPECT_EQ(written(split_two(ascii("1234A5"), 4, 40).two), "1234");
    EXPECT_EQ(text(split_two(ascii("1234A5"), 5, 40).two), "1234");
}

TEST(TwoTracks, BuffersWithoutRoomStayAsTheyAre) {
    for (const int room : {0, -1, -2147483647 - 1}) {
        const Buffers out = split_two(ascii("1A2"), room, room);
        EXPECT_EQ(written(out.two), "");
        EXPECT_EQ(written(out.three), "");
    }
}

TEST(TwoTracks, NullBufferTakesNothing) {
    Buffers out;
    magstripe::Tracks tracks{{nullptr, 0}, {nullptr, 40}, {out.three.data(), 40}};
    magstripe::split_two_tracks(ascii("12A34"), tracks);
    EXPECT_EQ(text(out.three), "34");
    Buffers other;
    magstripe::Tracks small{{nullptr, 0}, {nullptr, 2}, {other.three.data(), 40}};
    magstripe::split_two_tracks(ascii("12A34"), small);
    EXPECT_EQ(written(other.three), "34") << "its characters count all the same";
}

Buffers split_three(const Bytes& characters, int room1 = 300, int room2 = 300, int room3 = 300) {
    return split(magstripe::split_three_tracks, characters, room1, room2, room3);
}

TEST(ThreeTracks, FirstTrackGoesOnToTheEnd) {
    const Buffers out = split_three(hex("25 42 31 32 33 34 41 39 39 3F 1C"));
    EXPECT_EQ(written(out.one), "B1234A99") << "A is a character of track 1";
    EXPECT_EQ(text(out.two), "");
    EXPECT_EQ(text(out.three), "");
}

TEST(ThreeTracks, AreParted) {
    const Buffers out = split_three(ascii("12A34%56"));
    EXPECT_EQ(written(out.one), "56");
    EXPECT_EQ(text(out.two), "12");
    EXPECT_EQ(text(out.three), "34");
}

TEST(ThreeTracks, OnlyTheFirstMarkOfTrack3Counts) {
    const Buffers out = split_three(ascii("12A3A4AA5"));
    EXPECT_EQ(text(out.two), "12");
    EXPECT_EQ(text(out.three), "3A4AA5");
}

TEST(ThreeTracks, EveryPercentIsDropped) {
    EXPECT_EQ(written(split_three(ascii("%1%2%%3")).one), "123");
}

TEST(ThreeTracks, FirstTrackIsNeverTerminatedAndDropsWhatDoesNotFit) {
    const Buffers out = split_three(ascii("9%12345"), 3);
    EXPECT_EQ(written(out.one), "123");
    EXPECT_EQ(text(out.two), "9") << "a full track 1 leaves the others terminated";
    EXPECT_EQ(text(out.three), "");
}

TEST(ThreeTracks, FullBufferTerminatesNeither) {
    const Buffers two = split_three(ascii("123A4%5"), 40, 3, 40);
    EXPECT_EQ(written(two.two), "123");
    EXPECT_EQ(written(two.three), "4");
    const Buffers three = split_three(ascii("1A234%5"), 40, 40, 2);
    EXPECT_EQ(written(three.two), "1");
    EXPECT_EQ(written(three.three), "23");
    EXPECT_EQ(written(three.one), "5");
}

TEST(ThreeTracks, EndAtEndMarkAndZero) {
    EXPECT_EQ(text(split_three(hex("31 3F 1C 32 25 33")).two), "1");
    EXPECT_EQ(text(split_three(hex("31 00 32 25 33")).two), "1");
    EXPECT_EQ(written(split_three(hex("25 31 3F 32 3F")).one), "1?2?");
}

// The commands.

struct Read {
    int result;
    Buffers buffers;
};

Read read(int selection, int room = 40, int timeout_ms = 1000) {
    Read given;
    Buffers& out = given.buffers;
    given.result = MSR_ReadTrack(&context, 7, selection, room, out.one.data(), room, out.two.data(),
                                 room, out.three.data(), timeout_ms);
    return given;
}

class Magstripe : public testing::TestWithParam<Link> {
  protected:
    bool serial() const { return GetParam() == Link::serial; }

    kit::ConfigFile config_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, Magstripe, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

struct ReadRow {
    int selection;
    const char* command;
    int failure;
    bool three_tracks;
};

constexpr ReadRow read_rows[] = {
    {1, "1B 41 5D", -2001, true},   {2, "1B 5D", -2002, false},    {3, "1B 54 5D", -2003, false},
    {12, "1B 44 5D", -2106, true},  {13, "1B 45 5D", -2107, true}, {23, "1B 42 5D", -2004, false},
    {123, "1B 46 5D", -2000, true},
};

TEST_P(Magstripe, EverySelectionHasItsCommandAndSplitter) {
    for (const ReadRow& row : read_rows) {
        SCOPED_TRACE(row.selection);
        desk_->expect(1, hex(row.command), hex("1B 73 31 41 32 41 33 25 34 3F 1C"));
        const Read given = read(row.selection);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(text(given.buffers.two), "1");
        EXPECT_EQ(text(given.buffers.three), row.three_tracks ? "2A3" : "23%4");
        EXPECT_EQ(written(given.buffers.one), row.three_tracks ? "4" : "");
    }
}

TEST_P(Magstripe, WrongHeaderIsTheSelectionsFailure) {
    for (const ReadRow& row : read_rows) {
        SCOPED_TRACE(row.selection);
        for (const char* reply : {"1B 72 31 3F 1C", "73 1B 31 3F 1C", "3F 1C"}) {
            desk_->expect(1, hex(row.command), hex(reply));
            const Read given = read(row.selection);
            EXPECT_EQ(given.result, row.failure);
            EXPECT_EQ(written(given.buffers.two), "");
        }
    }
}

TEST_P(Magstripe, SilenceIsReturnedAsItIs) {
    for (const ReadRow& row : read_rows) {
        desk_->expect_silence(1, hex(row.command));
        EXPECT_EQ(read(row.selection, 40, 20).result, -62) << row.selection;
    }
}

TEST_P(Magstripe, OtherSelectionsSendNothing) {
    for (const int selection : {0, 4, 11, 21, 32, 132, 321, -1, -23}) {
        const Read given = read(selection);
        EXPECT_EQ(given.result, 0) << selection;
        EXPECT_EQ(written(given.buffers.two), "");
    }
    EXPECT_EQ(MSR_ReadTrack(&context, 0, 4, 0, nullptr, 0, nullptr, 0, nullptr, 100), 0);
    EXPECT_EQ(MSR_ReadTrack(nullptr, 0, 4, 0, nullptr, 0, nullptr, 0, nullptr, 100), 0);
}

TEST_P(Magstripe, TracksWithoutCharacters) {
    for (const ReadRow& row : read_rows) {
        SCOPED_TRACE(row.selection);
        desk_->expect(1, hex(row.command), hex("1B 73 3F 1C"));
        const Read given = read(row.selection);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(text(given.buffers.two), "");
        EXPECT_EQ(text(given.buffers.three), "");
    }
}

// On HID the last report may hold the end mark and any amount of filler, or end with it.
TEST_P(Magstripe, TrackTextIsWholeWhateverStandsBehindTheEndMark) {
    for (const std::size_t length : {55u, 56u, 57u, 58u, 59u, 60u, 104u, 118u, 119u, 120u}) {
        for (const auto& [selection, command] :
             {std::pair{3, "1B 54 5D"}, std::pair{23, "1B 42 5D"}, std::pair{13, "1B 45 5D"}}) {
            SCOPED_TRACE(length);
            const Bytes characters(length, '7');
            desk_->expect(1, hex(command), kit::join({hex("1B 73 41"), characters, hex("3F 1C")}));
            const Read given = read(selection, 150);
            EXPECT_EQ(given.result, 0);
            EXPECT_EQ(text(given.buffers.three), std::string(length, '7')) << selection;
            EXPECT_EQ(text(given.buffers.two), "");
        }
    }
}

TEST_P(Magstripe, TheRoomOfTrack2GoesForBoth) {
    desk_->expect(1, hex("1B 42 5D"), hex("1B 73 31 41 33 34 35 36 37 3F 1C"));
    Buffers out;
    EXPECT_EQ(
        MSR_ReadTrack(&context, 0, 23, 0, nullptr, 4, out.two.data(), 40, out.three.data(), 1000),
        0);
    EXPECT_EQ(written(out.three), "3456");
    EXPECT_EQ(written(out.two), "1");
    desk_->expect(1, hex("1B 42 5D"), hex("1B 73 31 41 33 34 35 36 37 3F 1C"));
    out = {};
    EXPECT_EQ(
        MSR_ReadTrack(&context, 0, 23, 0, nullptr, 40, out.two.data(), 4, out.three.data(), 1000),
        0);
    EXPECT_EQ(text(out.three), "34567");
    EXPECT_EQ(text(out.two), "1");
}

TEST_P(Magstripe, OtherSelectionsHaveARoomForEachTrack) {
    desk_->expect(1, hex("1B 46 5D"), hex("1B 73 31 32 41 33 34 35 25 36 37 38 39 3F 1C"));
    Buffers out;
    EXPECT_EQ(MSR_ReadTrack(&context, 0, 123, 2, out.one.data(), 40, out.two.data(), 3,
                            out.three.data(), 1000),
              0);
    EXPECT_EQ(written(out.one), "67");
    EXPECT_EQ(written(out.two), "12");
    EXPECT_EQ(written(out.three), "345");
}

TEST_P(Magstripe, TracksThatAreNotNamedMayBeNull) {
    Buffers out;
    desk_->expect(1, hex("1B 41 5D"), hex("1B 73 31 41 32 25 33 3F 1C"));
    EXPECT_EQ(MSR_ReadTrack(&context, 0, 1, 40, out.one.data(), 40, nullptr, 40, nullptr, 1000), 0);
    EXPECT_EQ(written(out.one), "3");
    desk_->expect(1, hex("1B 5D"), hex("1B 73 31 41 32 3F 1C"));
    EXPECT_EQ(MSR_ReadTrack(&context, 0, 2, 40, nullptr, 40, out.two.data(), 40, nullptr, 1000), 0);
    EXPECT_EQ(text(out.two), "1");
    desk_->expect(1, hex("1B 54 5D"), hex("1B 73 31 41 32 3F 1C"));
    EXPECT_EQ(MSR_ReadTrack(&context, 0, 3, 40, nullptr, 40, nullptr, 40, out.three.data(), 1000),
              0);
    EXPECT_EQ(text(out.three), "2");
}

TEST_P(Magstripe, NullPointersAreRefused) {
    char out[40];
    EXPECT_EQ(MSR_ReadTrack(nullptr, 0, 2, 40, out, 40, out, 40, out, 100), -22);
    for (const ReadRow& row : read_rows) {
        const std::string tracks = std::to_string(row.selection);
        for (const char missing : {'1', '2', '3'}) {
            if (tracks.find(missing) == std::string::npos) continue;
            EXPECT_EQ(MSR_ReadTrack(&context, 0, row.selection, 40, missing == '1' ? nullptr : out,
                                    40, missing == '2' ? nullptr : out, 40,
                                    missing == '3' ? nullptr : out, 100),
                      -22)
                << row.selection << " without " << missing;
        }
    }
}

TEST_P(Magstripe, CancelledReadIsTheSelectionsFailure) {
    if (!serial()) return;  // this script has one thread
    desk_->expect_silence(1, hex("1B 42 5D"));
    std::jthread canceller([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        COMM_cancle();
    });
    EXPECT_EQ(read(23, 40, 10'000).result, -2004);
}

Bytes reply_of(std::size_t size) {
    return kit::join({hex("1B 73"), Bytes(size - 4, '1'), hex("3F 1C")});
}

TEST_P(Magstripe, LongReplyToSelection2Fails) {
    // On HID reports count: 248 bytes, then 310.
    const std::size_t longest = serial() ? 255 : 248;
    desk_->expect(1, hex("1B 5D"), reply_of(longest));
    Read given = read(2, 300);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(text(given.buffers.two), std::string(longest - 4, '1'));
    for (const std::size_t size : {256u, 257u, 300u, 1000u}) {
        desk_->expect(1, hex("1B 5D"), reply_of(size));
        given = read(2, 300);
        EXPECT_EQ(given.result, -2002) << size;
        EXPECT_EQ(written(given.buffers.two), "");
    }
}

TEST_P(Magstripe, LongReplyToAnotherSelectionIsRefused) {
    const std::size_t longest = serial() ? 256 : 248;
    for (const ReadRow& row : read_rows) {
        if (row.selection == 2) continue;
        SCOPED_TRACE(row.selection);
        desk_->expect(1, hex(row.command), reply_of(longest));
        Read given = read(row.selection, 300);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(text(given.buffers.two), std::string(longest - 4, '1'));
        desk_->expect(1, hex(row.command), reply_of(longest + 1));
        EXPECT_EQ(read(row.selection, 300).result, -22);
    }
}

TEST_P(Magstripe, ReplyWithoutAnEndIsWhatCame) {
    if (!serial()) return;
    struct Case {
        const char* reply;
        const char* track_2;     // selection 2: the last two bytes count as the end mark
        const char* tracks_123;  // selection 123
    };
    constexpr Case cases[] = {
        {"1B 73", "", ""},
        {"1B 73 31", "", "1"},
        {"1B 73 31 32", "", "12"},
        {"1B 73 31 32 33 3F", "12", "123?"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.reply);
        desk_->expect(1, hex("1B 5D"), hex(row.reply));
        Read given = read(2, 40, 50);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(text(given.buffers.two), row.track_2);
        desk_->expect(1, hex("1B 46 5D"), hex(row.reply));
        given = read(123, 40, 50);
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(text(given.buffers.two), row.tracks_123);
    }
    desk_->expect(1, hex("1B 5D"), hex("1B"));
    EXPECT_EQ(read(2, 40, 50).result, -2002);
}

TEST_P(Magstripe, ResetSucceedsWhateverBecomesOfIt) {
    desk_->expect_silence(1, hex("1B 30"));
    EXPECT_EQ(MSR_Reset(&context, 100), 0);
    desk_->verify();
    DC_SetInterfaceType(&context, "");
    EXPECT_EQ(MSR_Reset(&context, 100), 0);
    EXPECT_EQ(MSR_Reset(nullptr, 100), 0);
}

TEST(MagstripeUnplugged, ResetSucceedsAndReadsDoNot) {
    const kit::ConfigFile config;
    DC_Init(&context);
    DC_SetInterfaceType(&context, "hid");
    DC_AddUsbParams(&context, kit::hid_bus::vendor, kit::hid_bus::product);
    EXPECT_EQ(MSR_Reset(&context, 100), 0);
    EXPECT_EQ(read(23).result, -2);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, "1", nullptr, 100), -2);
}

TEST(MagstripeDeviceType, OtherReadersTakeModeIdZero) {
    const kit::ConfigFile config("[devcfg]\ndevtype=1\n");
    kit::FakeClock clock;
    kit::ScriptedHid reader(&clock);
    kit::prepare_hid(&context);
    reader.expect(0, hex("1B 5D"), hex("1B 73 31 3F 1C"));
    EXPECT_EQ(text(read(2).buffers.two), "1");
}

TEST(MagstripeBroken, DeviceErrorIsReturnedAsItIs) {
    const kit::ConfigFile config;
    kit::FakeClock clock;
    kit::ScriptedHid reader(&clock);
    kit::prepare_hid(&context);
    reader.break_with(-1);
    EXPECT_EQ(read(123).result, -1);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 23, "1", "2", 100), -1);
    EXPECT_EQ(MSR_Reset(&context, 100), 0);
}

// Writing.

constexpr char write_2[] = "1B 74 31 32 3D 33 1D 1B 5C 1B 6A";
constexpr char write_3[] = "1B 74 41 34 35 1D 1B 5C 1B 6A";
constexpr char write_both[] = "1B 74 31 32 3D 33 41 34 35 1D 1B 5C 1B 6A";

struct WriteRow {
    int selection;
    const char* command;
    const char* reply;
    int result;
};

constexpr WriteRow write_rows[] = {
    {2, write_2, "1B 72 70", 0},
    {2, write_2, "1B 72 71", -2102},
    {2, write_2, "1B 54 72 70", -2102},
    {2, write_2, "1B 42 72 70", -2102},
    {2, write_2, "1B 54 72 71", -2102},
    {2, write_2, "72 70", -2102},
    {2, write_2, "1B 1B 72 70", -2102},
    {3, write_3, "1B 54 72 70", 0},
    {3, write_3, "1B 72 70", -2103},
    {3, write_3, "1B 72 71", -2103},
    {3, write_3, "1B 54 72 71", -2103},
    {3, write_3, "1B 42 72 70", -2103},
    {23, write_both, "1B 42 72 70", 0},
    {23, write_both, "1B 72 71", -2102},
    {23, write_both, "1B 54 72 71", -2103},
    {23, write_both, "1B 72 70", -2104},
    {23, write_both, "1B 54 72 70", -2104},
    {23, write_both, "1B 42 72 71", -2104},
    {1, write_both, "1B 42 72 70", 0},
    {1, write_both, "1B 72 71", -2102},
    {1, write_both, "1B 54 72 71", -2103},
    {1, write_both, "1B 72 70", -2104},
    {1, write_both, "1B 54 72 70", -2104},
    {1, write_both, "72 70", -2104},
};

TEST_P(Magstripe, WritesAndUnderstandsTheReply) {
    for (const WriteRow& row : write_rows) {
        desk_->expect(1, hex(row.command), hex(row.reply));
        EXPECT_EQ(MSR_WriteTrack(&context, 7, row.selection, "12=3", "45", 1000), row.result)
            << row.selection << ": " << row.reply;
    }
}

TEST_P(Magstripe, TheWholeReplyIsCompared) {
    desk_->expect(1, hex(write_2), hex("1B 72 70 31"));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, "12=3", nullptr, 1000), -2102);
    desk_->expect(1, hex(write_2), hex("1B 72 70 00 31"));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, "12=3", nullptr, 1000), 0) << "up to its first zero";
}

TEST_P(Magstripe, OneTrackNeedsOneText) {
    desk_->expect(1, hex(write_2), hex("1B 72 70"));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, "12=3", nullptr, 1000), 0);
    desk_->expect(1, hex(write_3), hex("1B 54 72 70"));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 3, nullptr, "45", 1000), 0);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, nullptr, "45", 1000), -22);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 3, "12=3", nullptr, 1000), -22);
    for (const int both : {1, 23}) {
        EXPECT_EQ(MSR_WriteTrack(&context, 0, both, nullptr, "45", 1000), -22);
        EXPECT_EQ(MSR_WriteTrack(&context, 0, both, "12=3", nullptr, 1000), -22);
    }
    EXPECT_EQ(MSR_WriteTrack(nullptr, 0, 23, "12=3", "45", 1000), -22);
}

TEST_P(Magstripe, OtherSelectionsWriteNothing) {
    for (const int selection : {0, 4, 12, 13, 123, 32, -1})
        EXPECT_EQ(MSR_WriteTrack(&context, 0, selection, "1", "2", 1000), 0) << selection;
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 0, nullptr, nullptr, 1000), 0);
}

TEST_P(Magstripe, SilenceAfterAWriteIsReturnedAsItIs) {
    desk_->expect_silence(1, hex(write_both));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 23, "12=3", "45", 20), -62);
}

TEST_P(Magstripe, CancelledWriteIsAFailedWrite) {
    if (!serial()) return;
    desk_->expect_silence(1, hex(write_3));
    std::jthread canceller([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        COMM_cancle();
    });
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 3, nullptr, "45", 10'000), -2103);
}

TEST_P(Magstripe, WritesUpToAThousandCharacters) {
    const Bytes command = kit::join(
        {hex("1B 74"), Bytes(900, '1'), hex("41"), Bytes(100, '2'), hex("1D 1B 5C 1B 6A")});
    desk_->expect(1, command, hex("1B 42 72 70"));
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 23, std::string(900, '1').c_str(),
                             std::string(100, '2').c_str(), 1000),
              0);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 23, std::string(900, '1').c_str(),
                             std::string(101, '2').c_str(), 1000),
              -22);
    EXPECT_EQ(MSR_WriteTrack(&context, 0, 2, std::string(5000, '1').c_str(), nullptr, 1000), -22);
}

// The card number.

struct CardNumber {
    int result;
    std::string text;
};

CardNumber card_number(int kind, const char* track) {
    std::string out(40, '#');
    const int result = MSR_GetCardNo(kind, track, out.data());
    return {result, result == 0 ? text(out) : written(out)};
}

TEST(CardNumber, StandsBeforeTheEndCharacterOfItsKind) {
    EXPECT_EQ(card_number(0, "1234=56'7").text, "1234");
    EXPECT_EQ(card_number(0, "12'34=56").text, "12'34");
    EXPECT_EQ(card_number(1, "12=34'56").text, "12=34");
    EXPECT_EQ(card_number(2, "12=34'56").text, "12");
    EXPECT_EQ(card_number(2, "12'34=56").text, "12");
    for (const int kind : {0, 1, 2})
        EXPECT_EQ(card_number(kind, "1=2'3").result, 0);
    EXPECT_EQ(card_number(0, "=12").text, "");
}

TEST(CardNumber, BarBeginsAnew) {
    EXPECT_EQ(card_number(0, "12|34=56").text, "34");
    EXPECT_EQ(card_number(0, "1|2|=56").text, "");
    EXPECT_EQ(card_number(1, "12=3|45'6").text, "45");
    EXPECT_EQ(card_number(0, "12=3|45=6").text, "12") << "the first end character ends it";
}

TEST(CardNumber, IsMissingWithoutItsEndCharacter) {
    EXPECT_EQ(card_number(1, "123=45").result, -2105);
    EXPECT_EQ(card_number(0, "123'45").result, -2105);
    EXPECT_EQ(card_number(2, "12345").result, -2105);
    EXPECT_EQ(card_number(0, "").result, -2105);
    EXPECT_EQ(card_number(0, "12|345").text, "345") << "what was collected, unterminated";
}

TEST(CardNumber, OtherKindsFindNone) {
    for (const int kind : {-1, 3, 4, 100, 2147483647, -2147483647 - 1})
        EXPECT_EQ(card_number(kind, "12=34'56").result, -2105) << kind;
}

TEST(CardNumber, NullPointersAreRefused) {
    char out[8] = "#";
    EXPECT_EQ(MSR_GetCardNo(0, nullptr, out), -22);
    EXPECT_EQ(out[0], '#');
    EXPECT_EQ(MSR_GetCardNo(0, "1=", nullptr), -22);
}

}  // namespace
