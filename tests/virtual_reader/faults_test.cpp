// Faults: what becomes of one answer, written out.
#include "deck.h"
#include "desk_control.h"
#include "faults/script.h"
#include "kit/bytes.h"

namespace {

using kit::ascii;
using kit::hex;
using kit::to_hex;
using namespace std::chrono_literals;
using namespace virtual_reader;

const Bytes ic_answer = kit::join({ascii("6001FB9A"), hex("03")});
const Bytes union_answer = hex("02 30303032 31303032 3132 03");
const Bytes id_answer = hex("AAAAAA9669 0004 000080 84");
const Bytes plain_answer = hex("1B 73 31 3F 1C");

std::string joined(const std::vector<Piece>& pieces) {
    std::string text;
    for (const Piece& piece : pieces) {
        if (!text.empty()) text += ' ';
        text += (piece.is_report ? "report:" : "") + to_hex(piece.bytes);
    }
    return text;
}

// What a fault, told in words, makes of an answer.
std::string spoiled(const std::vector<std::string>& words, const Bytes& answer) {
    FaultScript script;
    script.add(fault_from_words(words));
    return joined(script.spoil(answer));
}

TEST(Faults, LeaveBytesOut) {
    EXPECT_EQ(spoiled({"drop"}, hex("01020304")), "020304");
    EXPECT_EQ(spoiled({"drop", "at", "1", "count", "2"}, hex("01020304")), "0104");
    EXPECT_EQ(spoiled({"drop", "at", "3", "count", "9"}, hex("01020304")), "010203");
    EXPECT_EQ(spoiled({"drop", "at", "9"}, hex("01020304")), "01020304");
    EXPECT_EQ(spoiled({"drop", "count", "0"}, hex("01020304")), "") << "all of it";
    EXPECT_EQ(spoiled({"truncate", "at", "2"}, hex("01020304")), "0102");
    EXPECT_EQ(spoiled({"truncate"}, hex("01020304")), "");
    EXPECT_EQ(spoiled({"truncate", "at", "9"}, hex("01020304")), "01020304");
}

TEST(Faults, RepeatAndReorderBytes) {
    EXPECT_EQ(spoiled({"duplicate"}, hex("010203")), "010203010203");
    EXPECT_EQ(spoiled({"duplicate", "at", "1", "count", "1"}, hex("010203")), "01020203");
    EXPECT_EQ(spoiled({"reorder"}, hex("010203")), "030201");
    EXPECT_EQ(spoiled({"reorder", "at", "1", "count", "2"}, hex("01020304")), "01030204");
}

TEST(Faults, ChangeBytes) {
    EXPECT_EQ(spoiled({"corrupt"}, hex("010203")), "FE0203");
    EXPECT_EQ(spoiled({"corrupt", "at", "1", "count", "2", "bytes", "80"}, hex("010203")),
              "018283");
    EXPECT_EQ(spoiled({"corrupt", "count", "0"}, hex("010203")), "FEFDFC");
}

TEST(Faults, PutNoiseAroundAnAnswer) {
    EXPECT_EQ(spoiled({"noise", "bytes", "0360"}, hex("0102")), "03600102");
    EXPECT_EQ(spoiled({"trail", "bytes", "FFFE"}, hex("0102")), "0102FFFE");
}

TEST(Faults, SpoilAPreamble) {
    EXPECT_EQ(spoiled({"preamble"}, ic_answer), to_hex(kit::join({ascii("2001FB9A"), hex("03")})));
    EXPECT_EQ(spoiled({"preamble"}, union_answer),
              "06303030323130303231"
              "3203");
    EXPECT_EQ(spoiled({"preamble"}, id_answer),
              "AEAAAA966900040000"
              "8084");
    EXPECT_EQ(spoiled({"preamble"}, plain_answer), "1F73313F1C");
}

TEST(Faults, SpoilALength) {
    const auto ic = [](const char* text) { return to_hex(kit::join({ascii(text), hex("03")})); };
    EXPECT_EQ(spoiled({"length", "bytes", "00"}, ic_answer), ic("6000FB9A"));
    EXPECT_EQ(spoiled({"length", "bytes", "FF"}, ic_answer), ic("60FFFB9A"));
    EXPECT_EQ(spoiled({"length", "bytes", "FFB0"}, ic_answer), ic("60FFB0FB9A")) << "its escape";
    EXPECT_EQ(spoiled({"length"}, ic_answer), ic("60FB9A")) << "none at all";
    EXPECT_EQ(spoiled({"length", "bytes", "0000"}, union_answer),
              "02303030303130303231"
              "3203");
    EXPECT_EQ(spoiled({"length", "bytes", "FFFF"}, union_answer),
              "023F3F3F3F3130303231"
              "3203");
    EXPECT_EQ(spoiled({"length", "bytes", "0000"}, id_answer),
              "AAAAAA966900000000"
              "8084");
    EXPECT_EQ(spoiled({"length", "bytes", "FFFF"}, id_answer),
              "AAAAAA9669FFFF0000"
              "8084");
    EXPECT_EQ(spoiled({"length", "bytes", "00"}, plain_answer), "1B73313F1C");
}

TEST(Faults, SpoilTheLengthOfALongAnswer) {
    // 255 bytes: FF and the escape B0.
    Bytes answer = kit::join({ascii("60FFB0"), Bytes(510, '0'), ascii("2F"), hex("03")});
    FaultScript script;
    script.add(fault_from_words({"length", "bytes", "05"}));
    const auto pieces = script.spoil(answer);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pieces[0].bytes, kit::join({ascii("6005"), Bytes(510, '0'), ascii("2F"), hex("03")}));
}

TEST(Faults, SpoilACheckByte) {
    EXPECT_EQ(spoiled({"check"}, ic_answer), to_hex(kit::join({ascii("6001FB65"), hex("03")})));
    EXPECT_EQ(spoiled({"check"}, union_answer),
              "02303030323130303"
              "23E3D03");
    EXPECT_EQ(spoiled({"check"}, id_answer), "AAAAAA966900040000807B");
    EXPECT_EQ(spoiled({"check"}, plain_answer), "1B73313FE3");
}

TEST(Faults, AnswerWithStatusesOfTheirOwn) {
    // 60 ^ 01 ^ C3 is A2; F0 ^ 0F is FF; 00 ^ 04 ^ 12 ^ 34 ^ 56 is 74.
    EXPECT_EQ(spoiled({"status", "bytes", "C3"}, ic_answer),
              to_hex(kit::join({ascii("6001C3A2"), hex("03")})));
    EXPECT_EQ(spoiled({"status", "bytes", "F00F"}, union_answer), "02303030323F30303F3F3F03");
    EXPECT_EQ(spoiled({"status", "bytes", "123456"}, id_answer),
              "AAAAAA966900041234"
              "5674");
    EXPECT_EQ(spoiled({"status", "bytes", "77"}, id_answer),
              "AAAAAA966900047777"
              "7773")
        << "one for all three";
    EXPECT_EQ(spoiled({"status"}, ic_answer), to_hex(ic_answer));
    EXPECT_EQ(spoiled({"status", "bytes", "77"}, plain_answer), "1B73313F1C");
}

TEST(Faults, DeliverInPieces) {
    FaultScript script;
    script.add(fault_from_words({"split", "ms", "20"}));
    const auto pieces = script.spoil(hex("010203"));
    EXPECT_EQ(joined(pieces), "01 02 03");
    EXPECT_EQ(pieces[0].pause, 0ms);
    EXPECT_EQ(pieces[1].pause, 20ms);
    EXPECT_EQ(pieces[2].pause, 20ms);
    EXPECT_EQ(spoiled({"split", "count", "2"}, hex("0102030405")), "0102 0304 05");
}

TEST(Faults, DelayAnAnswer) {
    FaultScript script;
    script.add(fault_from_words({"delay", "ms", "1500"}));
    const auto pieces = script.spoil(hex("0102"));
    ASSERT_EQ(joined(pieces), "0102");
    EXPECT_EQ(pieces[0].pause, 1500ms);
}

TEST(Faults, MergeAnswers) {
    FaultScript script;
    script.add(fault_from_words({"merge", "times", "2"}));
    EXPECT_EQ(joined(script.spoil(hex("01"))), "");
    EXPECT_EQ(joined(script.spoil(hex("02"))), "");
    EXPECT_EQ(joined(script.spoil(hex("03"))), "010203");
    EXPECT_EQ(joined(script.spoil(hex("04"))), "04");
}

TEST(Faults, PutReportsBeforeAnAnswer) {
    EXPECT_EQ(spoiled({"report"}, hex("01")), "report: 01");
    EXPECT_EQ(spoiled({"report", "count", "2", "bytes", "0200"}, hex("01")),
              "report:0200 report:0200 01");
}

TEST(Faults, FallMute) {
    FaultScript script;
    script.add(fault_from_words({"mute", "after", "1", "at", "2"}));
    EXPECT_EQ(joined(script.spoil(hex("010203"))), "010203");
    EXPECT_EQ(joined(script.spoil(hex("010203"))), "0102");
    EXPECT_TRUE(script.is_mute());
    EXPECT_EQ(joined(script.spoil(hex("010203"))), "");
    script.clear();
    EXPECT_EQ(joined(script.spoil(hex("010203"))), "010203");
}

TEST(Faults, RefuseARequest) {
    FaultScript script;
    script.add(fault_from_words({"stall", "after", "1"}));
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "0102");
    EXPECT_FALSE(script.has_stalled());
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "");
    EXPECT_TRUE(script.has_stalled());
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "0102");
    EXPECT_FALSE(script.has_stalled());
}

TEST(Faults, UnplugTheReader) {
    FaultScript script;
    script.add(fault_from_words({"unplug", "at", "1"}));
    EXPECT_TRUE(script.is_plugged());
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "01");
    EXPECT_FALSE(script.is_plugged());
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "");
    script.plug();
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "0102");
}

TEST(Faults, WaitAndRepeat) {
    FaultScript script;
    script.add(fault_from_words({"truncate", "after", "1", "times", "2"}));
    for (const char* expected : {"01", "", "", "01"})
        EXPECT_EQ(joined(script.spoil(hex("01"))), expected);
    EXPECT_EQ(script.waiting(), 0u);
    EXPECT_EQ(script.spoiled(), 2);
    script.add(fault_from_words({"truncate", "times", "0"}));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(joined(script.spoil(hex("01"))), "") << "for ever";
    EXPECT_EQ(script.waiting(), 1u);
}

TEST(Faults, ApplyTogetherInOrder) {
    FaultScript script;
    script.add(fault_from_words({"noise", "bytes", "AA"}));
    script.add(fault_from_words({"truncate", "at", "2"}));
    EXPECT_EQ(joined(script.spoil(hex("0102"))), "AA01");
}

TEST(Faults, LeaveSilenceAlone) {
    FaultScript script;
    script.add(fault_from_words({"noise", "bytes", "AA"}));
    EXPECT_EQ(joined(script.spoil({})), "") << "a request without an answer counts for none";
    EXPECT_EQ(joined(script.spoil(hex("01"))), "AA01");
}

std::string complaint(const std::vector<std::string>& words) {
    try {
        fault_from_words(words);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "none";
}

TEST(Faults, SayWhatIsWrong) {
    EXPECT_EQ(complaint({}), complaint({"explode"}));
    EXPECT_EQ(complaint({"explode"}),
              "expected a fault out of drop, delay, duplicate, truncate, corrupt, reorder, split, "
              "merge, noise, trail, preamble, length, check, status, report, mute, stall, unplug");
    EXPECT_EQ(complaint({"drop", "at"}), "expected a value for at");
    EXPECT_EQ(complaint({"drop", "at", "x"}), "expected a number from 0 to 1000000, not x");
    EXPECT_EQ(complaint({"drop", "at", "-1"}), "expected a number from 0 to 1000000, not -1");
    EXPECT_EQ(complaint({"drop", "bytes", "0"}),
              "expected an even number of hexadecimal digits, not 0");
    EXPECT_EQ(complaint({"drop", "of", "1"}),
              "expected after, times, at, count, ms or bytes, not of");
}

TEST(Faults, StandInADeck) {
    const auto reader = reader_from_deck(R"({"faults": [
        {"kind": "noise", "bytes": "AA", "times": 1},
        {"kind": "drop", "after": 1, "at": 1, "count": 2, "ms": 0}]})",
                                         "deck");
    EXPECT_EQ(joined(reader->faults().spoil(hex("01020304"))), "AA01020304");
    EXPECT_EQ(joined(reader->faults().spoil(hex("01020304"))), "0104");
}

std::string deck_complaint(const char* fault) {
    try {
        reader_from_deck(std::string(R"({"faults": [)") + fault + "]}", "deck");
    } catch (const DeckError& error) {
        return error.what();
    }
    return "none";
}

TEST(Faults, OfADeckAreChecked) {
    EXPECT_EQ(deck_complaint(R"({"at": 1})"), "deck: /faults/0: expected a key kind");
    EXPECT_EQ(deck_complaint(R"({"kind": "drop", "size": 1})"),
              "deck: /faults/0/size: unknown key, expected one of kind, after, times, at, count, "
              "ms, bytes");
    EXPECT_EQ(
        deck_complaint(R"({"kind": "explode"})").find("deck: /faults/0/kind: expected one of "),
        0u);
    EXPECT_EQ(deck_complaint(R"({"kind": "drop", "at": -1})"),
              "deck: /faults/0/at: expected a whole number from 0 to 1000000, found -1");
}

TEST(Faults, ComeAsLinesToo) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    const auto say = [&](const char* line) { return control(*reader, line).text; };
    EXPECT_EQ(say("fault truncate at 1"), "ok\n");
    EXPECT_EQ(say("fault mute after 9"), "ok\n");
    EXPECT_EQ(joined(reader->faults().spoil(hex("0102"))), "01");
    EXPECT_NE(say("status").find("\n  faults waiting: 1, answers spoiled: 1\n"), std::string::npos);
    EXPECT_EQ(say("fault none"), "ok\n");
    EXPECT_EQ(reader->faults().waiting(), 0u);
    EXPECT_EQ(say("fault drop at x"), "error expected a number from 0 to 1000000, not x\n");
    EXPECT_EQ(say("fault"), "error expected fault none, or fault KIND ...\n");
    EXPECT_EQ(say("fault explode").find("error expected a fault out of drop, "), 0u);
    EXPECT_EQ(say("unplug"), "ok\n");
    EXPECT_NE(say("status").find(", unplugged\n"), std::string::npos);
    EXPECT_EQ(say("plug"), "ok\n");
    EXPECT_TRUE(reader->faults().is_plugged());
}

TEST(Faults, AReaderThatIsPluggedInBeginsAnew) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    reader->receive_serial(hex("1B 24 53 34"));  // ID mode at 115200 baud
    reader->receive_serial(hex("1B 25 31"));     // pass-through port
    reader->ic().power_on({false, 0});
    EXPECT_EQ(reader->mode(), 'S');
    EXPECT_EQ(reader->baud(), 115200);
    reader->receive_serial(hex("1B"));  // half a request
    reader->faults().unplug();
    reader->plug_in();
    EXPECT_EQ(reader->mode(), 'B');
    EXPECT_EQ(reader->baud(), 9600);
    EXPECT_EQ(reader->pass_through_port(), 'A');
    EXPECT_FALSE(reader->ic().is_powered({false, 0}));
    const Bytes request = kit::join({ascii("6002E10182"), hex("03")});
    EXPECT_EQ(reader->receive_serial(request),
              kit::join({ascii("6007003B044445534842"), hex("03")}));
}

}  // namespace
