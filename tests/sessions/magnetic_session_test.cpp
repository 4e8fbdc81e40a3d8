// Magnetic cards with the virtual reader: every selection, tracks that cannot be read, writing,
// card numbers, and the calls that name the port.
#include <deskreader.h>

#include <cstring>

#include "kit/scratch.h"
#include "kit/virtual_desk.h"

namespace {

using kit::Link;
using kit::VirtualDesk;
using namespace std::chrono_literals;

constexpr std::string_view deck = R"({ "cards": [
  { "type": "magnetic", "name": "full", "inserted": true,
    "track1": "B9999000000000003^EXAMPLE/CAT^3012", "track2": "9999000000000003=3012",
    "track3": "009999000000000004'0012'0" },
  { "type": "magnetic", "name": "blank" },
  { "type": "magnetic", "name": "worn", "track1": "B1", "damaged": [1, 2, 3] },
  { "type": "magnetic", "name": "one-good", "track3": "5555=77", "damaged": [2] },
  { "type": "magnetic", "name": "mixed", "track1": "DESK 1", "damaged": [2] } ] })";

constexpr int selections[] = {1, 2, 3, 12, 13, 23, 123};

bool names(int selection, int track) {
    return std::to_string(selection).find(std::to_string(track)) != std::string::npos;
}

// What a read wrote: "text/length" for each track, and the result.
struct Read {
    int result = 0;
    std::array<std::string, 3> tracks;

    friend bool operator==(const Read&, const Read&) = default;
};

void PrintTo(const Read& read, std::ostream* stream) {
    *stream << read.result;
    for (const std::string& track : read.tracks)
        *stream << ' ' << track;
}

// Tracks that the selection does not name are null, and stay "-".
Read read(int selection, int timeout_s = 5) {
    constexpr int room = 128;
    std::array<std::string, 3> texts;
    std::array<int, 3> lengths = {-7, -7, -7};
    const auto text = [&](int track) -> char* {
        const auto index = static_cast<std::size_t>(track - 1);
        texts[index].assign(room, '#');
        return names(selection, track) ? texts[index].data() : nullptr;
    };
    const auto length = [&](int track) {
        return names(selection, track) ? &lengths[static_cast<std::size_t>(track - 1)] : nullptr;
    };
    Read out;
    out.result = RD_ReadMagCard(0, selection, room, text(1), length(1), room, text(2), length(2),
                                room, text(3), length(3), timeout_s);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const bool named = names(selection, static_cast<int>(i) + 1);
        out.tracks[i] = named ? texts[i].c_str() + ("/" + std::to_string(lengths[i])) : "-";
    }
    return out;
}

std::string card_number(int selection, int kind) {
    std::string number(256, '#');
    int length = -7;
    const int result = RD_GetMagCardNo(0, selection, kind, number.data(), &length, 5);
    if (result != 0) return std::to_string(result);
    EXPECT_EQ(length, static_cast<int>(std::strlen(number.c_str())));
    return number.c_str();
}

int write(const char* track2, const char* track3) {
    return RD_WriteMagCard(0, nullptr, 0, track2, 0, track3, 0, 5);
}

class MagneticDesk : public testing::TestWithParam<Link> {
  protected:
    void swipe(const char* name) {
        desk_.with_reader([name](auto& reader) { reader.insert(name); });
    }
    void swipe_later(const char* name) {
        later_ = std::jthread([this, name] {
            std::this_thread::sleep_for(100ms);
            swipe(name);
        });
    }
    void take_away() {
        desk_.with_reader(
            [](auto& reader) { reader.remove(std::string(reader.magnetic().card()->name())); });
    }

    kit::ConfigFile config_{""};
    VirtualDesk desk_{GetParam(), deck};
    std::jthread later_;
};

class MagneticSession : public MagneticDesk {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0); }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }
};

// The calls that open and close the reader themselves.
class MagneticTerminal : public MagneticDesk {
  protected:
    struct Texts {
        std::string two;
        std::string three;
    };

    int read(int mode, Texts& texts) {
        std::array<std::string, 2> buffers = {std::string(512, '#'), std::string(512, '#')};
        const int result = MS_ReadCard(desk_.port_name().c_str(), "5", 9600, 5, mode, 0,
                                       buffers[0].data(), buffers[1].data());
        texts = {buffers[0].substr(0, buffers[0].find_first_of(std::string_view("\0#", 2))),
                 buffers[1].substr(0, buffers[1].find_first_of(std::string_view("\0#", 2)))};
        EXPECT_EQ(DC_IsOpen(&context), 0);
        return result;
    }
    int write(int mode, const char* two, const char* three) {
        const int result =
            MS_WriteCard(desk_.port_name().c_str(), nullptr, 9600, 5, mode, 0, two, three);
        EXPECT_EQ(DC_IsOpen(&context), 0);
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(Links, MagneticSession, testing::Values(Link::hid, Link::serial),
                         kit::link_name);
INSTANTIATE_TEST_SUITE_P(Links, MagneticTerminal, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(MagneticSession, ReadsEverySelection) {
    const std::array<std::string, 3> all = {"B9999000000000003^EXAMPLE/CAT^3012/34",
                                            "9999000000000003=3012/21",
                                            "009999000000000004'0012'0/25"};
    for (const int selection : selections) {
        Read expected;
        for (int track = 1; track <= 3; ++track) {
            const auto index = static_cast<std::size_t>(track - 1);
            expected.tracks[index] = names(selection, track) ? all[index] : "-";
        }
        EXPECT_EQ(read(selection), expected) << selection;
    }
    EXPECT_EQ(desk_.with_reader([](auto& reader) { return reader.magnetic().is_waiting(); }),
              false);
}

TEST_P(MagneticSession, SaysWhichTracksAreBlank) {
    swipe("blank");
    EXPECT_EQ(read(1), (Read{-2001, {"/1", "-", "-"}}));
    EXPECT_EQ(read(2), (Read{-2002, {"-", "/1", "-"}}));
    EXPECT_EQ(read(3), (Read{-2003, {"-", "-", "/1"}}));
    EXPECT_EQ(read(12), (Read{-2106, {"/1", "/1", "-"}}));
    EXPECT_EQ(read(13), (Read{-2107, {"/1", "-", "/1"}}));
    EXPECT_EQ(read(23), (Read{-2004, {"-", "/1", "/1"}}));
    EXPECT_EQ(read(123), (Read{-2000, {"/1", "/1", "/1"}}));
}

TEST_P(MagneticSession, SaysWhichTracksAreDamaged) {
    swipe("worn");
    EXPECT_EQ(read(1), (Read{-2001, {"/5", "-", "-"}}));
    EXPECT_EQ(read(23), (Read{-2004, {"-", "/5", "/5"}}));
    EXPECT_EQ(read(123), (Read{-2000, {"/5", "/5", "/5"}}));
}

TEST_P(MagneticSession, NamesOneOfTwoThatFailDifferently) {
    swipe("mixed");
    EXPECT_EQ(read(1), (Read{0, {"DESK 1/6", "-", "-"}}));
    EXPECT_EQ(read(23), (Read{-2002, {"-", "/5", "\x7F/1"}}));
    EXPECT_EQ(read(123), (Read{-2002, {"DESK 1/6", "/5", "\x7F/1"}}));
}

TEST_P(MagneticSession, CollectsTheCardNumber) {
    EXPECT_EQ(card_number(2, 0), "9999000000000003");
    EXPECT_EQ(card_number(3, 1), "009999000000000004");
    EXPECT_EQ(card_number(23, 0), "9999000000000003");
    EXPECT_EQ(card_number(123, 1), "009999000000000004") << "track 2 has no apostrophe";
    EXPECT_EQ(card_number(123, 2), "9999000000000003");
    EXPECT_EQ(card_number(1, 0), "-2105");
    swipe("one-good");
    EXPECT_EQ(card_number(23, 0), "5555") << "track 2 cannot be read";
    swipe("worn");
    EXPECT_EQ(card_number(23, 0), "-2004");
}

TEST_P(MagneticSession, WritesAndReadsBack) {
    EXPECT_EQ(write("1111=22", "333'4"), 0);
    EXPECT_EQ(read(123),
              (Read{0, {"B9999000000000003^EXAMPLE/CAT^3012/34", "1111=22/7", "333'4/5"}}));
    EXPECT_EQ(write("7@8#9:", nullptr), 0);
    EXPECT_EQ(write(nullptr, "60"), 0);
    EXPECT_EQ(read(23), (Read{0, {"-", "7@8#9:/6", "60/2"}}));
    EXPECT_EQ(write("4=4", "LETTERS"), 0) << "the good one alone";
    EXPECT_EQ(read(23), (Read{0, {"-", "4=4/3", "60/2"}}));
    EXPECT_EQ(write("LETTERS", ""), -1007);
    EXPECT_EQ(read(23), (Read{0, {"-", "4=4/3", "60/2"}}));
}

TEST_P(MagneticSession, SaysWhatCouldNotBeWritten) {
    const std::string too_long(38, '1');  // for track 2, which has 37
    EXPECT_EQ(write(too_long.c_str(), nullptr), -2102);
    EXPECT_EQ(write(too_long.c_str(), "3"), -2102);
    swipe("worn");
    EXPECT_EQ(write(nullptr, "3"), -2103);
    swipe("one-good");
    EXPECT_EQ(write("2", "3"), -2102) << "track 2 is damaged";
    EXPECT_EQ(read(3), (Read{0, {"-", "-", "5555=77/7"}}));
}

TEST_P(MagneticSession, WaitsForTheSwipe) {
    take_away();
    EXPECT_EQ(read(2, 1), (Read{-1004, {"-", "/0", "-"}}));
    swipe_later("full");
    EXPECT_EQ(read(2, 0), (Read{0, {"-", "9999000000000003=3012/21", "-"}}));
}

TEST_P(MagneticSession, ForgetsARequestThatWasGivenUp) {
    take_away();
    EXPECT_EQ(read(3, 1).result, -1004);
    swipe("full");
    EXPECT_EQ(read(2), (Read{0, {"-", "9999000000000003=3012/21", "-"}}))
        << "no late answer of the first request";
    EXPECT_EQ(RD_ResetMsr(), 0);
}

TEST_P(MagneticTerminal, ReadsByTheNameOfThePort) {
    Texts texts;
    EXPECT_EQ(read(23, texts), 0);
    EXPECT_EQ(texts.two, "9999000000000003=3012");
    EXPECT_EQ(texts.three, "009999000000000004'0012'0");
    EXPECT_EQ(read(2, texts), 0);
    EXPECT_EQ(texts.two, "9999000000000003=3012");
    EXPECT_EQ(texts.three, "") << "untouched";
    EXPECT_EQ(read(3, texts), 0);
    EXPECT_EQ(texts.three, "009999000000000004'0012'0");
    EXPECT_TRUE(desk_.comes_to([](auto& reader) { return reader.pass_through_port() == 'A'; }))
        << "let go of at the end";
}

TEST_P(MagneticTerminal, TakesOneReadableTrackOfTwo) {
    Texts texts;
    swipe("one-good");
    EXPECT_EQ(read(23, texts), 0);
    EXPECT_EQ(texts.two, "");
    EXPECT_EQ(texts.three, "5555=77");
    swipe("worn");
    EXPECT_EQ(read(23, texts), -11);
    EXPECT_EQ(texts.two + texts.three, "");
    EXPECT_EQ(read(1, texts), -1);
}

TEST_P(MagneticTerminal, WritesByTheNameOfThePort) {
    Texts texts;
    EXPECT_EQ(write(2, "1234=5", nullptr), 0);
    EXPECT_EQ(write(3, nullptr, "67'8"), 0);
    EXPECT_EQ(read(23, texts), 0);
    EXPECT_EQ(texts.two + " " + texts.three, "1234=5 67'8");
    EXPECT_EQ(write(23, "9=9", "0'0"), 0);
    EXPECT_EQ(read(23, texts), 0);
    EXPECT_EQ(texts.two + " " + texts.three, "9=9 0'0");
    EXPECT_EQ(write(2, "LETTERS", nullptr), -1);
    swipe("worn");
    EXPECT_EQ(write(2, "1", nullptr), -10);
}

}  // namespace
