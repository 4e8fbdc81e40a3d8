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
         R"(deck: /cards/0/type: expected "iso", found "emv")"},
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
