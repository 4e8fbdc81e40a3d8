// Identity cards, and the ID module's frames: AA AA AA 96 69, length, status, data, check byte.
#include <stdexcept>

#include "cards/portrait.h"
#include "desk_control.h"
#include "kit/frames.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::join;
using namespace virtual_reader;

// Two bytes a character, for texts of ASCII characters.
Bytes wide(std::string_view text) {
    Bytes bytes;
    for (const char c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(0x00);
    }
    return bytes;
}

Bytes part(const Bytes& bytes, std::size_t offset, std::size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

std::string blanks(std::size_t count) {
    return std::string(count, ' ');
}

IdentityCardSettings resident() {
    IdentityCardSettings settings;
    settings.name = "resident";
    settings.texts = {{"name", "样本"},
                      {"sex", "2"},
                      {"nation", "01"},
                      {"birth", "20000230"},
                      {"address", "1 Nowhere Rd"},
                      {"number", "000000200002300000"},
                      {"authority", "无"},
                      {"valid_from", "20200101"},
                      {"valid_until", "长期"}};
    settings.photo = hex("01 02 03");
    settings.fingerprint = hex("0A 0B");
    return settings;
}

IdentityCardSettings plain(const char* name, IdentityKind kind = IdentityKind::resident) {
    IdentityCardSettings settings;
    settings.name = name;
    settings.kind = kind;
    return settings;
}

TEST(IdentityText, HasTwoBytesACharacter) {
    EXPECT_EQ(identity_text("A1", 2), hex("41 00 31 00"));
    EXPECT_EQ(identity_text("张é\uFFFF", 3), hex("20 5F E9 00 FF FF"));
    EXPECT_EQ(identity_text("", 0), Bytes{});
}

std::string text_error(std::string_view utf8, std::size_t characters) {
    try {
        identity_text(utf8, characters);
    } catch (const IdentityTextError& error) {
        return error.what();
    }
    return "no error";
}

TEST(IdentityText, RefusesWhatDoesNotFit) {
    EXPECT_EQ(text_error("ABC", 2), "at most 2 characters");
    EXPECT_EQ(text_error("张张张", 2), "at most 2 characters");
    EXPECT_EQ(text_error("\xF0\x9F\x98\x80", 9), "characters up to U+FFFF");
    for (const char* broken : {"\x80", "\xC1\x81", "\xC3",
                               "\xC3"
                               "A",
                               "\xE5\xBC",
                               "\xE5\xBC"
                               "A",
                               "\xE0\x9F\xBF", "\xED\xA0\x80"}) {
        EXPECT_EQ(text_error(broken, 9), "UTF-8") << broken;
    }
}

TEST(IdentityCard, ResidentTextBlock) {
    const IdentityCard card(resident());
    const Bytes expected = join({
        hex("37 68 2C 67"),
        wide(blanks(13)),  // name
        wide("2"),
        wide("01"),
        wide("20000230"),  // sex, nation, birth
        wide("1 Nowhere Rd"),
        wide(blanks(23)),            // address
        wide("000000200002300000"),  // number
        hex("E0 65"),
        wide(blanks(14)),  // authority
        wide("20200101"),
        hex("7F 95 1F 67"),
        wide(blanks(6)),  // validity
        wide(blanks(18)),
    });
    ASSERT_EQ(expected.size(), 256u);
    EXPECT_EQ(card.text(), expected);
    Bytes photo = hex("01 02 03");
    photo.resize(1024);
    EXPECT_EQ(card.photo(), photo);
    Bytes fingerprint = hex("0A 0B");
    fingerprint.resize(1024);
    EXPECT_EQ(card.fingerprint(), fingerprint);
    EXPECT_EQ(card.numbers(), Bytes{});
}

TEST(IdentityCard, ResidenceTextBlock) {
    IdentityCardSettings settings = plain("residence", IdentityKind::residence);
    settings.texts = {{"name", "N"},       {"sex", "1"},         {"birth", "20000101"},
                      {"address", "A"},    {"number", "810"},    {"authority", "P"},
                      {"valid_from", "F"}, {"valid_until", "U"}, {"pass_number", "H12345678"},
                      {"issues", "02"}};
    settings.chip_number = hex("01 02 03 04 05 06 07 08");
    settings.card_number = hex("11");
    const IdentityCard card(std::move(settings));
    const Bytes expected =
        join({wide("N" + blanks(14) + "1" + blanks(2) + "20000101"),
              wide("A" + blanks(34) + "810" + blanks(15)),
              wide("P" + blanks(14) + "F" + blanks(7) + "U" + blanks(7)),
              wide("H12345678" + std::string("02") + blanks(3) + "J"), wide(blanks(3))});
    ASSERT_EQ(expected.size(), 256u);
    EXPECT_EQ(card.text(), expected);
    EXPECT_FALSE(card.fingerprint());
    EXPECT_EQ(card.numbers(),
              hex("01 02 03 04 05 06 07 08 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
}

TEST(IdentityCard, ForeignTextBlock) {
    IdentityCardSettings settings = plain("foreign", IdentityKind::foreign);
    settings.texts = {
        {"english_name", "DOE JOHN"}, {"sex", "1"},          {"number", "XXA000000000001"},
        {"nationality", "XXA"},       {"chinese_name", "C"}, {"valid_from", "20200101"},
        {"valid_until", "20300101"},  {"birth", "19900101"}, {"version", "01"},
        {"authority", "1500"}};
    const IdentityCard card(std::move(settings));
    const Bytes expected =
        join({wide("DOE JOHN" + blanks(52) + "1" + "XXA000000000001" + "XXA"),
              wide("C" + blanks(14) + "20200101" + "20300101" + "19900101" + "01" + "1500" + "I"),
              wide(blanks(3))});
    ASSERT_EQ(expected.size(), 256u);
    EXPECT_EQ(card.text(), expected);
}

TEST(IdentityCard, TooLongATextIsRefused) {
    IdentityCardSettings settings = resident();
    settings.texts["sex"] = "12";
    EXPECT_THROW(IdentityCard{settings}, IdentityTextError);
}

// The number of the colour at a place of a picture.
int colour_at(const Bytes& picture, std::size_t x, std::size_t y) {
    const unsigned pair = picture[64 + (y * 40 + x) / 2];
    return static_cast<int>(x % 2 == 0 ? pair >> 4 : pair & 0x0F);
}

TEST(Portrait, IsAMarkedPictureOf40By48InSixteenColours) {
    const Bytes picture = portrait(0);
    ASSERT_EQ(picture.size(), 1024u);
    EXPECT_EQ(part(picture, 0, 16), hex("4445534B50494331 0000000000000000"));
    EXPECT_EQ(part(picture, 16, 48),
              hex("9FBFDF CFDFEF 284870 93A3B7 241C1A F3C9A5 C2A084 FFFFFF"
                  "202028 B04040 000000 000000 000000 000000 000000 000000"));
    EXPECT_EQ(colour_at(picture, 0, 0), 0) << "the wall";
    EXPECT_EQ(colour_at(picture, 39, 0), 0);
    EXPECT_EQ(colour_at(picture, 20, 47), 2) << "clothes";
    EXPECT_EQ(colour_at(picture, 20, 5), 4) << "hair";
    EXPECT_EQ(colour_at(picture, 14, 26), 5) << "a cheek";
    EXPECT_EQ(colour_at(picture, 16, 21), 8) << "an eye";
    EXPECT_EQ(colour_at(picture, 18, 29), 9) << "the mouth";
}

TEST(Portrait, SeedChoosesTheColours) {
    EXPECT_EQ(portrait(0), portrait(0));
    EXPECT_NE(portrait(1), portrait(0));
    EXPECT_EQ(part(portrait(1), 16, 3), hex("BFCFDF"));
    EXPECT_EQ(part(portrait(1), 64, 960), part(portrait(0), 64, 960));
}

class IdModuleTest : public testing::Test {
  protected:
    void SetUp() override {
        reader_.id().add(std::make_unique<IdentityCard>(resident()));
        reader_.id().add(std::make_unique<IdentityCard>(plain("plain")));
        reader_.receive_serial(hex("1B 24 53 30"));
    }

    std::string ask(const char* wire) { return kit::to_hex(reader_.receive_serial(hex(wire))); }
    static std::string wire(const char* text) { return kit::to_hex(hex(text)); }

    Reader reader_{ReaderSettings{"INFO", "SN-7", 19200, false}};
};

constexpr const char* reset = "AA AA AA 96 69 00 03 10 FF EC";
constexpr const char* find = "AA AA AA 96 69 00 03 20 01 22";
constexpr const char* select_card = "AA AA AA 96 69 00 03 20 02 21";
constexpr const char* read_card = "AA AA AA 96 69 00 03 30 01 32";
constexpr const char* read_with_fingerprint = "AA AA AA 96 69 00 03 30 10 23";

constexpr const char* done = "AA AA AA 96 69 00 04 00 00 90 94";
constexpr const char* found = "AA AA AA 96 69 00 08 00 00 9F 00 00 00 00 97";
constexpr const char* selected = "AA AA AA 96 69 00 0C 00 00 90 00 00 00 00 00 00 00 00 9C";
constexpr const char* no_card = "AA AA AA 96 69 00 04 00 00 80 84";
constexpr const char* not_selected = "AA AA AA 96 69 00 04 00 00 81 85";
constexpr const char* not_read = "AA AA AA 96 69 00 04 00 00 41 45";
constexpr const char* unknown = "AA AA AA 96 69 00 04 00 00 21 25";

TEST_F(IdModuleTest, WithoutACard) {
    EXPECT_EQ(ask(reset), wire(done));
    EXPECT_EQ(ask(find), wire(no_card));
    EXPECT_EQ(ask(select_card), wire(not_selected));
    EXPECT_EQ(ask(read_card), wire(not_read));
    EXPECT_EQ(ask(read_with_fingerprint), wire(not_read));
}

TEST_F(IdModuleTest, GoesStepByStep) {
    EXPECT_EQ(control(reader_, "insert plain").text, "ok\n");
    EXPECT_EQ(ask(select_card), wire(not_selected)) << "not searched for";
    EXPECT_EQ(ask(find), wire(found));
    EXPECT_EQ(ask(read_card), wire(not_read)) << "not selected";
    EXPECT_EQ(ask(select_card), wire(selected));
    EXPECT_EQ(ask(read_with_fingerprint), wire(not_read)) << "carries none";
    EXPECT_EQ(ask(read_card).substr(0, 20), wire("AA AA AA 96 69 05 08 00 00 90"));
    EXPECT_EQ(ask(reset), wire(done));
    EXPECT_EQ(ask(read_card), wire(not_read)) << "forgotten by the reset";
    EXPECT_EQ(ask(find), wire(found));
    EXPECT_EQ(ask(select_card), wire(selected));
    EXPECT_EQ(control(reader_, "remove plain").text, "ok\n");
    EXPECT_EQ(ask(read_card), wire(not_read)) << "gone";
    EXPECT_EQ(control(reader_, "insert plain").text, "ok\n");
    EXPECT_EQ(ask(read_card), wire(not_read)) << "come anew";
    EXPECT_EQ(reader_.describe(), "resident: out\nplain: on the ID module\n");
}

std::uint8_t check_of(const Bytes& bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum = static_cast<std::uint8_t>(sum ^ byte);
    return sum;
}

TEST_F(IdModuleTest, ReadsTheBlocks) {
    reader_.insert("resident");
    ask(find);
    ask(select_card);
    const IdentityCard card(resident());
    const Bytes checked = join({hex("05 08 00 00 90 01 00 04 00"), card.text(), card.photo()});
    EXPECT_EQ(reader_.receive_serial(hex(read_card)),
              join({hex("AA AA AA 96 69"), checked, {check_of(checked)}}));
    const Bytes with_fingerprint = join(
        {hex("09 0A 00 00 90 01 00 04 00 04 00"), card.text(), card.photo(), *card.fingerprint()});
    EXPECT_EQ(reader_.receive_serial(hex(read_with_fingerprint)),
              join({hex("AA AA AA 96 69"), with_fingerprint, {check_of(with_fingerprint)}}));
}

TEST_F(IdModuleTest, NumbersFollowTheFingerprint) {
    IdentityCardSettings settings = resident();
    settings.name = "numbers";
    settings.chip_number = hex("C1 C2 C3 C4 C5 C6 C7 C8");
    settings.card_number = hex("D1 D2 D3 D4 D5 D6 D7 D8 D9 DA DB DC DD DE DF E0");
    reader_.id().add(std::make_unique<IdentityCard>(settings));
    reader_.insert("numbers");
    ask(find);
    ask(select_card);
    const Bytes reply = reader_.receive_serial(hex(read_with_fingerprint));
    EXPECT_EQ(part(reply, 5, 11), hex("09 22 00 00 90 01 00 04 00 04 00"));
    ASSERT_EQ(reply.size(), 7u + 0x922u);
    EXPECT_EQ(part(reply, 16 + 2304, 24), join({settings.chip_number, settings.card_number}));
}

TEST_F(IdModuleTest, BaudRatesByTheirCodes) {
    EXPECT_EQ(reader_.id().baud(), 115200);
    const std::tuple<const char*, int> rows[] = {{"AA AA AA 96 69 00 03 60 04 67", 9600},
                                                 {"AA AA AA 96 69 00 03 60 03 60", 19200},
                                                 {"AA AA AA 96 69 00 03 60 02 61", 38400},
                                                 {"AA AA AA 96 69 00 03 60 01 62", 57600},
                                                 {"AA AA AA 96 69 00 03 60 00 63", 115200}};
    for (const auto& [request, rate] : rows) {
        EXPECT_EQ(ask(request), wire(done));
        EXPECT_EQ(reader_.id().baud(), rate);
        EXPECT_EQ(reader_.baud(), 9600) << "the host's line stays as it is";
    }
    EXPECT_EQ(ask("AA AA AA 96 69 00 03 60 05 66"), wire(unknown));
    EXPECT_EQ(reader_.id().baud(), 115200);
}

TEST_F(IdModuleTest, UnknownCommandsAreRefused) {
    EXPECT_EQ(ask("AA AA AA 96 69 00 03 20 03 20"), wire(unknown));
    EXPECT_EQ(ask("AA AA AA 96 69 00 02 20 22"), wire(unknown));
    EXPECT_EQ(ask("AA AA AA 96 69 00 04 30 01 00 35"), wire(unknown));
}

TEST_F(IdModuleTest, OnlyIdModeUnderstandsIdFrames) {
    EXPECT_EQ(reader_.mode(), 'S');
    EXPECT_EQ(reader_.receive_serial(kit::ic_frame(hex("E1 01"))), Bytes{});
    EXPECT_EQ(reader_.receive_serial(kit::union_frame(hex("32 21 FF"))), Bytes{});
    EXPECT_EQ(ask(reset), wire(done));
    for (const char* mode : {"1B 24 42 30", "1B 24 49 34"}) {
        ask(mode);
        EXPECT_EQ(ask(reset), "") << mode;
        EXPECT_EQ(reader_.receive_serial(kit::ic_frame(hex("E1 01"))), kit::ic_frame(hex("FB")));
    }
    EXPECT_EQ(ask("1B 24 53 34 AA AA AA 96 69 00 03 10 FF EC"), wire(done)) << "in one piece";
}

TEST_F(IdModuleTest, ASerialHostChangesItsRateForIdMode) {
    EXPECT_EQ(reader_.baud(), 9600) << "S0";
    ask("1B 24 53 34");
    EXPECT_EQ(reader_.baud(), 115200) << "S4";
    ask("1B 24 42 30");
    EXPECT_EQ(reader_.baud(), 19200) << "the one from before";
    ask("1B 24 49 34");
    EXPECT_EQ(reader_.baud(), 19200);
    reader_.receive_usb(1, hex("1B 24 53 34"));
    EXPECT_EQ(reader_.baud(), 19200) << "over USB there is none";
    reader_.receive_usb(1, hex("1B 24 42 34"));
    EXPECT_EQ(reader_.baud(), 19200);
}

TEST_F(IdModuleTest, OverUsbItHasTheModeIdOfFrames) {
    EXPECT_EQ(reader_.receive_usb(1, hex(reset)), Bytes{});
    EXPECT_EQ(reader_.counts().misaddressed, 1);
    EXPECT_EQ(reader_.receive_usb(2, hex(reset)), hex(done));
    EXPECT_EQ(reader_.receive_usb(0, hex(reset)), hex(done));
}

TEST_F(IdModuleTest, CardsMoveByName) {
    EXPECT_THROW(reader_.id().insert("nobody"), std::invalid_argument);
    EXPECT_THROW(reader_.id().remove("plain"), std::invalid_argument);
    reader_.insert("plain");
    reader_.insert("resident");
    EXPECT_EQ(reader_.id().card()->name(), "resident");
}

}  // namespace
