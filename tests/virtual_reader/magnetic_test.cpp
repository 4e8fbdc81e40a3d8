// Cards with stripes, and the module's answers byte for byte: 1B 73, tracks, 3F 1C.
#include <stdexcept>

#include "desk_control.h"
#include "kit/frames.h"

namespace {

using kit::ascii;
using kit::Bytes;
using kit::hex;
using kit::join;
using namespace virtual_reader;

std::unique_ptr<MagneticCard> card(const char* name, std::array<Track, 3> tracks) {
    return std::make_unique<MagneticCard>(name, std::move(tracks));
}

TEST(MagneticCard, TracksHaveTheirCharactersAndRoom) {
    EXPECT_TRUE(fits_track(1, std::string(76, 'Z')));
    EXPECT_FALSE(fits_track(1, std::string(77, 'Z')));
    EXPECT_TRUE(fits_track(2, std::string(37, '9')));
    EXPECT_FALSE(fits_track(2, std::string(38, '9')));
    EXPECT_TRUE(fits_track(3, std::string(104, '9')));
    EXPECT_FALSE(fits_track(3, std::string(105, '9')));
    for (int c = 0; c < 256; ++c) {
        const std::string text(1, static_cast<char>(c));
        EXPECT_EQ(fits_track(1, text), c >= 0x20 && c <= 0x5F && c != '%' && c != '?') << c;
        const bool numeric =
            (c >= '0' && c <= '9') || c == '=' || c == '\'' || c == '@' || c == '#' || c == ':';
        EXPECT_EQ(fits_track(2, text), numeric) << c;
        EXPECT_EQ(fits_track(3, text), numeric) << c;
    }
}

TEST(MagneticCard, TakesWhatFitsOnAWholeTrack) {
    const auto one = card("one", {{{"", false}, {"12=34", false}, {"56", true}}});
    EXPECT_TRUE(one->write(2, "7'8"));
    EXPECT_EQ(one->track(2).text, "7'8");
    EXPECT_FALSE(one->write(2, ""));
    EXPECT_FALSE(one->write(2, "12 34"));
    EXPECT_FALSE(one->write(2, std::string(38, '1')));
    EXPECT_EQ(one->track(2).text, "7'8");
    EXPECT_FALSE(one->write(3, "1"));
    EXPECT_TRUE(one->write(1, "EXAMPLE"));
    EXPECT_EQ(one->track(1).text, "EXAMPLE");
}

class Magnetic : public testing::Test {
  protected:
    void SetUp() override {
        auto& module = reader_.magnetic();
        module.add(card("full", {{{"B1234^ADA", false}, {"1234=99", false}, {"5678'00", false}}}));
        module.add(card("blank", {}));
        module.add(card("damaged", {{{"X", true}, {"1", true}, {"2", true}}}));
        module.add(card("worn", {{{"B1", false}, {"12", true}, {"", false}}}));
        module.add(card("bad-third", {{{"", false}, {"12", false}, {"34", true}}}));
    }

    // What the reader says at once to ESC and these characters.
    Bytes ask(const char* text) { return reader_.receive_serial(join({{0x1B}, ascii(text)})); }

    Reader reader_;
};

struct ReadRow {
    const char* card;
    const char* request;
    const char* reply;  // between 1B 73 and 3F 1C
};

TEST_F(Magnetic, ReadsEverySelection) {
    const ReadRow rows[] = {
        {"full", "A]", "%B1234^ADA"},
        {"full", "]", "1234=99"},
        {"full", "T]", "A5678'00"},
        {"full", "D]", "1234=99%B1234^ADA"},
        {"full", "E]", "A5678'00%B1234^ADA"},
        {"full", "B]", "1234=99A5678'00"},
        {"full", "F]", "1234=99A5678'00%B1234^ADA"},
        {"blank", "A]", "%\x7F"},
        {"blank", "]", "\x7F"},
        {"blank", "T]", "A\x7F"},
        {"blank", "D]", "\x7F%\x7F"},
        {"blank", "E]", "A\x7F%\x7F"},
        {"blank", "B]",
         "\x7F"
         "A\x7F"},
        {"blank", "F]",
         "\x7F"
         "A\x7F%\x7F"},
        {"damaged", "A]", "%00000"},
        {"damaged", "]", "00000"},
        {"damaged", "T]", "A00000"},
        {"damaged", "D]", "00000%00000"},
        {"damaged", "E]", "A00000%00000"},
        {"damaged", "B]", "00000A00000"},
        {"damaged", "F]", "00000A00000%00000"},
        {"worn", "F]", "00000A\x7F%B1"},
    };
    for (const ReadRow& row : rows) {
        reader_.insert(row.card);
        EXPECT_EQ(ask(row.request), join({hex("1B 73"), ascii(row.reply), hex("3F 1C")}))
            << row.card << " " << row.request;
        reader_.remove(row.card);
    }
}

TEST_F(Magnetic, AnswersByteForByte) {
    reader_.insert("full");
    EXPECT_EQ(reader_.receive_serial(hex("1B 42 5D")),
              hex("1B 73 31 32 33 34 3D 39 39 41 35 36 37 38 27 30 30 3F 1C"));
}

struct WriteRow {
    const char* card;
    const char* request;  // between "t" and its end
    const char* reply;
    const char* tracks;  // 2 and 3 afterwards
};

TEST_F(Magnetic, WritesAndReadsBack) {
    const std::string longest(37, '8');
    const std::string longest_third(104, '7');
    const std::string both = longest + "A" + longest_third;
    const std::string half = "1A" + longest_third;
    const std::string too_long(38, '8');
    const std::string too_long_third = "A" + std::string(105, '7');
    const WriteRow rows[] = {
        {"full", "4321=01", "1B 72 70", "4321=01A5678'00"},
        {"full", "A99'9", "1B 54 72 70", "4321=01A99'9"},
        {"full", "1=1A2'2", "1B 42 72 70", "1=1A2'2"},
        {"full", "0='@#:", "1B 72 70", "0='@#:A2'2"},
        {"full", both.c_str(), "1B 42 72 70", both.c_str()},
        {"full", too_long.c_str(), "1B 72 71", both.c_str()},
        {"full", too_long_third.c_str(), "1B 54 72 71", both.c_str()},
        {"full", "", "1B 72 71", both.c_str()},
        {"full", "A", "1B 54 72 71", both.c_str()},
        {"full", "1X2", "1B 72 71", both.c_str()},
        {"full", "1A2A3", "1B 54 72 71", half.c_str()},
        {"full", "%A5", "1B 72 71", half.c_str()},
        {"blank", "5", "1B 72 70", "5A\x7F"},
        {"blank", "A6", "1B 54 72 70", "5A6"},
        {"damaged", "5", "1B 72 71", "00000A00000"},
        {"damaged", "A5", "1B 54 72 71", "00000A00000"},
        {"damaged", "5A6", "1B 72 71", "00000A00000"},
        {"worn", "1A2", "1B 72 71", "00000A\x7F"},
        {"bad-third", "1A2", "1B 54 72 71", "1A00000"},
    };
    for (const WriteRow& row : rows) {
        reader_.insert(row.card);
        const Bytes request = join({hex("1B 74"), ascii(row.request), hex("1D 1B 5C 1B 6A")});
        EXPECT_EQ(reader_.receive_serial(request), hex(row.reply))
            << row.card << " " << row.request;
        EXPECT_EQ(ask("B]"), join({hex("1B 73"), ascii(row.tracks), hex("3F 1C")}))
            << row.card << " " << row.request;
        reader_.remove(row.card);
    }
}

TEST_F(Magnetic, ARequestWaitsForACard) {
    EXPECT_EQ(ask("]"), Bytes{});
    EXPECT_TRUE(reader_.magnetic().is_waiting());
    EXPECT_EQ(reader_.take_late_serial(), Bytes{});
    EXPECT_EQ(control(reader_, "insert full").text, "ok\n");
    EXPECT_FALSE(reader_.magnetic().is_waiting());
    EXPECT_EQ(reader_.take_late_usb(), Bytes{}) << "asked for over the serial line";
    EXPECT_EQ(reader_.take_late_serial(), hex("1B 73 31 32 33 34 3D 39 39 3F 1C"));
    EXPECT_EQ(reader_.take_late_serial(), Bytes{}) << "only once";
    EXPECT_EQ(ask("]"), hex("1B 73 31 32 33 34 3D 39 39 3F 1C")) << "swiped again";
    EXPECT_EQ(control(reader_, "remove full").text, "ok\n");
    EXPECT_EQ(ask("]"), Bytes{});
}

TEST_F(Magnetic, AWriteWaitsToo) {
    EXPECT_EQ(reader_.receive_usb(1, hex("1B 74 37 37 1D 1B 5C 1B 6A")), Bytes{});
    reader_.insert("full");
    EXPECT_EQ(reader_.take_late_serial(), Bytes{});
    EXPECT_EQ(reader_.take_late_usb(), hex("1B 72 70"));
    EXPECT_EQ(reader_.magnetic().card()->track(2).text, "77");
}

TEST_F(Magnetic, OnlyTheLastRequestWaits) {
    ask("]");
    ask("A]");
    reader_.insert("full");
    EXPECT_EQ(reader_.take_late_serial(), join({hex("1B 73"), ascii("%B1234^ADA"), hex("3F 1C")}));
}

TEST_F(Magnetic, EveryResetEndsTheWait) {
    const Bytes resets[] = {hex("1B 30"), hex("1B 53"), kit::union_frame(hex("F8 00 AA BB 55 44"))};
    for (const Bytes& reset : resets) {
        ask("]");
        reader_.receive_serial(reset);
        EXPECT_FALSE(reader_.magnetic().is_waiting()) << kit::to_hex(reset);
        reader_.insert("full");
        EXPECT_EQ(reader_.take_late_serial(), Bytes{}) << kit::to_hex(reset);
        reader_.remove("full");
    }
    ask("]");
    reader_.insert("full");
    ask("0");
    EXPECT_EQ(reader_.take_late_serial(), Bytes{}) << "an answer nobody took is lost as well";
}

TEST_F(Magnetic, OtherCommandsLeaveItWaiting) {
    ask("]");
    EXPECT_EQ(reader_.receive_serial(kit::ic_frame(hex("E1 01"))), kit::ic_frame(hex("FB")));
    EXPECT_TRUE(reader_.magnetic().is_waiting());
}

TEST_F(Magnetic, OverUsbItTakesEscapeCommands) {
    reader_.insert("full");
    EXPECT_EQ(reader_.receive_usb(2, hex("1B 5D")), Bytes{});
    EXPECT_EQ(reader_.counts().misaddressed, 1);
    EXPECT_EQ(reader_.receive_usb(1, hex("1B 5D")), hex("1B 73 31 32 33 34 3D 39 39 3F 1C"));
    EXPECT_EQ(reader_.receive_usb(0, hex("1B 5D")), hex("1B 73 31 32 33 34 3D 39 39 3F 1C"));
}

TEST_F(Magnetic, CardsMoveByName) {
    EXPECT_THROW(reader_.magnetic().insert("nobody"), std::invalid_argument);
    EXPECT_THROW(reader_.magnetic().remove("full"), std::invalid_argument);
    reader_.insert("full");
    reader_.insert("blank");
    EXPECT_EQ(reader_.magnetic().card()->name(), "blank");
    EXPECT_EQ(reader_.describe(),
              "full: out\nblank: swiped\ndamaged: out\nworn: out\nbad-third: out\n");
    EXPECT_EQ(control(reader_, "remove full").text, "error the card full is not in the reader\n");
    EXPECT_EQ(control(reader_, "remove nobody").text, "error no card is named nobody\n");
}

}  // namespace
