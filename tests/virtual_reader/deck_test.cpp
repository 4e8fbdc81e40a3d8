#include "deck.h"

#include <filesystem>
#include <fstream>

#include "kit/frames.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
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

TEST(Deck, RefusesANumberBeyondAllNumbers) {
    EXPECT_EQ(error_of(R"({"reader": {"baud": 1E999}})"), "deck: number overflow parsing '1E999'");
}

TEST(Deck, SaysWhatWasExpectedAndFound) {
    const std::pair<const char*, const char*> rows[] = {
        {"[]", "deck: /: expected an object, found array"},
        {R"({"card": []})",
         "deck: /card: unknown key, expected one of $schema, reader, cards, faults"},
        {R"({"cards": {}})", "deck: /cards: expected an array, found object"},
        {R"({"cards": [{"type": "iso"}]})", "deck: /cards/0: expected a key name"},
        {R"({"cards": [7]})", "deck: /cards/0: expected an object, found 7"},
        {R"({"cards": [{"name": "x"}]})", "deck: /cards/0: expected a key type"},
        {R"({"cards": [{"type": "emv", "name": "x"}]})",
         R"(deck: /cards/0/type: expected one of "iso", "payment", "purse", "social-security", "magnetic", "identity", "mifare-classic", "ultralight-c", "hostile", "vpcd", found "emv")"},
        {R"({"cards": [{"type": "iso", "name": "a b"}]})",
         R"(deck: /cards/0/name: expected a name without blanks, found "a b")"},
        {R"({"cards": [{"type": "iso", "name": "a\tb"}]})",
         R"(deck: /cards/0/name: expected a name without blanks, found "a\tb")"},
        {R"({"reader": {"baud": 14400}})",
         "deck: /reader/baud: expected 1200, 2400, 4800, 9600, 19200, 38400, 57600 or 115200, "
         "found 14400"},
        {R"({"cards": [{"type": "mifare-classic", "name": "a",
            "blocks": [{"number": 4, "value": 18446744073709551615}]}]})",
         "deck: /cards/0/blocks/0/value: expected a whole number from -2147483648 to 2147483647, "
         "found 18446744073709551615"},
        {R"({"$schema": 7})", "deck: /$schema: expected a text, found 7"},
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
         "deck: /reader/baud: expected 1200, 2400, 4800, 9600, 19200, 38400, 57600 or 115200, "
         "found 300"},
        {R"({"reader": {"baud": 18446744073709551615}})",
         "deck: /reader/baud: expected a whole number from 0 to 2147483647, found "
         "18446744073709551615"},
        {R"({"reader": {"baud": 9600.5}})",
         "deck: /reader/baud: expected a whole number from 0 to 2147483647, found 9600.5"},
        {R"({"reader": {"serial_number": "123456789012345678901234567890123"}})",
         R"(deck: /reader/serial_number: expected at most 32 characters, found "123456789012345678901234567890123")"},
    };
    for (const auto& [json, error] : rows)
        EXPECT_EQ(error_of(json), error);
}

TEST(Deck, ReadsMagneticCards) {
    const auto reader = reader_from_deck(R"({"cards": [
        {"type": "magnetic", "name": "m", "inserted": true, "track1": "B1^A", "track2": "1=2",
         "damaged": [2]}]})",
                                         "deck");
    ASSERT_NE(reader->magnetic().card(), nullptr);
    EXPECT_EQ(reader->receive_serial(hex("1B 46 5D")),
              hex("1B 73 30 30 30 30 30 41 7F 25 42 31 5E 41 3F 1C"));
}

TEST(Deck, ReadsIdentityCards) {
    const auto reader = reader_from_deck(R"({"cards": [
        {"type": "identity", "name": "n", "inserted": true, "kind": "residence",
         "texts": {"name": "张", "issues": "07"}, "photo": {"hex": "0102"}, "fingerprint": "F",
         "chip_number": "0102030405060708", "card_number": "000102030405060708090a0b0c0d0e0f"},
        {"type": "identity", "name": "plain"}]})",
                                         "deck");
    const IdentityCard* card = reader->id().card();
    ASSERT_NE(card, nullptr);
    EXPECT_EQ((Bytes{card->text().begin(), card->text().begin() + 4}), hex("20 5F 20 00"));
    EXPECT_EQ((Bytes{card->text().begin() + 236, card->text().begin() + 250}),
              hex("20 00 30 00 37 00 20 00 20 00 20 00 4A 00"));
    EXPECT_EQ((Bytes{card->photo().begin(), card->photo().begin() + 3}), hex("01 02 00"));
    EXPECT_EQ((*card->fingerprint())[0], 'F');
    EXPECT_EQ(card->numbers(),
              hex("01 02 03 04 05 06 07 08 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"));
    reader->insert("plain");
    card = reader->id().card();
    EXPECT_EQ((Bytes{card->photo().begin(), card->photo().begin() + 8}), kit::ascii("DESKPIC1"));
    EXPECT_FALSE(card->fingerprint());
    EXPECT_EQ((Bytes{card->text().begin() + 246, card->text().end()}),
              hex("20 00 20 00 20 00 20 00 20 00"));
}

TEST(Deck, ReadsMifareClassicCards) {
    const auto reader = reader_from_deck(R"({"cards": [
        {"type": "mifare-classic", "name": "c", "inserted": true, "size": "4K", "uid": "01020304",
         "sectors": [{"number": 40, "key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5",
                      "access": "787788AB"}, {"number": 2}],
         "blocks": [{"number": 254, "data": "ABC"}, {"number": 253, "value": -2},
                    {"number": 4, "data": {"hex": "00112233445566778899AABBCCDDEEFF"}}]}]})",
                                         "deck");
    const std::pair<const char*, const char*> rows[] = {
        {"41", "00 01 02 03 04"},
        {"42 28 60 A0 A1 A2 A3 A4 A5", "00"},
        {"43 FE", "00 41 42 43 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"43 FD", "00 FE FF FF FF 01 00 00 00 FE FF FF FF FD 02 FD 02"},
        {"43 FF", "00 00 00 00 00 00 00 78 77 88 AB 00 00 00 00 00 00"},
        {"46 FD 00 00 00 00", "A2"},
        {"42 28 61 B0 B1 B2 B3 B4 B5", "00"},
        {"46 FD 00 00 00 00", "00"},
        {"42 02 61 FF FF FF FF FF FF", "00"},
        {"43 04", "00 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF"},
    };
    for (const auto& [request, answer] : rows)
        EXPECT_EQ(reader->receive_serial(ic_frame(hex(request))), ic_frame(hex(answer))) << request;
    const auto plain = reader_from_deck(
        R"({"cards": [{"type": "mifare-classic", "name": "c", "inserted": true}]})", "deck");
    EXPECT_EQ(plain->ic().power_on(field).data, hex("44 45 53 4B"));
    EXPECT_EQ(plain->receive_serial(ic_frame(hex("42 11 60 FF FF FF FF FF FF"))),
              ic_frame(hex("A2")))
        << "of 1K";
}

TEST(Deck, ReadsUltralightCCards) {
    const auto reader = reader_from_deck(R"({"cards": [
        {"type": "ultralight-c", "name": "u", "inserted": true, "uid": "04010203040506",
         "key": "000102030405060708090A0B0C0D0E0F", "data": "ABCDE", "locks": "00100000",
         "protected_from": 5, "protects_reading": false, "seed": 7}]})",
                                         "deck");
    EXPECT_EQ(reader->ic().power_on(field).data, hex("04 01 02 03 04 05 06"));
    EXPECT_EQ(reader->ic().transmit(field, hex("30 02")).data,
              hex("04 48 00 10 00 00 00 00 41 42 43 44 45 00 00 00"));
    EXPECT_EQ(reader->ic().transmit(field, hex("30 2A")).data,
              hex("05 00 00 00 01 00 00 00 04 01 02 8F 03 04 05 06"));
    const auto challenge = [&] { return reader->ic().transmit(field, hex("1A 00")).data; };
    EXPECT_EQ(challenge().size(), 9u);
    EXPECT_EQ(reader->ic().transmit(field, hex("A2 05 00 00 00 00")).data, hex("00"));
    const auto plain = reader_from_deck(
        R"({"cards": [{"type": "ultralight-c", "name": "u", "inserted": true}]})", "deck");
    EXPECT_EQ(plain->ic().power_on(field).data, hex("04 44 45 53 4B 55 4C"));
    EXPECT_EQ(plain->ic().transmit(field, hex("A2 27 01 02 03 04")).data, hex("0A"));
}

TEST(Deck, SaysWhatIsWrongWithOtherCards) {
    struct Row {
        const char* type;
        const char* keys;
        const char* error;  // behind "deck: /cards/0"
    };
    const Row rows[] = {
        {"magnetic", R"("track4": "")",
         "/track4: unknown key, expected one of type, name, inserted, track1, track2, track3, "
         "damaged"},
        {"magnetic", R"("track1": "a")",
         R"(/track1: expected at most 76 of the characters from blank to _, without % and ?, found "a")"},
        {"magnetic", R"("track2": "1A")",
         R"(/track2: expected at most 37 of the characters 0 to 9 = ' @ # :, found "1A")"},
        {"magnetic", R"("track3": "?")",
         R"(/track3: expected at most 104 of the characters 0 to 9 = ' @ # :, found "?")"},
        {"magnetic", R"("track2": 7)", "/track2: expected a text, found 7"},
        {"magnetic", R"("damaged": 2)", "/damaged: expected an array, found 2"},
        {"magnetic", R"("damaged": [4])",
         "/damaged/0: expected a whole number from 1 to 3, found 4"},
        {"identity", R"("slot": 1)",
         "/slot: unknown key, expected one of type, name, inserted, kind, texts, photo, "
         "fingerprint, chip_number, card_number"},
        {"identity", R"("kind": "alien")",
         R"(/kind: expected "resident", "foreign" or "residence", found "alien")"},
        {"identity", R"("texts": {"pass_number": ""})",
         "/texts/pass_number: unknown key, expected one of name, sex, nation, birth, address, "
         "number, authority, valid_from, valid_until"},
        {"identity", R"("kind": "foreign", "texts": {"name": ""})",
         "/texts/name: unknown key, expected one of english_name, sex, number, nationality, "
         "chinese_name, valid_from, valid_until, birth, version, authority"},
        {"identity", R"("kind": "residence", "texts": {"nation": ""})",
         "/texts/nation: unknown key, expected one of name, sex, birth, address, number, "
         "authority, valid_from, valid_until, pass_number, issues"},
        {"identity", R"("texts": {"sex": "男女"})",
         R"(/texts/sex: expected at most 1 characters, found "男女")"},
        {"identity", R"("texts": {"name": "\ud83d\ude00"})",
         "/texts/name: expected characters up to U+FFFF, found \"\U0001F600\""},
        {"identity", R"("texts": [])", "/texts: expected an object, found array"},
        {"identity", R"("photo": 1)", R"(/photo: expected a text or {"hex": ...}, found 1)"},
        {"identity", R"("chip_number": "01")",
         R"(/chip_number: expected 16 hexadecimal digits, found "01")"},
        {"identity", R"("card_number": "01")",
         R"(/card_number: expected 32 hexadecimal digits, found "01")"},
        {"identity", R"("chip_number": "0102030405060708")", ": expected a key fingerprint"},
        {"mifare-classic", R"("key": "")",
         "/key: unknown key, expected one of type, name, inserted, size, uid, sectors, blocks"},
        {"mifare-classic", R"("size": "2K")", R"(/size: expected "1K" or "4K", found "2K")"},
        {"mifare-classic", R"("uid": "0102")",
         R"(/uid: expected 8 hexadecimal digits, found "0102")"},
        {"mifare-classic", R"("sectors": [{}])", "/sectors/0: expected a key number"},
        {"mifare-classic", R"("sectors": [{"number": 17}])",
         "/sectors/0/number: expected a whole number from 1 to 16, found 17"},
        {"mifare-classic", R"("size": "4K", "sectors": [{"number": 41}])",
         "/sectors/0/number: expected a whole number from 1 to 40, found 41"},
        {"mifare-classic", R"("sectors": [{"number": 1, "key_a": "00"}])",
         R"(/sectors/0/key_a: expected 12 hexadecimal digits, found "00")"},
        {"mifare-classic", R"("sectors": [{"number": 1, "key_b": "0"}])",
         R"(/sectors/0/key_b: expected an even number of hexadecimal digits, found "0")"},
        {"mifare-classic", R"("sectors": [{"number": 1, "access": "00"}])",
         R"(/sectors/0/access: expected 8 hexadecimal digits, found "00")"},
        {"mifare-classic", R"("sectors": [{"number": 1, "keys": 1}])",
         "/sectors/0/keys: unknown key, expected one of number, key_a, key_b, access"},
        {"mifare-classic", R"("blocks": [{"number": 64, "data": ""}])",
         "/blocks/0/number: expected a whole number from 1 to 63, found 64"},
        {"mifare-classic", R"("size": "4K", "blocks": [{"number": 0, "data": ""}])",
         "/blocks/0/number: expected a whole number from 1 to 255, found 0"},
        {"mifare-classic", R"("blocks": [{"number": 7, "data": ""}])",
         "/blocks/0/number: expected a data block, not the trailer of a sector, found 7"},
        {"mifare-classic", R"("blocks": [{"number": 4}])",
         "/blocks/0: expected either data or value, found object"},
        {"mifare-classic", R"("blocks": [{"number": 4, "data": "12345678901234567"}])",
         R"(/blocks/0/data: expected at most 16 bytes, found "12345678901234567")"},
        {"mifare-classic", R"("blocks": [{"number": 4, "value": 2147483648}])",
         "/blocks/0/value: expected a whole number from -2147483648 to 2147483647, found "
         "2147483648"},
        {"mifare-classic", R"("blocks": [{"number": 4, "text": ""}])",
         "/blocks/0/text: unknown key, expected one of number, data, value"},
        {"ultralight-c", R"("pages": {})",
         "/pages: unknown key, expected one of type, name, inserted, uid, key, data, locks, "
         "protected_from, protects_reading, seed"},
        {"ultralight-c", R"("uid": "01020304")",
         R"(/uid: expected 14 hexadecimal digits, found "01020304")"},
        {"ultralight-c", R"("key": "01")", R"(/key: expected 32 hexadecimal digits, found "01")"},
        {"ultralight-c", R"("locks": "01")",
         R"(/locks: expected 8 hexadecimal digits, found "01")"},
        {"ultralight-c", R"("protected_from": 2)",
         "/protected_from: expected a whole number from 3 to 48, found 2"},
        {"ultralight-c", R"("protects_reading": 1)",
         "/protects_reading: expected true or false, found 1"},
        {"ultralight-c", R"("seed": -1)",
         "/seed: expected a whole number from 0 to 2147483647, found -1"},
    };
    for (const Row& row : rows) {
        const std::string json = std::string(R"({"cards": [{"name": "x", "type": ")") + row.type +
                                 "\", " + row.keys + "}]}";
        EXPECT_EQ(error_of(json), std::string("deck: /cards/0") + row.error) << json;
    }
    const std::string long_photo(1025, 'P');
    EXPECT_EQ(error_of(R"({"cards": [{"type": "identity", "name": "x", "photo": ")" + long_photo +
                       "\"}]}"),
              "deck: /cards/0/photo: expected at most 1024 bytes, found \"" + long_photo + '"');
    EXPECT_EQ(
        error_of(R"({"cards": [{"type": "identity", "name": "x", "fingerprint": ")" + long_photo +
                 "\"}]}"),
        "deck: /cards/0/fingerprint: expected at most 1024 bytes, found \"" + long_photo + '"');
    const std::string long_data(145, 'D');
    EXPECT_EQ(error_of(R"({"cards": [{"type": "ultralight-c", "name": "x", "data": ")" + long_data +
                       "\"}]}"),
              "deck: /cards/0/data: expected at most 144 bytes, found \"" + long_data + '"');
}

TEST(Deck, NamesAreOfTheirOwnAcrossModules) {
    EXPECT_EQ(error_of(R"({"cards": [{"type": "magnetic", "name": "a"},
                                     {"type": "identity", "name": "a"}]})"),
              R"(deck: /cards/1/name: expected a name of its own for each card, found "a")");
    EXPECT_EQ(error_of(R"({"cards": [{"type": "identity", "name": ""}]})"),
              R"(deck: /cards/0/name: expected a name without blanks, found "")");
}

TEST(Deck, DefaultHasOneOfEachBesideTheReader) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    EXPECT_EQ(
        reader->describe(),
        "member: slot 0, not powered\nvisitor: in the field, not powered\nbank: out\ncitizen: out\n"
        "locker: out\n"
        "ticket: out\nloyalty: out\nresident: out\nforeign: out\nresidence: out\n");
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
