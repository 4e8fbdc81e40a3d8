#include "cards/apdu.h"

#include "kit/bytes.h"

namespace {

using kit::hex;
using namespace virtual_reader;

TEST(CommandApdu, HasFourForms) {
    const Bytes bare = hex("80 CA 9F 79");
    const auto first = Command::parse(bare);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->cla, 0x80);
    EXPECT_EQ(first->ins, 0xCA);
    EXPECT_EQ(first->parameters(), 0x9F79);
    EXPECT_TRUE(first->data.empty());
    EXPECT_FALSE(first->le);

    const Bytes reading = hex("00 B2 01 0C 00");
    EXPECT_EQ(Command::parse(reading)->le, 256u);

    const Bytes writing = hex("00 20 00 80 02 AB CD");
    const auto third = Command::parse(writing);
    EXPECT_EQ(to_bytes(third->data), hex("AB CD"));
    EXPECT_FALSE(third->le);

    const Bytes both = hex("00 A4 04 00 02 F0 01 07");
    const auto fourth = Command::parse(both);
    EXPECT_EQ(to_bytes(fourth->data), hex("F0 01"));
    EXPECT_EQ(fourth->le, 7u);
}

TEST(CommandApdu, OtherLengthsAreNone) {
    for (const char* bytes :
         {"", "00 B2 01", "00 A4 04 00 05 F0", "00 A4 04 00 00 F0", "00 A4 04 00 02 F0 01 07 07"})
        EXPECT_FALSE(Command::parse(hex(bytes))) << bytes;
}

TEST(StatusOfTries, CountsDownToBlocked) {
    EXPECT_EQ(status_of_tries(3), hex("63 C3"));
    EXPECT_EQ(status_of_tries(1), hex("63 C1"));
    EXPECT_EQ(status_of_tries(20), hex("63 CF"));
    EXPECT_EQ(status_of_tries(0), hex("69 83"));
}

Bytes ask(Responder& responder, const char* apdu, Bytes (Responder::*answer)(const Command&)) {
    const Bytes bytes = hex(apdu);
    return (responder.*answer)(*Command::parse(bytes));
}

Bytes read_with(Responder& responder, const char* apdu, const char* data) {
    const Bytes bytes = hex(apdu);
    return responder.read(hex(data), *Command::parse(bytes));
}

TEST(ResponderAtOnce, SaysAll) {
    Responder responder(false);
    EXPECT_EQ(responder.answer(hex("01 02")), hex("01 02 90 00"));
    EXPECT_EQ(responder.answer(hex("01 02"), sw_invalidated), hex("01 02 62 83"));
    EXPECT_EQ(read_with(responder, "00 B2 01 0C 00", "01 02"), hex("01 02 90 00"));
    EXPECT_EQ(read_with(responder, "00 B2 01 0C 01", "01 02"), hex("01 90 00"));
    EXPECT_EQ(read_with(responder, "80 CA 9F 79", "01 02"), hex("01 02 90 00")) << "without Le";
    EXPECT_EQ(ask(responder, "00 C0 00 00 02", &Responder::get_response), hex("6A 86"));
}

TEST(ResponderByProcedureBytes, LetsDataWait) {
    Responder responder(true);
    EXPECT_EQ(responder.answer(hex("01 02 03")), hex("61 03"));
    EXPECT_EQ(ask(responder, "00 C0 00 00", &Responder::get_response), hex("67 00"));
    EXPECT_EQ(ask(responder, "00 C0 00 00 01", &Responder::get_response), hex("01 61 02"));
    EXPECT_EQ(ask(responder, "00 C0 00 00 00", &Responder::get_response), hex("02 03 90 00"));
    EXPECT_EQ(ask(responder, "00 C0 00 00 00", &Responder::get_response), hex("6A 86"));
    EXPECT_EQ(responder.answer({}), hex("90 00")) << "nothing to wait for";
    EXPECT_EQ(responder.answer(hex("01"), sw_invalidated), hex("62 83"));
    EXPECT_EQ(ask(responder, "00 C0 00 00 00", &Responder::get_response), hex("01 90 00"));
    EXPECT_EQ(responder.answer(Bytes(256, 7)), hex("61 00")) << "256 bytes";
}

TEST(ResponderByProcedureBytes, WantsTheRightLe) {
    Responder responder(true);
    EXPECT_EQ(read_with(responder, "00 B2 01 0C 00", "01 02"), hex("6C 02"));
    EXPECT_EQ(read_with(responder, "00 B2 01 0C 02", "01 02"), hex("01 02 90 00"));
    EXPECT_EQ(read_with(responder, "80 CA 9F 79", "01 02"), hex("61 02")) << "without Le";
}

TEST(ResponderByProcedureBytes, AnyOtherCommandDropsWhatWaits) {
    Responder responder(true);
    responder.answer(hex("01 02"));
    const Bytes get = hex("00 C0 00 00 02");
    responder.begin(*Command::parse(get));
    const Bytes other = hex("00 B2 01 0C 00");
    responder.begin(*Command::parse(other));
    EXPECT_EQ(ask(responder, "00 C0 00 00 02", &Responder::get_response), hex("6A 86"));
    responder.answer(hex("01 02"));
    responder.forget();
    EXPECT_EQ(ask(responder, "00 C0 00 00 02", &Responder::get_response), hex("6A 86"));
}

}  // namespace
