#include "desk_control.h"

#include "deck.h"

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
    EXPECT_EQ(say("remove resident"), "the card resident is not in the reader\n");
    for (const char* card : {"ticket", "loyalty", "foreign"})
        EXPECT_EQ(say((std::string("remove ") + card).c_str()), "ok\n");
}

TEST_F(DeskControl, ShowsTheState) {
    reader_->ic().power_on({false, 0});
    say("remove visitor");
    EXPECT_EQ(say("status"),
              "member: slot 0, powered\nvisitor: out\nbank: out\ncitizen: out\nlocker: out\n"
              "ticket: out\nloyalty: out\nresident: out\nforeign: out\nresidence: out\n"
              "requests: 0, beeps: 0, resets: 0, rejected frames: 0, noise bytes: 0, baud: 9600\n");
}

TEST_F(DeskControl, SaysWhatIsWrong) {
    EXPECT_EQ(say("insert nobody"), "no card is named nobody\n");
    say("remove member");
    EXPECT_EQ(say("remove member"), "the card member is not in the reader\n");
    EXPECT_EQ(say("insert member slot x"), "a slot is a number from 0 to 31, not x\n");
    EXPECT_EQ(say("insert member slot 32"), "a slot is a number from 0 to 31, not 32\n");
    EXPECT_EQ(say("dance").find("unknown command"), 0u);
    EXPECT_EQ(say("insert").find("unknown command"), 0u);
    EXPECT_EQ(say(""), "");
    EXPECT_NE(say("help").find("insert NAME"), std::string::npos);
}

TEST_F(DeskControl, EndsTheProgram) {
    EXPECT_TRUE(control(*reader_, "quit").quit);
    EXPECT_FALSE(control(*reader_, "status").quit);
}

}  // namespace
