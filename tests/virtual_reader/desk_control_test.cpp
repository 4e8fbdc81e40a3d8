#include "desk_control.h"

#include "deck.h"
#include "kit/frames.h"

namespace {

using namespace virtual_reader;

class DeskControl : public testing::Test {
  protected:
    std::string say(const char* line) { return control(*reader_, line).text; }

    std::unique_ptr<Reader> reader_ = reader_from_deck(default_deck(), "built-in");
};

TEST_F(DeskControl, MovesCards) {
    EXPECT_EQ(say("remove member"), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({false, 0}), nullptr);
    EXPECT_EQ(say("  insert   member slot 7 "), "ok\n");
    EXPECT_NE(reader_->ic().card_at({false, 7}), nullptr);
    EXPECT_EQ(say("insert member"), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({false, 7}), nullptr) << "a card is in one place";
    EXPECT_NE(reader_->ic().card_at({false, 0}), nullptr);
    EXPECT_EQ(say("remove visitor"), "ok\n");
}

TEST_F(DeskControl, KnowsWhereEachKindGoes) {
    say("remove visitor");
    for (const char* card : {"locker", "ticket", "loyalty", "resident"})
        EXPECT_EQ(say((std::string("insert ") + card).c_str()), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({true, 0})->name(), "ticket") << "in the place of the locker's";
    EXPECT_EQ(reader_->describe(),
              "member: slot 0, not powered\nvisitor: out\nbank: out\ncitizen: out\nlocker: out\n"
              "ticket: in the field, not powered\n"
              "loyalty: swiped\nresident: on the ID module\nforeign: out\nresidence: out\n");
    EXPECT_EQ(say("insert foreign"), "ok\n");
    EXPECT_EQ(say("remove resident"), "error the card resident is not in the reader\n");
    for (const char* card : {"ticket", "loyalty", "foreign"})
        EXPECT_EQ(say((std::string("remove ") + card).c_str()), "ok\n");
}

TEST_F(DeskControl, ShowsTheState) {
    reader_->ic().power_on({false, 0});
    say("remove visitor");
    const std::string cards =
        "  member: slot 0, powered\n  visitor: out\n  bank: out\n  citizen: out\n  locker: out\n"
        "  ticket: out\n  loyalty: out\n  resident: out\n  foreign: out\n  residence: out\n";
    EXPECT_EQ(say("status"),
              cards +
                  "  requests: 0, beeps: 0, resets: 0, rejected frames: 0, noise bytes: 0, baud: "
                  "9600\nok\n");
    EXPECT_EQ(say("list"), cards + "ok\n");
}

TEST_F(DeskControl, SaysWhatIsWrong) {
    EXPECT_EQ(say("insert nobody"), "error no card is named nobody\n");
    say("remove member");
    const std::pair<const char*, const char*> rows[] = {
        {"remove member", "error the card member is not in the reader\n"},
        {"insert member slot x", "error a slot is a number from 0 to 31, not x\n"},
        {"insert member slot 32", "error a slot is a number from 0 to 31, not 32\n"},
        {"dance", "error no command is named dance; help tells them\n"},
        {"insert", "error expected insert NAME, or insert NAME slot N, or insert NAME beside\n"},
        {"insert member slot",
         "error expected insert NAME, or insert NAME slot N, or insert NAME beside\n"},
        {"insert member 4 5",
         "error expected insert NAME, or insert NAME slot N, or insert NAME beside\n"},
        {"unplug all", "error expected unplug\n"},
        {"swap member", "error expected swap OLD NEW\n"},
        {"...", "error no command is named ...; help tells them\n"},
        {"insert member beside", "error the card member is not contactless\n"},
        {"insert loyalty beside", "error the card loyalty is not contactless\n"},
        {"insert nobody beside", "error no card is named nobody\n"},
    };
    for (const auto& [line, answer] : rows)
        EXPECT_EQ(say(line), answer) << line;
    EXPECT_EQ(say(""), "");
    EXPECT_EQ(say(" \t\r"), "");
    EXPECT_EQ(say("list\r").substr(0, 14), "  member: out\n");
}

TEST_F(DeskControl, TellsItsCommandsAndFaults) {
    for (const char* command : {"  insert NAME beside  ", "  swap OLD NEW        ", "  quit   "})
        EXPECT_NE(say("help").find(command), std::string::npos) << command;
    for (const FaultKind& kind : fault_kinds())
        EXPECT_NE(say("help faults").find("\n  " + std::string(kind.name) + "  "),
                  std::string::npos)
            << kind.name;
    EXPECT_TRUE(say("help").ends_with("\nok\n"));
}

TEST_F(DeskControl, SwapsCards) {
    say("insert member slot 7");
    EXPECT_EQ(say("swap member bank"), "ok\n");
    ASSERT_NE(reader_->ic().card_at({false, 7}), nullptr);
    EXPECT_EQ(reader_->ic().card_at({false, 7})->name(), "bank") << "in the same slot";
    EXPECT_EQ(say("swap visitor locker"), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({true, 0})->name(), "locker");
    EXPECT_EQ(say("swap locker citizen"), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({true, 0}), nullptr);
    EXPECT_EQ(reader_->ic().card_at({false, 0})->name(), "citizen") << "where its kind belongs";
    say("insert resident");
    EXPECT_EQ(say("swap resident foreign"), "ok\n");
    EXPECT_EQ(reader_->id().card()->name(), "foreign");
    EXPECT_EQ(say("swap foreign loyalty"), "ok\n");
    EXPECT_EQ(reader_->id().card(), nullptr);
    EXPECT_EQ(reader_->magnetic().card()->name(), "loyalty");
    const std::string before = say("list");
    EXPECT_EQ(say("swap member bank"), "error the card member is not in the reader\n");
    EXPECT_EQ(say("swap bank nobody"), "error no card is named nobody\n");
    EXPECT_EQ(say("swap nobody bank"), "error no card is named nobody\n");
    EXPECT_EQ(say("list"), before) << "nothing has moved";
    EXPECT_EQ(say("swap bank bank"), "ok\n");
    EXPECT_EQ(say("list"), before);
}

TEST_F(DeskControl, TakesAllCardsOut) {
    for (const char* line : {"insert loyalty", "insert resident", "insert locker beside", "empty"})
        EXPECT_EQ(say(line), "ok\n");
    EXPECT_EQ(say("list"),
              "  member: out\n  visitor: out\n  bank: out\n  citizen: out\n  locker: out\n"
              "  ticket: out\n  loyalty: out\n  resident: out\n  foreign: out\n"
              "  residence: out\nok\n");
    EXPECT_EQ(say("empty"), "ok\n");
}

// Two cards that answer at once can be powered by no reader.
TEST_F(DeskControl, PutsTwoCardsIntoTheField) {
    const auto ic = [&](const char* command) {
        return reader_->receive_serial(kit::ic_frame(kit::hex(command)));
    };
    const auto union_ = [&](const char* command) {
        return reader_->receive_serial(kit::union_frame(kit::hex(command)));
    };
    EXPECT_EQ(say("insert locker beside"), "ok\n");
    EXPECT_EQ(ic("D1"), kit::ic_frame(kit::hex("A2")));
    EXPECT_EQ(union_("32 24 00 00"), kit::union_frame(kit::hex("30 08")));
    EXPECT_EQ(ic("41"), kit::ic_frame(kit::hex("A2")));
    EXPECT_EQ(union_("32 21 00"), kit::union_frame(kit::hex("00 00 11 12"))) << "they are seen";
    EXPECT_EQ(say("remove visitor"), "ok\n");
    EXPECT_EQ(ic("41"), kit::ic_frame(kit::hex("00 5A5B5C5D"))) << "the locker is left";
    EXPECT_EQ(say("insert visitor beside"), "ok\n");
    EXPECT_EQ(ic("42 02 60 A0 A1 A2 A3 A4 A5"), kit::ic_frame(kit::hex("00")))
        << "a card that has power keeps it";
    EXPECT_EQ(ic("D1"), kit::ic_frame(kit::hex("A2")));
    EXPECT_EQ(ic("42 02 60 A0 A1 A2 A3 A4 A5"), kit::ic_frame(kit::hex("A2")))
        << "until both are woken";
    EXPECT_EQ(say("insert ticket"), "ok\n");
    EXPECT_EQ(reader_->ic().card_at({true, 0})->name(), "ticket");
    EXPECT_EQ(say("remove locker"), "error the card locker is not in the reader\n")
        << "another card takes the field alone";
    EXPECT_EQ(say("insert ticket beside"), "ok\n");
    EXPECT_EQ(ic("D1"), kit::ic_frame(kit::hex("00 04515253545556"))) << "not beside itself";
}

TEST_F(DeskControl, EndsTheProgram) {
    EXPECT_TRUE(control(*reader_, "quit").quit);
    EXPECT_EQ(control(*reader_, "quit").text, "ok\n");
    EXPECT_FALSE(control(*reader_, "status").quit);
    EXPECT_FALSE(control(*reader_, "quit now").quit);
}

}  // namespace
