#include "cards/nations.h"

#include <algorithm>
#include <iterator>

#include "support/gb18030_literal.h"

namespace deskreader::nations {
namespace {

using Name = gb18030::Literal<name_room>;

consteval Name name(std::u16string_view text) {
    return gb18030::encode<name_room>(text);
}

struct Nation {
    int code;
    Name name;
};

constexpr Nation table[] = {
    {1, name(u"汉")},        {2, name(u"蒙古")},
    {3, name(u"回")},        {4, name(u"藏")},
    {5, name(u"维吾尔")},    {6, name(u"苗")},
    {7, name(u"彝")},        {8, name(u"壮")},
    {9, name(u"布依")},      {10, name(u"朝鲜")},
    {11, name(u"满")},       {12, name(u"侗")},
    {13, name(u"瑶")},       {14, name(u"白")},
    {15, name(u"土家")},     {16, name(u"哈尼")},
    {17, name(u"哈萨克")},   {18, name(u"傣")},
    {19, name(u"黎")},       {20, name(u"傈僳")},
    {21, name(u"佤")},       {22, name(u"畲")},
    {23, name(u"高山")},     {24, name(u"拉祜")},
    {25, name(u"水")},       {26, name(u"东乡")},
    {27, name(u"纳西")},     {28, name(u"景颇")},
    {29, name(u"柯尔克孜")}, {30, name(u"土")},
    {31, name(u"达斡尔")},   {32, name(u"仫佬")},
    {33, name(u"羌")},       {34, name(u"布朗")},
    {35, name(u"撒拉")},     {36, name(u"毛南")},
    {37, name(u"仡佬")},     {38, name(u"锡伯")},
    {39, name(u"阿昌")},     {40, name(u"普米")},
    {41, name(u"塔吉克")},   {42, name(u"怒")},
    {43, name(u"乌孜别克")}, {44, name(u"俄罗斯")},
    {45, name(u"鄂温克")},   {46, name(u"德昂")},
    {47, name(u"保安")},     {48, name(u"裕固")},
    {49, name(u"京")},       {50, name(u"塔塔尔")},
    {51, name(u"独龙")},     {52, name(u"鄂伦春")},
    {53, name(u"赫哲")},     {54, name(u"门巴")},
    {55, name(u"珞巴")},     {56, name(u"基诺")},
    {97, name(u"其他")},     {98, name(u"外国血统中国籍人士")},
};

}  // namespace

std::string_view name_of(int code) noexcept {
    const auto* row = std::ranges::find(table, code, &Nation::code);
    return row == std::end(table) ? std::string_view() : row->name.view();
}

}  // namespace deskreader::nations
