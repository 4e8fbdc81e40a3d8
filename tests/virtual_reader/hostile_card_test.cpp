#include "deck.h"
#include "kit/bytes.h"

namespace {

using kit::hex;
using kit::to_hex;
using namespace virtual_reader;

// The only card of a deck, powered.
class Hostile {
  public:
    explicit Hostile(const std::string& keys)
        : reader_(reader_from_deck(
              R"({"cards": [{"type": "hostile", "name": "it", "inserted": true, )" + keys + "}]}",
              "deck")) {
        reader_->ic().power_on({false, 0});
    }

    Bytes send(const char* command) {
        return reader_->ic().transmit({false, 0}, hex(command)).data;
    }
    std::string text(const char* command) { return to_hex(send(command)); }

  private:
    std::unique_ptr<Reader> reader_;
};

std::string manner(const char* name) {
    return R"("manner": ")" + std::string(name) + '"';
}

TEST(HostileCard, AnswersInOddSizes) {
    Hostile card(manner("sizes"));
    for (const std::size_t size : {0u, 1u, 255u, 256u, 600u, 2000u, 0u, 1u})
        EXPECT_EQ(card.send("00B0000000").size(), size);
    const Bytes answer = card.send("00B0000000");
    EXPECT_EQ(to_hex({answer.data() + 253, 2}), "9000");
    EXPECT_EQ(to_hex({answer.data(), 4}), "00010203");
}

TEST(HostileCard, GivesTheResponsesThatItWasTold) {
    Hostile card(R"("responses": ["9000", "61"])");
    EXPECT_EQ(card.text("00A4040000"), "9000");
    EXPECT_EQ(card.text("00A4040000"), "61");
    EXPECT_EQ(card.text("00"), "9000") << "whatever the command";
}

TEST(HostileCard, NeverEnds) {
    for (const char* command : {"00A4040000", "00C0000010", "00B2010C10"}) {
        EXPECT_EQ(Hostile(manner("endless-61")).text(command), "6110");
        EXPECT_EQ(Hostile(manner("endless-62")).text(command), "6210");
        EXPECT_EQ(Hostile(manner("endless-6C")).text(command), "6C10");
    }
}

TEST(HostileCard, LiesAboutLengths) {
    Hostile card(manner("lengths"));
    for (const char* expected :
         {"6F7F84019000", "6F81FF8402009000", "6F82FFFF8402009000", "6F84FFFFFFFF8402009000",
          "6F8084009000", "6FFF84009000", "9F9000", "5F9000", "6F9000", "70819000", "6F7F84019000"})
        EXPECT_EQ(card.text("80CA9F7900"), expected);
}

TEST(HostileCard, NamesThirtyFiles) {
    Hostile card(manner("records"));
    const Bytes options = card.send("80A8000002830000");
    ASSERT_EQ(options.size(), 2u + 2 + 30 * 4 + 2);
    EXPECT_EQ(to_hex({options.data(), 12}), "807A7C000801FF001001FF00");
    EXPECT_EQ(to_hex({options.data() + 120, 6}), "F001FF009000");
    EXPECT_EQ(card.send("00B2011400").size(), 3u + 247 + 2 - 0);
    const Bytes nested = card.send("00B2021400");
    EXPECT_EQ(to_hex({nested.data(), 9}), "7081F87081F57081F2");
}

TEST(HostileCard, CountsItsLogsTo255) {
    Hostile card(manner("logs"));
    EXPECT_EQ(card.text("00A4040008A000000333010101"),
              "6F258408A000000333010101A5195007484F5354494C459F38039F6604"
              "9F4D020BFFDF4D020CFF9000");
    EXPECT_EQ(card.send("00B2FF5C00").size(), 252u);
}

TEST(HostileCard, HasNamesWithoutAnEnd) {
    Hostile card(manner("names"));
    const Bytes record = card.send("00B2011400");
    EXPECT_EQ(to_hex({record.data(), 8}), "7081F45F2081F04E");
    EXPECT_EQ(record.size(), 3u + 4 + 240 + 2);
    EXPECT_EQ(card.send("00B2010C00").size(), 3u + 3 + 10 + 3 + 220 + 2);
}

TEST(HostileCard, AsksFor64KiB) {
    Hostile card(manner("lists"));
    EXPECT_EQ(card.text("00B2011400"),
              "70225A0899999900000000138C0C9F02FF95FF9F7EFF9A82FFFF8D089F02FF8AFF9F7EFF9000");
}

TEST(HostileCard, OtherwisePlaysAlong) {
    Hostile card(manner("names"));
    EXPECT_EQ(card.text("00A404000E315041592E5359532E4444463031"),
              "6F15840E315041592E5359532E4444463031A5038801019000");
    EXPECT_EQ(card.text("00B2020C00"), "6A83");
    EXPECT_EQ(card.text("80A8000002830000"), "80067C00100102009000");
    EXPECT_EQ(card.text("80CA9F7900"), "9F79060000000100009000");
    EXPECT_EQ(card.text("80AE80000100"), "800F8000010102030405060708070101039000");
}

TEST(HostileCard, NeedsOneManner) {
    const auto complaint = [](const char* keys) -> std::string {
        try {
            const Hostile card(keys);
        } catch (const DeckError& error) {
            return error.what();
        }
        return "none";
    };
    EXPECT_EQ(complaint(R"("slot": 0)"),
              "deck: /cards/0: expected either manner or responses, found object");
    EXPECT_EQ(complaint(R"("manner": "sizes", "responses": [])"),
              "deck: /cards/0: expected either manner or responses, found object");
    EXPECT_EQ(
        complaint(R"("manner": "rude")"),
        R"(deck: /cards/0/manner: expected "sizes", "lengths", "endless-61", "endless-62", "endless-6C", "records", "logs", "names" or "lists", found "rude")");
}

}  // namespace
