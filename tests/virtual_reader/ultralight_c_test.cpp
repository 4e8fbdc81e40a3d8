// Ultralight C cards through the contactless exchange: D3 and the card's own command bytes.
#include "cards/ultralight_c.h"

#include "kit/frames.h"
#include "reader.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::union_frame;
using namespace virtual_reader;

// The manufacturer's published example of the authentication.
constexpr Block example_random = {0x51, 0xE7, 0x64, 0x60, 0x26, 0x78, 0xDF, 0x2B};

UltralightCSettings settings() {
    UltralightCSettings settings;
    settings.name = "ultralight";
    settings.uid = {0x04, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
    settings.key = ultralight_delivery_key;
    settings.data = hex("D0 D1 D2 D3 D4 D5");
    settings.random = example_random;
    return settings;
}

class Ultralight : public testing::Test {
  protected:
    void put_in(UltralightCSettings settings) {
        card_ = std::make_unique<UltralightC>(std::move(settings));
        card_->power_on();
    }
    void SetUp() override { put_in(settings()); }

    std::string say(const char* command) { return kit::to_hex(card_->transmit(hex(command))); }

    // As `say`, from a card that was powered on for it: a refusal makes a card silent.
    std::string say_anew(const char* command) {
        card_->power_on();
        return say(command);
    }

    void authenticate() {
        EXPECT_EQ(say("1A 00"), "AF577293FD2F34CA51");
        EXPECT_EQ(say("AF 0A 63 85 59 FC 77 37 F9 F1 5D 78 62 EB BE 96 7A"), "003B884FA07C137CE1");
    }

    std::unique_ptr<UltralightC> card_;
};

TEST_F(Ultralight, AnswersItsSerialNumber) {
    EXPECT_EQ(card_->power_on(), hex("04 11 22 33 44 55 66"));
    EXPECT_TRUE(card_->contactless());
}

TEST_F(Ultralight, ReadsFourPages) {
    EXPECT_EQ(say("30 00"),
              "041122BF"
              "33445566"
              "44480000"
              "00000000");
    EXPECT_EQ(say("30 03"),
              "00000000"
              "D0D1D2D3"
              "D4D50000"
              "00000000");
    EXPECT_EQ(say("30 28"),
              "00000000"
              "00000000"
              "30000000"
              "00000000");
    EXPECT_EQ(say("30 2B"),
              "00000000"
              "041122BF"
              "33445566"
              "44480000")
        << "from page 00 again";
    EXPECT_EQ(say("30 2A"),
              "30000000"
              "00000000"
              "041122BF"
              "33445566");
    EXPECT_EQ(say_anew("30 2C"), "00") << "the key";
    EXPECT_EQ(say_anew("30 2F"), "00");
    EXPECT_EQ(say_anew("30 30"), "00");
    EXPECT_EQ(say_anew("30 FF"), "00");
}

TEST_F(Ultralight, WritesPages) {
    EXPECT_EQ(say("A2 04 01 02 03 04"), "0A");
    EXPECT_EQ(say("A2 27 05 06 07 08"), "0A");
    EXPECT_EQ(say("30 04").substr(0, 16),
              "01020304"
              "D4D50000");
    EXPECT_EQ(say("30 27").substr(0, 8), "05060708");
    EXPECT_EQ(say_anew("A2 00 01 02 03 04"), "00");
    EXPECT_EQ(say_anew("A2 01 01 02 03 04"), "00");
    EXPECT_EQ(say_anew("A2 30 01 02 03 04"), "00");
    EXPECT_EQ(say_anew("30 00").substr(0, 16),
              "041122BF"
              "33445566");
}

TEST_F(Ultralight, OneTimeBitsAreOnlySet) {
    EXPECT_EQ(say("A2 03 01 02 00 F0"), "0A");
    EXPECT_EQ(say("A2 03 10 00 80 0F"), "0A");
    EXPECT_EQ(say("30 03").substr(0, 8), "110280FF");
}

TEST_F(Ultralight, CounterOnlyGoesUp) {
    EXPECT_EQ(say("A2 29 F0 FF 00 00"), "0A");
    EXPECT_EQ(say("30 29").substr(0, 8), "F0FF0000");
    EXPECT_EQ(say_anew("A2 29 10 00 00 00"), "00") << "at most 15 at a time";
    EXPECT_EQ(say_anew("A2 29 0E 00 00 00"), "0A");
    EXPECT_EQ(say("30 29").substr(0, 8), "FEFF0000");
    EXPECT_EQ(say_anew("A2 29 02 00 00 00"), "00") << "beyond its end";
    EXPECT_EQ(say_anew("A2 29 01 00 00 00"), "0A");
    EXPECT_EQ(say("30 29").substr(0, 8), "FFFF0000");
}

TEST_F(Ultralight, ARefusalMakesItSilent) {
    for (const char* command : {"30 2C", "30", "30 04 00", "A2 04 01 02 03", "1A 01", "1A", "60",
                                "AF", "AF 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"}) {
        EXPECT_EQ(say_anew(command), "00") << command;
        EXPECT_EQ(say("30 00"), "") << command;
    }
    EXPECT_EQ(say_anew(""), "00");
    EXPECT_EQ(say_anew("50 00"), "") << "a halt has no answer";
    EXPECT_EQ(say("30 00"), "");
    card_->power_on();
    card_->power_off();
    EXPECT_EQ(say("30 00"), "");
}

struct LockRow {
    const char* locks;  // the four lock bytes
    unsigned first;     // locked pages
    unsigned last;
};

std::array<std::uint8_t, 4> four(const char* text) {
    const Bytes bytes = hex(text);
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

TEST_F(Ultralight, EveryLockBitLocksItsPages) {
    const LockRow rows[] = {
        {"08 00 00 00", 0x03, 0x03}, {"10 00 00 00", 0x04, 0x04},
        {"20 00 00 00", 0x05, 0x05}, {"40 00 00 00", 0x06, 0x06},
        {"80 00 00 00", 0x07, 0x07}, {"00 01 00 00", 0x08, 0x08},
        {"00 02 00 00", 0x09, 0x09}, {"00 04 00 00", 0x0A, 0x0A},
        {"00 08 00 00", 0x0B, 0x0B}, {"00 10 00 00", 0x0C, 0x0C},
        {"00 20 00 00", 0x0D, 0x0D}, {"00 40 00 00", 0x0E, 0x0E},
        {"00 80 00 00", 0x0F, 0x0F}, {"00 00 02 00", 0x10, 0x13},
        {"00 00 04 00", 0x14, 0x17}, {"00 00 08 00", 0x18, 0x1B},
        {"00 00 20 00", 0x1C, 0x1F}, {"00 00 40 00", 0x20, 0x23},
        {"00 00 80 00", 0x24, 0x27}, {"00 00 00 10", 0x29, 0x29},
        {"00 00 00 20", 0x2A, 0x2A}, {"00 00 00 40", 0x2B, 0x2B},
        {"00 00 00 80", 0x2C, 0x2F}, {"07 00 11 0F", 0x01, 0x01},  // these only freeze other bits
    };
    for (const LockRow& row : rows) {
        for (unsigned page = 0x02; page < 0x30; ++page) {
            UltralightCSettings one = settings();
            one.locks = four(row.locks);
            put_in(std::move(one));
            const Bytes write = {0xA2, static_cast<std::uint8_t>(page), 0x01, 0x00, 0x00, 0x00};
            const bool locked = page >= row.first && page <= row.last;
            EXPECT_EQ(kit::to_hex(card_->transmit(write)), locked ? "00" : "0A")
                << row.locks << " page " << page;
        }
    }
}

TEST_F(Ultralight, LockBitsAreOnlySet) {
    EXPECT_EQ(say("A2 02 FF FF 10 01"), "0A");
    EXPECT_EQ(say("30 02").substr(0, 8), "44481001") << "the first two bytes stay";
    EXPECT_EQ(say("A2 02 00 00 00 02"), "0A");
    EXPECT_EQ(say("30 02").substr(0, 8), "44481003");
    EXPECT_EQ(say("A2 28 02 10 FF FF"), "0A");
    EXPECT_EQ(say("A2 28 04 00 00 00"), "0A");
    EXPECT_EQ(say("30 28").substr(0, 8), "06100000");
    EXPECT_EQ(say_anew("A2 04 00 00 00 00"), "00");
    EXPECT_EQ(say_anew("A2 17 00 00 00 00"), "00");
    EXPECT_EQ(say_anew("A2 18 00 00 00 00"), "0A");
}

TEST_F(Ultralight, FreezeBitsKeepOthersAsTheyAre) {
    const std::tuple<const char*, const char*> rows[] = {
        {"01 00 00 00",
         "F7FF"
         "FFFF"},
        {"02 00 00 00",
         "0FFC"
         "FFFF"},
        {"04 00 00 00",
         "FF03"
         "FFFF"},
        {"00 00 01 00",
         "FFFF"
         "F1FF"},
        {"00 00 10 00",
         "FFFF"
         "1FFF"},
        {"00 00 00 01",
         "FFFF"
         "FFEF"},
        {"00 00 00 02",
         "FFFF"
         "FFDF"},
        {"00 00 00 04",
         "FFFF"
         "FFBF"},
        {"00 00 00 08",
         "FFFF"
         "FF7F"},
    };
    for (const auto& [locks, after] : rows) {
        UltralightCSettings one = settings();
        one.locks = four(locks);
        put_in(std::move(one));
        EXPECT_EQ(say("A2 02 00 00 FF FF"), "0A");
        EXPECT_EQ(say("A2 28 FF FF 00 00"), "0A");
        EXPECT_EQ(say("30 02").substr(4, 4) + say("30 28").substr(0, 4), after) << locks;
    }
}

TEST_F(Ultralight, AuthenticatesAsPublished) {
    EXPECT_FALSE(card_->is_authenticated());
    authenticate();
    EXPECT_TRUE(card_->is_authenticated());
    EXPECT_EQ(say("1A 00"), "AF577293FD2F34CA51");
    EXPECT_FALSE(card_->is_authenticated()) << "begun anew";
}

TEST_F(Ultralight, RefusesWrongRandomNumbers) {
    EXPECT_EQ(say("1A 00"), "AF577293FD2F34CA51");
    EXPECT_EQ(say("AF 0A 63 85 59 FC 77 37 F9 F1 5D 78 62 EB BE 96 7B"), "00");
    EXPECT_FALSE(card_->is_authenticated());
    EXPECT_EQ(say("1A 00"), "") << "silent";
    EXPECT_EQ(say_anew("1A 00"), "AF577293FD2F34CA51");
    say("30 00");
    EXPECT_EQ(say("AF 0A 63 85 59 FC 77 37 F9 F1 5D 78 62 EB BE 96 7A"), "00")
        << "another command came between";
}

TEST_F(Ultralight, DrawsItsOwnRandomNumbers) {
    UltralightCSettings one = settings();
    one.random.reset();
    put_in(one);
    const std::string first = say("1A 00");
    const std::string second = say("1A 00");
    EXPECT_EQ(first.size(), 18u);
    EXPECT_NE(first, second);
    put_in(one);
    EXPECT_EQ(say("1A 00"), first) << "repeatable by its seed";
    one.seed = 2;
    put_in(one);
    EXPECT_NE(say("1A 00"), first);
}

TEST_F(Ultralight, ProtectsPagesFromOneOn) {
    UltralightCSettings one = settings();
    one.protected_from = 0x06;
    put_in(one);
    EXPECT_EQ(say("30 04"),
              "D0D1D2D3"
              "D4D50000"
              "041122BF"
              "33445566")
        << "none of the others";
    EXPECT_EQ(say("A2 05 01 02 03 04"), "0A");
    EXPECT_EQ(say_anew("30 06"), "00");
    EXPECT_EQ(say_anew("A2 06 01 02 03 04"), "00");
    card_->power_on();
    authenticate();
    EXPECT_EQ(say("A2 06 01 02 03 04"), "0A");
    EXPECT_EQ(say("30 06").substr(0, 8), "01020304");
    EXPECT_EQ(say_anew("30 06"), "00") << "power off ends the authentication";
}

TEST_F(Ultralight, MayProtectWritingAlone) {
    UltralightCSettings one = settings();
    one.protected_from = 0x04;
    one.protects_reading = false;
    put_in(one);
    EXPECT_EQ(say("30 04"),
              "D0D1D2D3"
              "D4D50000"
              "00000000"
              "00000000");
    EXPECT_EQ(say("30 2A"),
              "04000000"
              "01000000"
              "041122BF"
              "33445566");
    EXPECT_EQ(say("A2 04 01 02 03 04"), "00");
}

// The key 00 01 02 ... 0F: page 2D holds its bytes 3 to 0, page 2C 7 to 4, 2F 11 to 8, 2E 15 to 12.
TEST_F(Ultralight, ANewKeyHoldsFromTheNextPowerOn) {
    EXPECT_EQ(say("A2 2D 03 02 01 00"), "0A");
    EXPECT_EQ(say("A2 2C 07 06 05 04"), "0A");
    EXPECT_EQ(say("A2 2F 0B 0A 09 08"), "0A");
    EXPECT_EQ(say("A2 2E 0F 0E 0D 0C"), "0A");
    authenticate();
    card_->power_on();
    EXPECT_EQ(say("1A 00"), "AFDC03A826B12B8EA0");
}

TEST_F(Ultralight, ThroughTheReader) {
    Reader reader;
    reader.ic().add(std::make_unique<UltralightC>(settings()));
    reader.insert("ultralight");
    const std::tuple<const char*, const char*> rows[] = {
        {"D1", "00 04 11 22 33 44 55 66"},
        {"D3 30 00", "00 04 11 22 BF 33 44 55 66 44 48 00 00 00 00 00 00"},
        {"D3 A2 04 01 02 03 04", "00 0A"},
        {"D3 1A 00", "00 AF 57 72 93 FD 2F 34 CA 51"},
        {"D3 AF 0A 63 85 59 FC 77 37 F9 F1 5D 78 62 EB BE 96 7A", "00 00 3B 88 4F A0 7C 13 7C E1"},
        {"D3 30 2C", "00 00"},
        {"D3 30 00", "A2"},
        {"D1", "00 04 11 22 33 44 55 66"},
        {"41", "A2"},
        {"D3 50 00", "A2"},
        {"D2", "00"},
    };
    for (const auto& [request, answer] : rows) {
        EXPECT_EQ(kit::to_hex(reader.receive_serial(ic_frame(hex(request)))),
                  kit::to_hex(ic_frame(hex(answer))))
            << request;
    }
    EXPECT_EQ(reader.receive_serial(union_frame(hex("32 24 00 00"))),
              union_frame(hex("00 00 04 11 22 33 44 55 66")));
    EXPECT_EQ(reader.receive_serial(union_frame(hex("32 26 FF 30 00"))),
              union_frame(hex("00 00 04 11 22 BF 33 44 55 66 44 48 00 00 00 00 00 00")));
    EXPECT_EQ(reader.receive_serial(union_frame(hex("32 26 FF 50 00"))), union_frame(hex("30 01")));
}

TEST(TripleDes, ChainsBlocks) {
    const Bytes plain = hex("A8AF3B256C75ED40E764602678DF2B51");
    const Block initial = {0x57, 0x72, 0x93, 0xFD, 0x2F, 0x34, 0xCA, 0x51};
    const Bytes cipher = triple_des_encrypt(ultralight_delivery_key, initial, plain);
    EXPECT_EQ(cipher, hex("0A638559FC7737F9F15D7862EBBE967A"));
    EXPECT_EQ(triple_des_decrypt(ultralight_delivery_key, initial, cipher), plain);
    EXPECT_THROW(triple_des_encrypt(Bytes(8), initial, plain), std::invalid_argument);
    EXPECT_THROW(triple_des_decrypt(ultralight_delivery_key, initial, Bytes(7)),
                 std::invalid_argument);
}

}  // namespace
