#include "cards/purse_card.h"

#include "plain_cipher.h"

namespace {

using kit::hex;
using kit::to_hex;
using namespace virtual_reader;

constexpr const char* purchase_key = "509BE6317CC7125DA8F33E89D41F6AB5";
constexpr const char* load_key = "61ACF7428DD8236EB9044F9AE5307BC6";
constexpr const char* transaction_key = "72BD08539EE9347F CA1560ABF6418CD7";
constexpr const char* maintenance_key = "83CE1964AFFA4590DB2671BC07529DE8";

// Single DES in CBC over the padded message, its last block's first four bytes.
Bytes short_mac(const Bytes& key, const Bytes& message) {
    const Bytes chained = plain::triple_des_cbc(key, plain::padded(message));
    return plain::part(chained, chained.size() - 8, 4);
}

class Purse : public testing::Test {
  protected:
    static PurseCardSettings settings() {
        PurseCardSettings settings;
        settings.name = "purse";
        settings.answer = hex("3B 00");
        settings.files.push_back({0xEF15, 0x15, kit::ascii("ISSUER 0001"), {}});
        return settings;
    }

    void SetUp() override { EXPECT_EQ(card_.power_on(), hex("3B 00")); }

    std::string send(const Bytes& command) { return to_hex(card_.transmit(command)); }
    std::string send(const char* command) { return send(hex(command)); }

    // Initialise for load of 1,000.00 into the purse; its answer.
    Bytes initialise_load() {
        EXPECT_EQ(send("00 20 00 00 02 1234"), "9000");
        return hex(send("80 50 00 02 0B 01 000186A0 112233445566"));
    }

    static Bytes load_session(const Bytes& answer) {
        return plain::triple_des_cbc(
            hex(load_key),
            kit::join({plain::part(answer, 8, 4), plain::part(answer, 4, 2), hex("8000")}));
    }

    PurseCard card_{settings()};
};

TEST_F(Purse, ShowsBalances) {
    EXPECT_EQ(send("80 5C 00 02 04"), "000013889000");
    EXPECT_EQ(send("80 5C 00 01 04"), "6982") << "the deposit needs the PIN";
    EXPECT_EQ(send("00 20 00 00 02 1234"), "9000");
    EXPECT_EQ(send("80 5C 00 01 04"), "000000009000");
    EXPECT_EQ(send("80 5C 00 03 04"), "6A86");
    EXPECT_EQ(send("80 5C 01 02 04"), "6A86");
}

TEST_F(Purse, CountsWrongPins) {
    EXPECT_EQ(send("00 20 00 00 02 4321"), "63C2");
    EXPECT_EQ(send("00 20 00 00 03 123400"), "63C1");
    EXPECT_EQ(send("00 20 00 00 02 1234"), "9000");
    EXPECT_EQ(send("00 20 00 00 02 4321"), "63C2");
    EXPECT_EQ(send("80 5C 00 01 04"), "6982") << "a wrong one takes it back";
    EXPECT_EQ(send("00 20 00 00 02 4321"), "63C1");
    EXPECT_EQ(send("00 20 00 00 02 4321"), "6983");
    EXPECT_EQ(send("00 20 00 00 02 1234"), "6983");
    EXPECT_EQ(send("00 20 00 00 01 12"), "6700");
    EXPECT_EQ(send("00 20 00 01 02 1234"), "6A86");
}

TEST_F(Purse, GivesChallenges) {
    const std::string first = send("00 84 00 00 04");
    EXPECT_EQ(first.size(), 12u);
    EXPECT_NE(send("00 84 00 00 04"), first);
    EXPECT_EQ(send("00 84 00 00 08").size(), 20u);
    EXPECT_EQ(send("00 84 00 00 05"), "6700");
    EXPECT_EQ(send("00 84 00 00"), "6700");
    EXPECT_EQ(send("00 84 00 01 04"), "6A86");
}

TEST_F(Purse, ReadsFiles) {
    EXPECT_EQ(send("00 B0 95 00 00"), to_hex(kit::ascii("ISSUER 0001")) + "9000");
    EXPECT_EQ(send("00 B0 95 07 04"), to_hex(kit::ascii("0001")) + "9000");
    EXPECT_EQ(send("00 B0 95 0B 00"), "6B00");
    EXPECT_EQ(send("00 B0 96 00 00"), "6A82");
    EXPECT_EQ(send("00 B0 15 00 00"), "6A82") << "no current file";
    EXPECT_EQ(send("00 B0 95 00"), "6700");
}

TEST_F(Purse, UpdatesFilesUnderAMac) {
    const auto update = [&](const char* start, const char* data) {
        const Bytes challenge = plain::part(hex(send("00 84 00 00 04")), 0, 4);
        const Bytes first = plain::padded(kit::join({hex(start), hex(data)}));
        // The challenge is mixed into the first block.
        const Bytes mixed = plain::xored(kit::join({challenge, Bytes(first.size() - 4, 0)}), first);
        const Bytes key = hex(maintenance_key);
        const Bytes left = plain::part(key, 0, 8);
        const Bytes chained = plain::triple_des_cbc(left, mixed);
        const Bytes back = plain::triple_des_cbc(
            plain::part(key, 8, 8), plain::part(chained, chained.size() - 8, 8), false);
        return kit::join(
            {hex(start), hex(data), plain::part(plain::triple_des_cbc(left, back), 0, 4)});
    };
    const Bytes good = update("04 D6 95 07 08", "31323334");
    EXPECT_EQ(send(good), "9000");
    EXPECT_EQ(send("00 B0 95 00 00"), to_hex(kit::ascii("ISSUER 1234")) + "9000");
    EXPECT_EQ(send(good), "6985") << "the challenge is used up";
    Bytes wrong = update("04 D6 95 07 08", "31323335");
    wrong.back() ^= 1;
    EXPECT_EQ(send(wrong), "6988");
    EXPECT_EQ(send(update("04 D6 95 08 08", "31323334")), "6B00");
    EXPECT_EQ(send(update("04 D6 F6 00 08", "31323334")), "6A82");
    EXPECT_EQ(send("04 D6 95 00 04 00000000"), "6700");
    EXPECT_EQ(send("00 B0 95 00 00"), to_hex(kit::ascii("ISSUER 1234")) + "9000");
}

TEST_F(Purse, IsLoaded) {
    const Bytes answer = initialise_load();
    ASSERT_EQ(answer.size(), 18u);
    EXPECT_EQ(to_hex(plain::part(answer, 0, 8)), "0000138800000100") << "balance, counter, key";
    const Bytes session = load_session(answer);
    EXPECT_EQ(plain::part(answer, 12, 4),
              short_mac(session, hex("00001388 000186A0 02 112233445566")));
    const Bytes moment = hex("20261017 101530");
    const Bytes proof = short_mac(session, kit::join({hex("000186A0 02 112233445566"), moment}));
    const Bytes whole = hex(transaction_key);
    const Bytes tac_key = plain::xored(plain::part(whole, 0, 8), plain::part(whole, 8, 8));
    EXPECT_EQ(send(kit::join({hex("80 52 00 00 0B"), moment, proof})),
              to_hex(short_mac(
                  tac_key, kit::join({hex("00019A28 0000 000186A0 02 112233445566"), moment}))) +
                  "9000");
    EXPECT_EQ(send("80 5C 00 02 04"), "00019A289000");
    EXPECT_EQ(send(kit::join({hex("80 52 00 00 0B"), moment, proof})), "6985") << "once";
    EXPECT_EQ(to_hex(plain::part(initialise_load(), 4, 2)), "0001") << "the next load";
}

TEST_F(Purse, RefusesLoadsThatAreNotProven) {
    EXPECT_EQ(send("80 50 00 02 0B 01 000186A0 112233445566"), "6982") << "without PIN";
    const Bytes answer = initialise_load();
    EXPECT_EQ(send("80 52 00 00 0B 20261017101530 00000000"), "9302");
    EXPECT_EQ(send("80 5C 00 02 04"), "000013889000");
    EXPECT_EQ(send("80 52 00 00 0B 20261017101530 00000000"), "6985");
    initialise_load();
    EXPECT_EQ(send("80 52 00 01 0B 20261017101530 00000000"), "6A86");
    EXPECT_EQ(send("80 52 00 00 0A 20261017101530 000000"), "6700");
    send("80 5C 00 02 04");
    EXPECT_EQ(send("80 52 00 00 0B 20261017101530 00000000"), "6985")
        << "another command came between";
    EXPECT_EQ(send("80 50 00 02 0B 02 000186A0 112233445566"), "9403");
    EXPECT_EQ(send("80 50 02 02 0B 01 000186A0 112233445566"), "6A86");
    EXPECT_EQ(send("80 50 00 00 0B 01 000186A0 112233445566"), "6A86");
    EXPECT_EQ(send("80 50 00 02 0B"), "6700") << "a header alone";
    EXPECT_EQ(send("80 50 01 02 0B"), "6700");
}

TEST_F(Purse, Pays) {
    const Bytes answer = hex(send("80 50 01 02 0B 01 000003E8 112233445566"));
    ASSERT_EQ(answer.size(), 17u);
    EXPECT_EQ(to_hex(plain::part(answer, 0, 11)), "0000138800000000000100");
    const Bytes session = plain::triple_des_cbc(
        hex(purchase_key), kit::join({plain::part(answer, 11, 4), hex("0000 0007")}));
    const Bytes moment = hex("20261017 101530");
    const Bytes proof = short_mac(session, kit::join({hex("000003E8 06 112233445566"), moment}));
    const Bytes whole = hex(transaction_key);
    const Bytes tac_key = plain::xored(plain::part(whole, 0, 8), plain::part(whole, 8, 8));
    EXPECT_EQ(send(kit::join({hex("80 54 01 00 0F 00000007"), moment, proof})),
              to_hex(kit::join({short_mac(tac_key, kit::join({hex("000003E8 06 112233445566"
                                                                  "00000007"),
                                                              moment})),
                                short_mac(session, hex("000003E8"))})) +
                  "9000");
    EXPECT_EQ(send("80 5C 00 02 04"), "00000FA09000");
    EXPECT_EQ(send(kit::join({hex("80 54 01 00 0F 00000007"), moment, proof})), "6985");
}

TEST_F(Purse, PaysNoMoreThanItHas) {
    EXPECT_EQ(send("80 50 01 02 0B 01 00001389 112233445566"), "9401");
    EXPECT_EQ(send("80 50 01 01 0B 01 00000001 112233445566"), "6982") << "deposit without PIN";
    send("00 20 00 00 02 1234");
    EXPECT_EQ(send("80 50 01 01 0B 01 00000001 112233445566"), "9401");
    EXPECT_EQ(send("80 50 01 02 0B 01 00001388 112233445566").size(), 34u);
    EXPECT_EQ(send("80 54 01 00 0F 00000007 20261017101530 00000000"), "9302");
    EXPECT_EQ(send("80 5C 00 02 04"), "000013889000");
    send("80 50 01 02 0B 01 00001388 112233445566");
    EXPECT_EQ(send("80 54 00 00 0F 00000007 20261017101530 00000000"), "6A86");
    EXPECT_EQ(send("80 54 01 00 0E 00000007 20261017101530 000000"), "6700");
    EXPECT_EQ(send("80 52 00 00 0B 20261017101530 00000000"), "6985") << "no load";
}

TEST_F(Purse, IsSelectedFromTheBeginning) {
    EXPECT_EQ(send("00 A4 04 00 06 F04445534B50"), "6F088406F04445534B509000");
    EXPECT_EQ(send("00 A4 04 00 05 F04445534B"), "6A82");
    EXPECT_EQ(send("00 A4 00 00 02 3F00"), "6A86");
    EXPECT_EQ(send("00 B2 01 0C 00"), "6D00");
    EXPECT_EQ(send("80 20 00 00 02 1234"), "6E00");
    EXPECT_EQ(send("80"), "6700");
}

TEST_F(Purse, ForgetsPinChallengeAndHalfAPaymentWithoutPower) {
    send("00 20 00 00 02 1234");
    send("80 50 01 02 0B 01 000003E8 112233445566");
    card_.power_off();
    card_.power_on();
    EXPECT_EQ(send("80 54 01 00 0F 00000007 20261017101530 00000000"), "6985");
    EXPECT_EQ(send("80 5C 00 01 04"), "6982");
}

TEST(PurseByProcedureBytes, LetsAnswersWait) {
    PurseCardSettings settings;
    settings.by_procedure_bytes = true;
    PurseCard card(settings);
    card.power_on();
    EXPECT_EQ(card.transmit(hex("80 50 01 02 0B 01 000003E8 112233445566")), hex("61 0F"));
    EXPECT_EQ(card.transmit(hex("00 C0 00 00 0F")).size(), 17u);
    EXPECT_EQ(card.transmit(hex("80 54 01 00 0F 00000007 20261017101530 00000000")), hex("93 02"))
        << "GET RESPONSE does not come between";
    EXPECT_EQ(card.transmit(hex("80 5C 00 02 00")), hex("6C 04"));
}

}  // namespace
