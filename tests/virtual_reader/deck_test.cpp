#include "deck.h"

#include <filesystem>
#include <fstream>

#include "kit/bytes.h"

namespace {

using kit::hex;
using namespace virtual_reader;

std::string error_of(const std::string& json) {
    try {
        reader_from_deck(json, "deck");
    } catch (const DeckError& error) {
        return error.what();
    }
    return "no error";
}

constexpr Place contact{false, 0};
constexpr Place field{true, 0};

TEST(Deck, DefaultHasACardInEachPlace) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    ASSERT_NE(reader->ic().card_at(contact), nullptr);
    EXPECT_EQ(reader->ic().card_at(contact)->name(), "member");
    ASSERT_NE(reader->ic().card_at(field), nullptr);
    EXPECT_EQ(reader->ic().card_at(field)->name(), "visitor");
    EXPECT_EQ(reader->serial_number(), "DR2026000001");
    EXPECT_EQ(reader->baud(), 9600);
}

TEST(Deck, EmptyDeckIsAReaderWithoutCards) {
    const auto reader = reader_from_deck("{}", "deck");
    EXPECT_EQ(reader->ic().card_at(contact), nullptr);
    EXPECT_EQ(reader->ic().describe(), "");
}

TEST(Deck, ReadsEverySetting) {
    const auto reader = reader_from_deck(R"({
        "reader": {"information": "X", "serial_number": "Y", "baud": 115200, "answer_mode_on_serial": true},
        "cards": [{"type": "iso", "name": "c", "inserted": true, "slot": 4, "answer": "3b00", "procedure_bytes": true,
                   "seed": 5, "files": [{"id": "2F00", "sfi": 3, "data": {"hex": "0102"}}],
                   "directories": [{"id": "DF01", "name": "F001",
                                    "files": [{"id": "EF01", "records": ["A", {"hex": "ff"}]}]}]}]})",
                                         "deck");
    EXPECT_EQ(reader->baud(), 115200);
    EXPECT_EQ(reader->serial_number(), "Y");
    EXPECT_EQ(reader->receive_serial(hex("1B 24 42 30")), hex("42 00"));
    EXPECT_EQ(reader->ic().power_on({false, 4}).data, hex("3B 00"));
    EXPECT_EQ(reader->ic().transmit({false, 4}, hex("00 B0 83 00 02")).data, hex("01 02 90 00"));
    EXPECT_EQ(reader->ic().transmit({false, 4}, hex("00 A4 04 00 02 F0 01")).data, hex("61 06"));
    EXPECT_EQ(reader->ic().transmit({false, 4}, hex("00 A4 02 00 02 EF 01")).data, hex("61 06"));
    EXPECT_EQ(reader->ic().transmit({false, 4}, hex("00 B2 02 04 01")).data, hex("FF 90 00"));
}

// What a card of a deck answers to some commands; it is the only one, in slot 0 or in the field.
class DeckCard {
  public:
    explicit DeckCard(const std::string& keys, Place place = contact)
        : reader_(reader_from_deck(R"({"cards": [{"name": "c", "inserted": true, )" + keys + "}]}",
                                   "deck")),
          place_(place) {
        answer_ = reader_->ic().power_on(place_).data;
    }

    const Bytes& answer() const { return answer_; }
    std::string send(const char* command) {
        return kit::to_hex(reader_->ic().transmit(place_, hex(command)).data);
    }

  private:
    std::unique_ptr<Reader> reader_;
    Place place_;
    Bytes answer_;
};

constexpr const char* select_payment = "00 A4 04 00 08 A000000333010101";

TEST(Deck, DefaultHasABankAndACitizenInTheDrawer) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    EXPECT_EQ(reader->ic().describe(),
              "member: slot 0, not powered\nvisitor: in the field, not powered\n"
              "bank: out\ncitizen: out\n");
    reader->ic().insert("bank");
    EXPECT_EQ(reader->ic().power_on(contact).data, hex("3B0442414E4B"));
    reader->ic().transmit(contact, hex(select_payment));
    EXPECT_EQ(reader->ic().transmit(contact, hex("80 CA 9F 79")).data,
              hex("9F7906000000010000 9000"));
    reader->ic().insert("citizen");
    reader->ic().power_on(contact);
    reader->ic().transmit(contact, hex("00 A4 04 00 0F 7378312E73682EE7A4BEE4BC9AE4BF"));
    EXPECT_EQ(reader->ic().transmit(contact, hex("00 B2 02 34 00")).data,
              kit::join({hex("090B"), kit::ascii("ADA EXAMPLE"), hex("9000")}));
}

TEST(Deck, ReadsAPaymentCard) {
    DeckCard card(R"("type": "payment", "contactless": true, "answer": "0401",
        "application": "F012345678", "label": "X", "account_number": "8888888800000001",
        "sequence_number": 1, "expiry": "271130",
        "effective": "250201", "holder": "H", "holder_more": "HH", "identity_type": "05",
        "identity_number": "N", "product": {"hex": "0102"}, "track1_more": "T",
        "pin": "987654", "pin_tries": 5, "transaction_counter": 258, "balance": 1, "balance_limit": 2,
        "reset_threshold": 3, "single_limit": 999999999999, "options": "objects",
        "options_list": "9F6604", "without": ["9F4D", "9F07"])",
                  field);
    EXPECT_EQ(card.answer(), hex("0401"));
    EXPECT_EQ(card.send("00 A4 04 00 05 F012345678"),
              "6F228405F012345678A519500158870101"
              "9F38039F6604"
              "5F2D02656E"
              "BF0C05DF4D020C0A"
              "9000");
    EXPECT_EQ(card.send("80 A8 00 00 06 83 04 F4000000"),
              "771282021C00940C0801010010010100180101009000");
    EXPECT_EQ(card.send("80 CA 9F 36"), "9F360201039000");
    EXPECT_EQ(card.send("00 B2 01 0C 00"),
              "7026570F8888888800000001D271122000000F5F2001489F0B0248489F1F01549F61014E9F620105"
              "9000");
    EXPECT_EQ(card.send("00 B2 01 14 00"),
              "70245A0888888888000000015F24032711305F25032502015F3401019F6302"
              "01025F28020156"
              "9000");
    EXPECT_EQ(card.send("80 CA 9F 79"), "9F79060000000000019000");
    EXPECT_EQ(card.send("80 CA 9F 77"), "9F77060000000000029000");
    EXPECT_EQ(card.send("80 CA 9F 6D"), "9F6D060000000000039000");
    EXPECT_EQ(card.send("80 CA 9F 78"),
              "9F7806999999999999"
              "9000");
    EXPECT_EQ(card.send("00 20 00 80 08 26987654FFFFFFFF"), "9000");
    EXPECT_EQ(card.send("00 20 00 80 08 26987655FFFFFFFF"), "63C4");
}

TEST(Deck, ReadsHowAPaymentCardBehaves) {
    DeckCard quick(R"("type": "payment", "options": "cryptogram", "procedure_bytes": true)");
    quick.send(select_payment);
    EXPECT_EQ(quick.send("80 A8 00 00 23 83 21 F4000000 000000001234 000000000000 0156 0000000800"
                         "0156 261017 01 A1B2C3D4"),
              "6158");
    DeckCard objects(R"("type": "payment", "cryptogram_objects": true, "options_list": "",
        "first_list": "9F02069F03069F1A0295055F2A029A039C019F3704", "second_list": "8A02")");
    objects.send(select_payment);
    objects.send("80 A8 00 00 02 83 00");
    const char* request =
        "80 AE 80 00 1D 000000001234 000000000000 0156 0000000800 0156 261017 01"
        "A1B2C3D4";
    const std::string usual = objects.send(request);
    EXPECT_EQ(usual.substr(0, 28), "771F9F2701809F360200019F2608");
    EXPECT_EQ(objects.send("80 AE 40 00 02 3030").substr(0, 12), "771F9F270100");
    DeckCard other(R"("type": "payment", "cryptogram_objects": true, "options_list": "",
        "first_list": "9F02069F03069F1A0295055F2A029A039C019F3704",
        "keys": {"cryptogram": "00112233445566778899AABBCCDDEEFF"})");
    other.send(select_payment);
    other.send("80 A8 00 00 02 83 00");
    EXPECT_NE(other.send(request), usual) << "another issuer's key";
    EXPECT_EQ(DeckCard(R"("type": "payment", "directory": false)")
                  .send("00 A4 04 00 0E 315041592E5359532E4444463031"),
              "6A82");
    EXPECT_EQ(DeckCard(R"("type": "payment", "block": "card")").send(select_payment), "6A81");
    EXPECT_EQ(DeckCard(R"("type": "payment", "block": "directory-locked")")
                  .send("00 A4 04 00 0E 315041592E5359532E4444463031"),
              "9303");
}

TEST(Deck, ReadsAPurse) {
    DeckCard card(R"("type": "purse", "seed": 7, "application": "F012345678", "pin": "123456",
        "pin_tries": 2, "deposit": 1, "purse": 4294967295, "key_index": 9,
        "keys": {"load": "00112233445566778899AABBCCDDEEFF"},
        "files": [{"id": "EF15", "sfi": 21, "data": "F"}])");
    EXPECT_EQ(card.send("00 A4 04 00 05 F012345678"), "6F078405F0123456789000");
    EXPECT_EQ(card.send("00 20 00 00 03 123457"), "63C1");
    EXPECT_EQ(card.send("00 20 00 00 03 123456"), "9000");
    EXPECT_EQ(card.send("80 5C 00 01 04"), "000000019000");
    EXPECT_EQ(card.send("80 5C 00 02 04"), "FFFFFFFF9000");
    EXPECT_EQ(card.send("00 B0 95 00 00"), "469000");
    EXPECT_EQ(card.send("80 50 00 02 0B 09 00000001 112233445566").size(), 36u);
}

TEST(Deck, ReadsASocialSecurityCard) {
    DeckCard card(R"("type": "social-security", "identification": "I", "card_type": {"hex": "02"},
        "version": "V", "organisation": "O", "issued": "D", "expires": "E", "card_number": "C",
        "number": "N", "person": "P", "sex": "1", "nationality": "L", "birth_place": "B",
        "birth_date": "Y", "without": [5], "ends_after": 12)");
    card.send("00 A4 04 00 0F 7378312E73682EE7A4BEE4BC9AE4BF");
    const char* rows[][2] = {
        {"00 B2 01 2C 00", "0101499000"}, {"00 B2 02 2C 00", "0201029000"},
        {"00 B2 03 2C 00", "0301569000"}, {"00 B2 04 2C 00", "04014F9000"},
        {"00 B2 05 2C 00", "9000"},       {"00 B2 06 2C 00", "0601459000"},
        {"00 B2 07 2C 00", "0701439000"}, {"00 B2 01 34 00", "08014E9000"},
        {"00 B2 02 34 00", "0901509000"}, {"00 B2 03 34 00", "0A01319000"},
        {"00 B2 04 34 00", "0B014C9000"}, {"00 B2 05 34 00", "0C01429000"},
        {"00 B2 06 34 00", "6A83"},
    };
    for (const auto& [command, answer] : rows)
        EXPECT_EQ(card.send(command), answer) << command;
}

TEST(Deck, SaysWhatIsWrongWithACard) {
    const struct {
        const char* type;
        const char* keys;
        const char* error;
    } rows[] = {
        {"payment", R"("application": "A000")",
         R"(/application: expected 5 to 16 bytes, found "A000")"},
        {"payment", R"("label": "12345678901234567")",
         R"(/label: expected at most 16 characters, found "12345678901234567")"},
        {"payment", R"("account_number": "1234567")",
         R"(/account_number: expected 8 to 19 digits, found "1234567")"},
        {"payment", R"("account_number": 12345678)",
         "/account_number: expected a text, found 12345678"},
        {"payment", R"("sequence_number": 100)",
         "/sequence_number: expected a whole number from 0 to 99, found 100"},
        {"payment", R"("expiry": "3012")", R"(/expiry: expected 6 digits, found "3012")"},
        {"payment", R"("effective": "301301")",
         R"(/effective: expected a date as YYMMDD, found "301301")"},
        {"payment", R"("identity_type": "0000")",
         R"(/identity_type: expected 1 byte, found "0000")"},
        {"payment", R"("holder": "12345678901234567890123456789012345678901")",
         R"(/holder: expected at most 40 bytes, found "12345678901234567890123456789012345678901")"},
        {"payment", R"("keys": {"mac": ""})",
         "/keys/mac: unknown key, expected one of cryptogram, integrity, secrecy"},
        {"payment", R"("keys": {"secrecy": "00"})",
         R"(/keys/secrecy: expected 16 bytes, found "00")"},
        {"payment", R"("pin": "123")", R"(/pin: expected 4 to 12 digits, found "123")"},
        {"payment", R"("pin_tries": 0)",
         "/pin_tries: expected a whole number from 1 to 15, found 0"},
        {"payment", R"("transaction_counter": 65536)",
         "/transaction_counter: expected a whole number from 0 to 65535, found 65536"},
        {"payment", R"("balance": 1000000000000)",
         "/balance: expected a whole number from 0 to 999999999999, found 1000000000000"},
        {"payment", R"("options": "77")",
         R"(/options: expected "plain", "objects" or "cryptogram", found "77")"},
        {"payment", R"("block": true)",
         R"(/block: expected "none", "directory", "directory-locked", "application" or "card", found true)"},
        {"payment", R"("directory": 1)", "/directory: expected true or false, found 1"},
        {"payment", R"("options_list": "9F")",
         R"(/options_list: expected tags, each with a length, found "9F")"},
        {"payment", R"("options": "cryptogram", "options_list": "9F6604")",
         R"(/options_list: expected tags 9F02, 9F03, 9F1A, 95, 5F2A, 9A, 9C and 9F37 among others, found "9F6604")"},
        {"payment", R"("first_list": "9F0206")",
         R"(/first_list: expected tags 9F02, 9F03, 9F1A, 95, 5F2A, 9A, 9C and 9F37 among others, found "9F0206")"},
        {"payment", R"("without": ["9F0203"])",
         R"(/without/0: expected 1 to 2 bytes, found "9F0203")"},
        {"payment", R"("seed": 1)",
         "/seed: unknown key, expected one of type, name, contactless, inserted, slot, answer, "
         "procedure_bytes, application, label, account_number, sequence_number, expiry, effective, "
         "holder, holder_more, identity_type, identity_number, product, track1_more, keys, pin, "
         "pin_tries, transaction_counter, balance, balance_limit, reset_threshold, single_limit, "
         "options, cryptogram_objects, directory, block, options_list, first_list, second_list, "
         "without"},
        {"purse", R"("purse": -1)",
         "/purse: expected a whole number from 0 to 4294967295, found -1"},
        {"purse", R"("pin": "12")", R"(/pin: expected 2 to 6 bytes, found "12")"},
        {"purse", R"("keys": {"load": 1})", "/keys/load: expected a text, found 1"},
        {"purse", R"("files": [{"id": "EF15", "records": []}])",
         "/files/0: expected a file with data, found object"},
        {"social-security", R"("without": [14])",
         "/without/0: expected a whole number from 1 to 13, found 14"},
        {"social-security", R"("sex": 1)", R"(/sex: expected a text or {"hex": ...}, found 1)"},
        {"social-security", R"("ends_after": 14)",
         "/ends_after: expected a whole number from 0 to 13, found 14"},
    };
    for (const auto& row : rows) {
        const std::string json = R"({"cards": [{"name": "c", "type": ")" + std::string(row.type) +
                                 "\", " + row.keys + "}]}";
        EXPECT_EQ(error_of(json), "deck: /cards/0" + std::string(row.error));
    }
}

TEST(Deck, SaysWhereTheSyntaxIsBroken) {
    EXPECT_EQ(error_of("{\n \"reader\": {\"baud\": 9600,}\n}"),
              "deck:2:26: syntax error while parsing object key - unexpected '}'; expected string "
              "literal");
    EXPECT_EQ(error_of(""),
              "deck:1:1: syntax error while parsing value - unexpected end of input; expected '[', "
              "'{', or a literal");
}

TEST(Deck, SaysWhatWasExpectedAndFound) {
    const std::pair<const char*, const char*> rows[] = {
        {"[]", "deck: /: expected an object, found array"},
        {R"({"card": []})", "deck: /card: unknown key, expected one of reader, cards"},
        {R"({"cards": {}})", "deck: /cards: expected an array, found object"},
        {R"({"cards": [{"type": "iso"}]})", "deck: /cards/0: expected a key name"},
        {R"({"cards": [7]})", "deck: /cards/0: expected an object, found 7"},
        {R"({"cards": [{"name": "x"}]})", "deck: /cards/0: expected a key type"},
        {R"({"cards": [{"type": "emv", "name": "x"}]})",
         R"(deck: /cards/0/type: expected "iso", "payment", "purse" or "social-security", found "emv")"},
        {R"({"cards": [{"type": "iso", "name": "a b"}]})",
         R"(deck: /cards/0/name: expected a name without blanks, found "a b")"},
        {R"({"cards": [{"type": "iso", "name": "a"}, {"type": "iso", "name": "a"}]})",
         R"(deck: /cards/1/name: expected a name of its own for each card, found "a")"},
        {R"({"cards": [{"type": "iso", "name": "a", "answer": "3"}]})",
         R"(deck: /cards/0/answer: expected an even number of hexadecimal digits, found "3")"},
        {R"({"cards": [{"type": "iso", "name": "a", "slot": 32}]})",
         "deck: /cards/0/slot: expected a whole number from 0 to 31, found 32"},
        {R"({"cards": [{"type": "iso", "name": "a", "inserted": 1}]})",
         "deck: /cards/0/inserted: expected true or false, found 1"},
        {R"({"cards": [{"type": "iso", "name": "a", "files": [{"id": "2F"}]}]})",
         R"(deck: /cards/0/files/0/id: expected four hexadecimal digits, found "2F")"},
        {R"({"cards": [{"type": "iso", "name": "a", "files": [{"id": "2F00"}]}]})",
         "deck: /cards/0/files/0: expected either data or records, found object"},
        {R"({"cards": [{"type": "iso", "name": "a", "files": [{"id": "2F00", "sfi": 31, "data": ""}]}]})",
         "deck: /cards/0/files/0/sfi: expected a whole number from 1 to 30, found 31"},
        {R"({"cards": [{"type": "iso", "name": "a", "files": [{"id": "2F00", "records": [7]}]}]})",
         R"(deck: /cards/0/files/0/records/0: expected a text or {"hex": ...}, found 7)"},
        {R"({"reader": {"baud": 300}})",
         "deck: /reader/baud: expected a whole number from 1200 to 115200, found 300"},
        {R"({"reader": {"baud": 9600.5}})",
         "deck: /reader/baud: expected a whole number from 1200 to 115200, found 9600.5"},
        {R"({"reader": {"serial_number": "123456789012345678901234567890123"}})",
         R"(deck: /reader/serial_number: expected at most 32 characters, found "123456789012345678901234567890123")"},
    };
    for (const auto& [json, error] : rows)
        EXPECT_EQ(error_of(json), error);
}

TEST(Deck, ComesFromAFile) {
    const auto path = std::filesystem::temp_directory_path() / "deskreader-deck-test.json";
    std::ofstream(path) << R"({"reader": {"serial_number": "F"}})";
    EXPECT_EQ(reader_from_deck_file(path.string())->serial_number(), "F");
    std::filesystem::remove(path);
    try {
        reader_from_deck_file("/nonexistent.json");
        FAIL();
    } catch (const DeckError& error) {
        EXPECT_STREQ(error.what(), "/nonexistent.json: cannot be read");
    }
}

}  // namespace
