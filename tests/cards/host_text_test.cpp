#include <deskreader.h>

#include "kit/scratch.h"

namespace {

struct Field {
    int result;
    std::string value;
    int length = -7;
};

Field field(const std::string& key, const std::string& text) {
    std::string value(512, '#');
    Field given{0, {}};
    given.result = PBOC_GetSimpTagValue(key.data(), static_cast<int>(key.size()), text.c_str(), 0,
                                        value.data(), &given.length);
    given.value = value.substr(0, given.length < 0 ? 0 : static_cast<std::size_t>(given.length));
    return given;
}

TEST(TaggedText, GivesTheValueOfAField) {
    const Field given = field("P", "P012000000000100Q001x");
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.value, "000000000100");
    EXPECT_EQ(field("Q", "P012000000000100Q001x").value, "x");
    EXPECT_EQ(field("AB", "xAB003123").value, "123");
    EXPECT_EQ(field("P", "P000").length, 0);
}

TEST(TaggedText, FirstPlaceOfTheKeyWins) {
    EXPECT_EQ(field("Q", "P003Q00Q001x").result, -99) << "the Q within P's value";
}

TEST(TaggedText, LengthsAreCalculatedFromAnyCharacters) {
    EXPECT_EQ(field("P", "P0/:123456789").value, std::string("123456789").substr(0, 0))
        << "0 * 100 - 1 * 10 + 10";
    EXPECT_EQ(field("P", "P00:0123456789").value, "0123456789");
    EXPECT_EQ(field("P", "P0//").result, -99) << "negative";
    EXPECT_EQ(field("P", "PA00" + std::string(600, 'x')).result, -99) << "above 512";
}

TEST(TaggedText, LengthsHaveABound) {
    EXPECT_EQ(field("P", "P512" + std::string(600, 'x')).length, 512);
    EXPECT_EQ(field("P", "P513" + std::string(600, 'x')).result, -99);
}

TEST(TaggedText, RefusesWhatIsNotThere) {
    EXPECT_EQ(field("P", "").result, -99);
    EXPECT_EQ(field("P", "Q001x").result, -99);
    EXPECT_EQ(field("P", "P").result, -99);
    EXPECT_EQ(field("P", "P01").result, -99);
    EXPECT_EQ(field("P", "P012345").result, -99) << "the value runs past the end";
    EXPECT_EQ(field("", "P001x").result, -99);
    EXPECT_EQ(field("P", "P012345").length, -7);
}

TEST(TextChecks, ATagListHasACapitalLetter) {
    for (const char* text : {"A", "1a2B", "az Z"})
        EXPECT_EQ(IsTagListValue(text), 1) << text;
    for (const char* text : {"", "123", "az", "[@"})
        EXPECT_EQ(IsTagListValue(text), 0) << text;
}

TEST(TextChecks, PaymentDataAreDigitsAndCapitals) {
    const kit::LogFile log;
    EXPECT_EQ(IsPbocDataValue("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"), 1);
    EXPECT_EQ(IsPbocDataValue(""), 1);
    EXPECT_EQ(IsPbocDataValue("P0a"), 0);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Info:szPbocData[2] = 61\r\n"});
}

TEST(TextChecks, NumbersAreDigits) {
    const kit::LogFile log;
    EXPECT_EQ(IsNumDataValue("0123456789"), 1);
    EXPECT_EQ(IsNumDataValue(""), 1);
    EXPECT_EQ(IsNumDataValue("12A"), 0);
    EXPECT_EQ(IsNumDataValue("\xFF"), 0);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"Info:szPbocData[2] = 41\r\n",
                                                        "Info:szPbocData[0] = FF\r\n"}));
}

}  // namespace
