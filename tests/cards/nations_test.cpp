// All codes of ethnic groups, through the record of a card.
#include <deskreader.h>

#include <cstring>
#include <map>
#include <string>

#include "kit/id_record.h"
#include "kit/id_text.h"

namespace {

using kit::gb;

const std::map<int, const char*> names = {
    {1, "BA BA"},                                                   // 汉
    {2, "C3 C9 B9 C5"},                                             // 蒙古
    {3, "BB D8"},                                                   // 回
    {4, "B2 D8"},                                                   // 藏
    {5, "CE AC CE E1 B6 FB"},                                       // 维吾尔
    {6, "C3 E7"},                                                   // 苗
    {7, "D2 CD"},                                                   // 彝
    {8, "D7 B3"},                                                   // 壮
    {9, "B2 BC D2 C0"},                                             // 布依
    {10, "B3 AF CF CA"},                                            // 朝鲜
    {11, "C2 FA"},                                                  // 满
    {12, "B6 B1"},                                                  // 侗
    {13, "D1 FE"},                                                  // 瑶
    {14, "B0 D7"},                                                  // 白
    {15, "CD C1 BC D2"},                                            // 土家
    {16, "B9 FE C4 E1"},                                            // 哈尼
    {17, "B9 FE C8 F8 BF CB"},                                      // 哈萨克
    {18, "B4 F6"},                                                  // 傣
    {19, "C0 E8"},                                                  // 黎
    {20, "C0 FC CB DB"},                                            // 傈僳
    {21, "D8 F4"},                                                  // 佤
    {22, "EE B4"},                                                  // 畲
    {23, "B8 DF C9 BD"},                                            // 高山
    {24, "C0 AD EC EF"},                                            // 拉祜
    {25, "CB AE"},                                                  // 水
    {26, "B6 AB CF E7"},                                            // 东乡
    {27, "C4 C9 CE F7"},                                            // 纳西
    {28, "BE B0 C6 C4"},                                            // 景颇
    {29, "BF C2 B6 FB BF CB D7 CE"},                                // 柯尔克孜
    {30, "CD C1"},                                                  // 土
    {31, "B4 EF CE D3 B6 FB"},                                      // 达斡尔
    {32, "D8 EF C0 D0"},                                            // 仫佬
    {33, "C7 BC"},                                                  // 羌
    {34, "B2 BC C0 CA"},                                            // 布朗
    {35, "C8 F6 C0 AD"},                                            // 撒拉
    {36, "C3 AB C4 CF"},                                            // 毛南
    {37, "D8 EE C0 D0"},                                            // 仡佬
    {38, "CE FD B2 AE"},                                            // 锡伯
    {39, "B0 A2 B2 FD"},                                            // 阿昌
    {40, "C6 D5 C3 D7"},                                            // 普米
    {41, "CB FE BC AA BF CB"},                                      // 塔吉克
    {42, "C5 AD"},                                                  // 怒
    {43, "CE DA D7 CE B1 F0 BF CB"},                                // 乌孜别克
    {44, "B6 ED C2 DE CB B9"},                                      // 俄罗斯
    {45, "B6 F5 CE C2 BF CB"},                                      // 鄂温克
    {46, "B5 C2 B0 BA"},                                            // 德昂
    {47, "B1 A3 B0 B2"},                                            // 保安
    {48, "D4 A3 B9 CC"},                                            // 裕固
    {49, "BE A9"},                                                  // 京
    {50, "CB FE CB FE B6 FB"},                                      // 塔塔尔
    {51, "B6 C0 C1 FA"},                                            // 独龙
    {52, "B6 F5 C2 D7 B4 BA"},                                      // 鄂伦春
    {53, "BA D5 D5 DC"},                                            // 赫哲
    {54, "C3 C5 B0 CD"},                                            // 门巴
    {55, "E7 F3 B0 CD"},                                            // 珞巴
    {56, "BB F9 C5 B5"},                                            // 基诺
    {97, "C6 E4 CB FB"},                                            // 其他
    {98, "CD E2 B9 FA D1 AA CD B3 D6 D0 B9 FA BC AE C8 CB CA BF"},  // 外国血统中国籍人士
};

// The name that a card with this code gives; "#" stands behind the buffer's documented room.
std::string name_of(std::u16string_view code) {
    kit::IdRecord record;
    record.put(32, code);
    std::string text(32, '\0');
    text += '#';
    const int length = ID_GetNation(record.data(), text.data());
    EXPECT_EQ(static_cast<std::size_t>(length), std::strlen(text.c_str()));
    EXPECT_EQ(text.back(), '#');
    return text.c_str();
}

TEST(Nations, EveryCodeHasItsNameOrNone) {
    EXPECT_EQ(names.size(), 58u);
    for (int code = 0; code < 100; ++code) {
        const std::u16string digits = {static_cast<char16_t>(u'0' + code / 10),
                                       static_cast<char16_t>(u'0' + code % 10)};
        const auto row = names.find(code);
        EXPECT_EQ(name_of(digits), row == names.end() ? "" : gb(row->second)) << code;
    }
}

TEST(Nations, WhatIsNoNumberHasNoName) {
    for (const std::u16string_view code : {u"  ", u"AB", u"A1", u"-1", u"\u4E2D\u6587",
                                           u"\uFF10\uFF11", u"\u0080\u0080", u"\xD800\xDC00"}) {
        EXPECT_EQ(name_of(code), "");
    }
    EXPECT_EQ(name_of(std::u16string(2, u'\0')), "");
}

TEST(Nations, DigitsCountUpToWhatIsNone) {
    EXPECT_EQ(name_of(u"1 "), gb("BA BA"));
    EXPECT_EQ(name_of(u" 1"), gb("BA BA"));
    EXPECT_EQ(name_of(u"1X"), gb("BA BA"));
}

}  // namespace
