#include <deskreader.h>

#include <string>

namespace {

struct Converted {
    int result;
    std::string text;
};

Converted encode(const std::string& in, int out_size = 100) {
    char out[128] = "";
    const int result = GURLEncode(in.data(), static_cast<int>(in.size()), out, out_size);
    return {result, out};
}

Converted decode(const std::string& in, int out_size = 100) {
    char out[128] = "";
    const int result = GURLDecode(in.data(), static_cast<int>(in.size()), out, out_size);
    return {result, out};
}

TEST(UrlEncode, LeavesPlainCharacters) {
    const std::string plain = "AZaz09*-._";
    EXPECT_EQ(encode(plain).text, plain);
    EXPECT_EQ(encode(plain).result, 10);
}

TEST(UrlEncode, WritesBlanksAndEscapes) {
    EXPECT_EQ(encode("a b&").text, "a+b%26");
    EXPECT_EQ(encode("a b&").result, 6);
    EXPECT_EQ(encode("~\xC3\xBF+%").text, "%7E%C3%BF%2B%25");
}

TEST(UrlEncode, FailsWhereAnEscapeDoesNotFit) {
    EXPECT_EQ(encode("a&", 5).result, 4);
    EXPECT_EQ(encode("a&", 4).result, 0);
    EXPECT_EQ(encode("&", 3).result, 0);
}

TEST(UrlEncode, FailsAtAZeroByte) {
    EXPECT_EQ(encode(std::string("a\0b", 3)).result, 0);
}

TEST(UrlEncode, StopsWhenTheRoomIsUsed) {
    EXPECT_EQ(encode("abcdef", 3).result, 3);
    EXPECT_EQ(encode("abcdef", 3).text, "abc");
}

TEST(UrlDecode, ReadsBlanksAndEscapes) {
    EXPECT_EQ(decode("a+b%26%7e").text, "a b&~");
    EXPECT_EQ(decode("a+b%26%7e").result, 5);
}

TEST(UrlDecode, TakesLettersBeyondF) {
    // z is 35: 35 * 16 OR 35, cut to 8 bits.
    EXPECT_EQ(decode("%zz").text, "\x33");
}

TEST(UrlDecode, DropsAPairThatIsNoNumber) {
    EXPECT_EQ(decode("a%??b").text, "ab");
    EXPECT_EQ(decode("a%4?b").text, "ab");
}

TEST(UrlDecode, DropsAPercentSignTooCloseToTheEnd) {
    EXPECT_EQ(decode("%4").text, "4");
    EXPECT_EQ(decode("%4").result, 1);
    EXPECT_EQ(decode("a%").text, "a");
    EXPECT_EQ(decode("%41").text, "A");
}

TEST(UrlDecode, StopsWhenTheRoomIsUsed) {
    EXPECT_EQ(decode("abcdef", 3).result, 3);
    EXPECT_EQ(decode("abcdef", 3).text, "abc");
}

TEST(Url, NothingToDoIsNought) {
    char out[4];
    for (const auto convert : {GURLEncode, GURLDecode}) {
        EXPECT_EQ(convert(nullptr, 1, out, 3), 0);
        EXPECT_EQ(convert("a", 1, nullptr, 3), 0);
        EXPECT_EQ(convert("a", 0, out, 3), 0);
        EXPECT_EQ(convert("a", -1, out, 3), 0);
        EXPECT_EQ(convert("a", 1, out, 0), 0);
    }
}

}  // namespace
