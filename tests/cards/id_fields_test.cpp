// Every field of the three kinds of card.
#include <deskreader.h>

#include <string>

#include "kit/id_record.h"
#include "kit/id_text.h"

namespace {

using kit::Bytes;
using kit::gb;
using kit::IdRecord;

// What an accessor made of a clear buffer of the size that it asks for.
struct Text {
    int result;
    std::string text;
    std::string buffer;  // the whole room
};

using Accessor = int (*)(const unsigned char*, char*);
using AccessorWithInteger = int (*)(const unsigned char*, int, char*);

template <class Call>
Text text_of(std::size_t room, Call call) {
    std::string buffer(room, '\0');
    buffer += '#';
    const int result = call(buffer.data());
    EXPECT_EQ(buffer.back(), '#') << "written past the documented room";
    buffer.pop_back();
    return {result, buffer.c_str(), buffer};
}

Text text_of(Accessor accessor, const IdRecord& record, std::size_t room) {
    return text_of(room, [&](char* out) { return accessor(record.data(), out); });
}

Text text_of(AccessorWithInteger accessor, const IdRecord& record, std::size_t room = 6) {
    return text_of(room, [&](char* out) { return accessor(record.data(), 12345, out); });
}

struct FieldRow {
    const char* name;
    Accessor accessor;
    std::size_t offset;
    std::size_t size;  // in the record
    bool cut;
};

#define FIELD(name, offset, size, cut) \
    { #name, ID_Get##name, offset, size, cut }

const FieldRow fields[] = {
    FIELD(Name, 0, 30, true),
    FIELD(NationCode, 32, 4, false),
    FIELD(Birth, 36, 16, false),
    FIELD(Address, 52, 70, true),
    FIELD(CardNumber, 122, 36, false),
    FIELD(Police, 158, 30, true),
    FIELD(ValidStart, 188, 16, true),
    FIELD(ValidEnd, 204, 16, true),
    FIELD(CardNo_GAT, 220, 18, true),
    FIELD(IssueTimes_GAT, 238, 4, false),
    FIELD(EnglishName_Foreign, 0, 120, true),
    FIELD(CardNumber_Foreign, 122, 30, false),
    FIELD(NationCode_Foreign, 152, 6, false),
    FIELD(ChineseName_Foreign, 158, 30, true),
    FIELD(ValidStart_Foreign, 188, 16, true),
    FIELD(ValidEnd_Foreign, 204, 16, true),
    FIELD(Birth_Foreign, 220, 16, false),
    FIELD(CardVer_Foreign, 236, 4, false),
    FIELD(PoliceCode_Foreign, 240, 8, false),
};

const FieldRow sex_fields[] = {
    {"SexCode",
     [](const unsigned char* record, char* out) { return ID_GetSexCode(record, -1, out); }, 30, 2,
     false},
    {"SexCode_Foreign",
     [](const unsigned char* record, char* out) { return ID_GetSexCode_Foreign(record, -1, out); },
     120, 2, false},
};

std::vector<FieldRow> all_fields() {
    std::vector<FieldRow> all(std::begin(fields), std::end(fields));
    all.insert(all.end(), std::begin(sex_fields), std::end(sex_fields));
    return all;
}

// A record whose every character tells its place: 'A' to 'Z' by turns.
IdRecord alphabet() {
    IdRecord record;
    for (std::size_t i = 0; i < 128; ++i)
        record.put(2 * i, std::u16string(1, static_cast<char16_t>('A' + i % 26)));
    return record;
}

TEST(IdFields, StandWhereTheTableSays) {
    for (const FieldRow& row : all_fields()) {
        SCOPED_TRACE(row.name);
        std::string expected;
        for (std::size_t i = 0; i < row.size / 2; ++i)
            expected += static_cast<char>('A' + (row.offset / 2 + i) % 26);
        const Text text = text_of(row.accessor, alphabet(), 2 * row.size + 2);
        EXPECT_EQ(text.text, expected);
        EXPECT_EQ(text.result, static_cast<int>(row.size / 2) + (row.cut ? 0 : 2));
    }
}

TEST(IdFields, AreCutAtTheirPaddingOrNot) {
    for (const FieldRow& row : all_fields()) {
        if (row.size == 2) continue;
        SCOPED_TRACE(row.name);
        IdRecord record;
        record.put(row.offset, u"X");
        const Text text = text_of(row.accessor, record, 2 * row.size + 2);
        const std::size_t characters = row.size / 2;
        if (row.cut) {
            EXPECT_EQ(text.text, "X");
            EXPECT_EQ(text.result, 1);
        } else {
            EXPECT_EQ(text.text, "X" + std::string(characters - 1, ' '));
            EXPECT_EQ(text.result, static_cast<int>(characters) + 2);
        }
    }
}

TEST(IdFields, OfSpacesAloneStaySpaces) {
    for (const FieldRow& row : all_fields()) {
        SCOPED_TRACE(row.name);
        const Text text = text_of(row.accessor, IdRecord(), 2 * row.size + 2);
        EXPECT_EQ(text.text, std::string(row.size / 2, ' '));
        EXPECT_EQ(text.result, static_cast<int>(row.size / 2) + (row.cut ? 0 : 2));
    }
}

TEST(IdFields, EndAtAZeroCharacter) {
    for (const FieldRow& row : all_fields()) {
        SCOPED_TRACE(row.name);
        IdRecord record = alphabet();
        record.put(row.offset, std::u16string(1, u'\0'));
        const Text text = text_of(row.accessor, record, 2 * row.size + 2);
        EXPECT_EQ(text.text, "");
        EXPECT_EQ(text.result, row.cut ? 0 : 2);
    }
}

TEST(IdFields, OfFourByteCharactersFillTheirRoom) {
    for (const FieldRow& row : all_fields()) {
        SCOPED_TRACE(row.name);
        IdRecord record;
        record.put(row.offset, std::u16string(row.size / 2, u'\x0080'));
        const Text text = text_of(row.accessor, record, 2 * row.size + 2);
        EXPECT_EQ(text.text.size(), 2 * row.size);
        EXPECT_EQ(text.text.substr(0, 4), gb("81 30 81 30"));
        EXPECT_EQ(text.result, static_cast<int>(2 * row.size) + (row.cut ? 0 : 2));
    }
}

TEST(IdFields, NullIsRefused) {
    const IdRecord record;
    char text[256];
    unsigned char block[1024];
    for (const FieldRow& row : all_fields()) {
        EXPECT_EQ(row.accessor(nullptr, text), -22) << row.name;
        EXPECT_EQ(row.accessor(record.data(), nullptr), -22) << row.name;
    }
    for (const Accessor accessor : {ID_GetNation, ID_GetNation_Foreign, ID_GetCardType}) {
        EXPECT_EQ(accessor(nullptr, text), -22);
        EXPECT_EQ(accessor(record.data(), nullptr), -22);
    }
    for (const AccessorWithInteger accessor : {ID_GetSex, ID_GetSex_Foreign}) {
        EXPECT_EQ(accessor(nullptr, 0, text), -22);
        EXPECT_EQ(accessor(record.data(), 0, nullptr), -22);
    }
    for (const auto accessor :
         {ID_GetPhotoInfo, ID_GetFPInfo, ID_GetASICSerialNumber_GAT, ID_GetSerialCardNumber_GAT}) {
        EXPECT_EQ(accessor(nullptr, block), -22);
        EXPECT_EQ(accessor(record.data(), nullptr), -22);
    }
    EXPECT_EQ(ID_FilterSpaces(nullptr), -22);
}

TEST(IdFields, OfAResidentCard) {
    const IdRecord card = kit::resident_card();
    EXPECT_EQ(text_of(ID_GetCardType, card, 6).text, "N");
    EXPECT_EQ(text_of(ID_GetName, card, 62).text, gb("D5 C5 C8 FD B7 E1"));
    EXPECT_EQ(text_of(ID_GetSexCode, card).text, "1");
    EXPECT_EQ(text_of(ID_GetSex, card).text, gb("C4 D0"));
    EXPECT_EQ(text_of(ID_GetNationCode, card, 10).text, "01");
    EXPECT_EQ(text_of(ID_GetNation, card, 32).text, gb("BA BA"));
    EXPECT_EQ(text_of(ID_GetBirth, card, 34).text, "19800229");
    EXPECT_EQ(text_of(ID_GetAddress, card, 142).text,
              gb("B1 B1 BE A9 CA D0 B6 AB B3 C7 C7 F8 31 BA C5"));
    EXPECT_EQ(text_of(ID_GetCardNumber, card, 74).text, "11010119800229001X");
    EXPECT_EQ(text_of(ID_GetPolice, card, 62).text, gb("B1 B1 BE A9 CA D0 B9 AB B0 B2 BE D6"));
    EXPECT_EQ(text_of(ID_GetValidStart, card, 34).text, "20150301");
    EXPECT_EQ(text_of(ID_GetValidEnd, card, 34).text, "20350301");
}

TEST(IdFields, CardsWithoutAnEndHaveWordsForADate) {
    IdRecord card = kit::resident_card();
    card.put(204, u"\u957F\u671F      ");
    const Text text = text_of(ID_GetValidEnd, card, 34);
    EXPECT_EQ(text.text, gb("B3 A4 C6 DA"));
    EXPECT_EQ(text.result, 4);
}

TEST(IdFields, OfAGatCard) {
    const IdRecord card = kit::gat_card();
    EXPECT_EQ(text_of(ID_GetCardType, card, 6).text, "J");
    EXPECT_EQ(text_of(ID_GetName, card, 62).text, gb("C0 EE CB C4"));
    EXPECT_EQ(text_of(ID_GetSex, card).text, gb("C5 AE"));
    EXPECT_EQ(text_of(ID_GetNation, card, 32).text, "");
    EXPECT_EQ(text_of(ID_GetCardNumber, card, 74).text, "810000199108150020");
    EXPECT_EQ(text_of(ID_GetCardNo_GAT, card, 38).text, "H0123456");
    EXPECT_EQ(text_of(ID_GetCardNo_GAT, card, 38).result, 8);
    EXPECT_EQ(text_of(ID_GetIssueTimes_GAT, card, 10).text, "02");
}

TEST(IdFields, OfAForeignCard) {
    const IdRecord card = kit::foreign_card();
    EXPECT_EQ(text_of(ID_GetCardType, card, 6).text, "I");
    EXPECT_EQ(text_of(ID_GetSexCode_Foreign, card).text, "1");
    EXPECT_EQ(text_of(ID_GetSex_Foreign, card).text, gb("C4 D0"));
    EXPECT_EQ(text_of(ID_GetCardNumber_Foreign, card, 62).text, "CAN110078051501");
    EXPECT_EQ(text_of(ID_GetNationCode_Foreign, card, 14).text, "CAN");
    EXPECT_EQ(text_of(ID_GetNation_Foreign, card, 32).text, gb("BC D3 C4 C3 B4 F3") + "/CAN");
    EXPECT_EQ(text_of(ID_GetChineseName_Foreign, card, 62).text, gb("CA B7 C3 DC CB B9"));
    EXPECT_EQ(text_of(ID_GetValidStart_Foreign, card, 34).text, "20180706");
    EXPECT_EQ(text_of(ID_GetValidEnd_Foreign, card, 34).text, "20280706");
    EXPECT_EQ(text_of(ID_GetBirth_Foreign, card, 34).text, "19780515");
    EXPECT_EQ(text_of(ID_GetCardVer_Foreign, card, 10).text, "01");
    EXPECT_EQ(text_of(ID_GetPoliceCode_Foreign, card, 18).text, "1500");
}

TEST(IdFields, EnglishNameIsCutAtItsLastRunOfSpaces) {
    const Text padded = text_of(ID_GetEnglishName_Foreign, kit::foreign_card(), 242);
    EXPECT_EQ(padded.text, "SMITH JOHN");
    EXPECT_EQ(padded.result, 10);
    IdRecord full;
    full.put(0, u"WOLFESCHLEGELSTEINHAUSENBERGERDORFF ADOLPHUSBENJAMINCHARLESX");
    const Text cut = text_of(ID_GetEnglishName_Foreign, full, 242);
    EXPECT_EQ(cut.text, "WOLFESCHLEGELSTEINHAUSENBERGERDORFF");
    EXPECT_EQ(cut.result, 35);
}

TEST(IdFields, CardTypeIsOneOfThree) {
    const std::pair<char16_t, const char*> rows[] = {
        {u' ', "N"}, {u'I', "I"},      {u'J', "J"},      {u'i', "N"},      {u'j', "N"},
        {u'N', "N"}, {u'\x0000', "N"}, {u'\x4E2D', "N"}, {u'\x0080', "N"}, {u'\xD800', "N"},
    };
    for (const auto& [character, expected] : rows) {
        IdRecord record;
        record.put(248, std::u16string(1, character));
        const Text text = text_of(ID_GetCardType, record, 6);
        EXPECT_EQ(text.text, expected) << static_cast<int>(character);
        EXPECT_EQ(text.result, 1);
    }
}

TEST(IdFields, SexHasThreeWords) {
    const std::tuple<char16_t, const char*, int> rows[] = {
        {u'1', "C4 D0", 2},           {u'2', "C5 AE", 2},       {u'0', "CE B4 D6 AA", 4},
        {u'9', "CE B4 D6 AA", 4},     {u' ', "CE B4 D6 AA", 4}, {u'\x0000', "CE B4 D6 AA", 4},
        {u'\x0080', "CE B4 D6 AA", 4}};
    for (const auto& [code, word, length] : rows) {
        IdRecord record;
        record.put(30, std::u16string(1, code)).put(120, std::u16string(1, code));
        for (const AccessorWithInteger accessor : {ID_GetSex, ID_GetSex_Foreign}) {
            const Text text = text_of(accessor, record);
            EXPECT_EQ(text.text, gb(word)) << static_cast<int>(code);
            EXPECT_EQ(text.result, length);
        }
    }
}

TEST(IdFields, SexIsReadWhereTheCardHasIt) {
    IdRecord record;
    record.put(30, u"1").put(120, u"2");
    EXPECT_EQ(text_of(ID_GetSex, record).text, gb("C4 D0"));
    EXPECT_EQ(text_of(ID_GetSex_Foreign, record).text, gb("C5 AE"));
}

TEST(IdFields, BlocksAreCopied) {
    const IdRecord record;
    const struct {
        int (*accessor)(const unsigned char*, unsigned char*);
        std::size_t offset;
        std::size_t size;
    } rows[] = {{ID_GetPhotoInfo, 256, 1024},
                {ID_GetFPInfo, 1280, 1024},
                {ID_GetASICSerialNumber_GAT, 2304, 8},
                {ID_GetSerialCardNumber_GAT, 2312, 16}};
    for (const auto& row : rows) {
        Bytes block(row.size + 1, '#');
        EXPECT_EQ(row.accessor(record.data(), block.data()), static_cast<int>(row.size));
        EXPECT_EQ(block.back(), '#');
        block.pop_back();
        EXPECT_EQ(block, Bytes(record.data() + row.offset, record.data() + row.offset + row.size));
    }
}

TEST(FilterSpaces, CutsAtTheBeginningOfTheLastRun) {
    const std::tuple<const char*, const char*, int> rows[] = {
        {"", "", 0},          {"AB", "AB", 2},         {"AB   ", "AB", 2},
        {"AB CD", "AB", 2},   {"AB CD  ", "AB CD", 5}, {"AB  CD EF", "AB  CD", 6},
        {" ", " ", 1},        {"    ", "    ", 4},     {"  AB", "  AB", 4},
        {"  AB ", "  AB", 4}, {"A B  C", "A B", 3},    {"AB\tCD", "AB\tCD", 5},
    };
    for (const auto& [before, after, length] : rows) {
        std::string text = before;
        EXPECT_EQ(ID_FilterSpaces(text.data()), length) << '"' << before << '"';
        EXPECT_STREQ(text.c_str(), after);
    }
}

}  // namespace
