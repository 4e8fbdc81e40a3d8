#include <deskreader.h>

#include <cstring>
#include <map>
#include <set>

#include <iconv.h>

#include "kit/bytes.h"

namespace {

using kit::Bytes;
using kit::hex;

Bytes convert(unsigned short unit) {
    Bytes out(4, 0xEE);
    out.resize(static_cast<std::size_t>(mmi_chset_ucs2_to_gb18030(out.data(), unit)));
    return out;
}

TEST(Gb18030Tables, HaveTheirSizesAndEnds) {
    EXPECT_EQ(mmi_chset_ucs2_gb18030_2byte_size(), 21872);
    EXPECT_EQ(mmi_chset_ucs2_gb18030_4byte_size(), 39339);
    EXPECT_EQ(mmi_chset_ucs2_gb18030_4byte_size_add(), 1);
    const auto& two = g_chset_ucs2_to_gb18030_2_byte_tbl;
    EXPECT_EQ(two[0].nUcs2, 0x00A4);
    EXPECT_EQ(two[0].nCode, 0xA1E8);
    EXPECT_EQ(two[1].nUcs2, 0x00A7);
    EXPECT_EQ(two[1].nCode, 0xA1EC);
    EXPECT_EQ(two[2].nUcs2, 0x00A8);
    EXPECT_EQ(two[2].nCode, 0xA1A7);
    EXPECT_EQ(two[21871].nUcs2, 0xFFE5);
    EXPECT_EQ(two[21871].nCode, 0xA3A4);
    const auto& four = g_chset_ucs2_to_gb18030_4_byte_tbl;
    EXPECT_EQ(four[0].nHigh, 0x8130);
    EXPECT_EQ(four[0].nLow, 0x8130);
    EXPECT_EQ(four[0].nUcs2, 0x0080);
    EXPECT_EQ(four[39338].nHigh, 0x8431);
    EXPECT_EQ(four[39338].nLow, 0xA439);
    EXPECT_EQ(four[39338].nUcs2, 0xFFFF);
    const auto& added = g_chset_ucs2_to_gb18030_4_byte_tbl_add[0];
    EXPECT_EQ(added.nHigh, 0x8336);
    EXPECT_EQ(added.nLow, 0xCF39);
    EXPECT_EQ(added.nUcs2, 0xE863);
}

TEST(Gb18030Tables, AreSortedAndShareNoCharacter) {
    std::set<unsigned> units;
    unsigned last = 0;
    for (const auto& row : g_chset_ucs2_to_gb18030_2_byte_tbl) {
        EXPECT_GT(row.nUcs2, last);
        last = row.nUcs2;
        units.insert(row.nUcs2);
    }
    last = 0;
    for (const auto& row : g_chset_ucs2_to_gb18030_4_byte_tbl) {
        EXPECT_GT(row.nUcs2, last);
        last = row.nUcs2;
        units.insert(row.nUcs2);
    }
    EXPECT_EQ(units.size(), 21872u + 39339u);
}

TEST(Gb18030Search, FindsEveryRowAndNothingElse) {
    std::map<unsigned, unsigned> two;
    std::map<unsigned, unsigned> four;
    for (const auto& row : g_chset_ucs2_to_gb18030_2_byte_tbl)
        two[row.nUcs2] = row.nCode;
    for (const auto& row : g_chset_ucs2_to_gb18030_4_byte_tbl) {
        four[row.nUcs2] = static_cast<unsigned>(row.nHigh) << 16 | row.nLow;
    }
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        unsigned short code = 0;
        unsigned int long_code = 0;
        const auto ucs2 = static_cast<unsigned short>(unit);
        ASSERT_EQ(mmi_chset_ucs2_to_gb18030_2_byte_search(ucs2, &code),
                  static_cast<int>(two.count(unit)));
        if (two.count(unit) != 0) {
            ASSERT_EQ(code, two[unit]);
        }
        ASSERT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search(ucs2, &long_code),
                  static_cast<int>(four.count(unit)));
        if (four.count(unit) != 0) {
            ASSERT_EQ(long_code, four[unit]);
        }
        long_code = 0;
        ASSERT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search_add(ucs2, &long_code),
                  unit == 0xE863 ? 1 : 0);
        ASSERT_EQ(long_code, unit == 0xE863 ? 0x8336CF39u : 0u);
    }
}

TEST(Gb18030, ConvertsTheQuotedCharacters) {
    EXPECT_EQ(convert(0x0041), hex("41"));
    EXPECT_EQ(convert(0x0000), hex("00"));
    EXPECT_EQ(convert(0x001F), hex("1F"));
    EXPECT_EQ(convert(0x007F), hex("7F"));
    EXPECT_EQ(convert(0x4E2D), hex("D6 D0"));
    EXPECT_EQ(convert(0x20AC), hex("A2 E3"));
    EXPECT_EQ(convert(0x0080), hex("81 30 81 30"));
    EXPECT_EQ(convert(0xE863), hex("83 36 CF 39"));
    EXPECT_EQ(convert(0xD800), hex("FF"));
    EXPECT_EQ(convert(0xDFFF), hex("FF"));
}

// What glibc, which has the edition of 2005 or later, makes of one character.
Bytes by_iconv(iconv_t converter, unsigned unit) {
    char in[2] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    char out[8];
    char* from = in;
    char* to = out;
    std::size_t from_left = sizeof in;
    std::size_t to_left = sizeof out;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &from_left, &to, &to_left) == static_cast<std::size_t>(-1))
        return {};
    return {out, out + (sizeof out - to_left)};
}

// The characters whose code the later edition changed: their codes of 2000.
const std::map<unsigned, Bytes>& codes_of_2000() {
    static const std::map<unsigned, Bytes> codes = {
        {0x1E3F, hex("8135F437")}, {0x9FB4, hex("82359037")}, {0x9FB5, hex("82359038")},
        {0x9FB6, hex("82359039")}, {0x9FB7, hex("82359130")}, {0x9FB8, hex("82359131")},
        {0x9FB9, hex("82359132")}, {0x9FBA, hex("82359133")}, {0x9FBB, hex("82359134")},
        {0xFE10, hex("84318236")}, {0xFE11, hex("84318237")}, {0xFE12, hex("84318238")},
        {0xFE13, hex("84318239")}, {0xFE14, hex("84318330")}, {0xFE15, hex("84318331")},
        {0xFE16, hex("84318332")}, {0xFE17, hex("84318333")}, {0xFE18, hex("84318334")},
        {0xFE19, hex("84318335")},
    };
    return codes;
}

TEST(Gb18030, AgreesWithIconvButForTheLaterEditionAndPrivateUse) {
    const iconv_t converter = iconv_open("GB18030", "UTF-16LE");
    ASSERT_NE(converter, reinterpret_cast<iconv_t>(-1));
    int private_use = 0;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const Bytes ours = convert(static_cast<unsigned short>(unit));
        const Bytes theirs = by_iconv(converter, unit);
        const auto changed = codes_of_2000().find(unit);
        if (changed != codes_of_2000().end()) {
            ASSERT_EQ(ours, changed->second) << std::hex << unit;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            ASSERT_EQ(ours, hex("FF"));
        } else if (unit >= 0xE000 && unit <= 0xF8FF && ours == hex("FF")) {
            ++private_use;
        } else {
            ASSERT_EQ(ours, theirs) << std::hex << unit;
        }
    }
    iconv_close(converter);
    // The private-use characters that have a code of two bytes, and those of four from U+E76C to
    // U+E862.
    EXPECT_EQ(private_use, 2148);
}

Bytes convert_text(const Bytes& source, int limit) {
    Bytes out(4096, 0xEE);
    out.resize(
        static_cast<std::size_t>(mmi_chset_ucs2_to_gb18030_str(out.data(), source.data(), limit)));
    return out;
}

TEST(Gb18030Text, EndsWithTwoZeroBytesThatCount) {
    EXPECT_EQ(convert_text(hex("41 00 00 00"), 1024), hex("41 00 00"));
    EXPECT_EQ(convert_text(hex("2D 4E 41 00 AC 20 00 00"), 1024), hex("D6 D0 41 A2 E3 00 00"));
    EXPECT_EQ(convert_text(hex("00 00 41 00"), 1024), hex("00 00"));
}

TEST(Gb18030Text, LimitHoldsBeforeALowByteOfNoughtOnly) {
    // U+4E00 has the low byte 00; its code is D2 BB.
    EXPECT_EQ(convert_text(hex("41 00 00 4E 42 00 00 00"), 4), hex("41 D2 BB 42 00 00"));
    EXPECT_EQ(convert_text(hex("41 00 00 4E 42 00 00 00"), 3), hex("41 00 00"));
    EXPECT_EQ(convert_text(hex("41 00 42 00 43 00 00 00"), 1), hex("41 42 43 00 00"));
}

TEST(Gb18030Text, CountsUnits) {
    EXPECT_EQ(app_ucs2_strlen(hex("41 00 00 4E 00 00 42 00").data()), 2);
    EXPECT_EQ(app_ucs2_strlen(hex("00 00").data()), 0);
    EXPECT_EQ(app_ucs2_strlen(nullptr), 0);
}

Bytes convert_block(const Bytes& source, int length) {
    Bytes out(2048, 0xEE);
    out.resize(static_cast<std::size_t>(GStrUnicode2GB18030(source.data(), out.data(), length)));
    return out;
}

TEST(Gb18030Block, ConvertsExactlyItsBytes) {
    EXPECT_EQ(convert_block(hex("2D 4E 41 00 42 00"), 4), hex("D6 D0 41 00 00"));
    EXPECT_EQ(convert_block(hex("41 00 00 00 42 00"), 6), hex("41 00 00"));
    EXPECT_EQ(convert_block(hex("41 00"), 0), hex("00 00"));
    EXPECT_EQ(convert_block(hex("41 42"), 1), hex("41 00 00")) << "an odd byte counts as a low one";
}

// Half a character may become four bytes: more than twice what was given, and two zeros.
TEST(Gb18030Block, NeedsMoreRoomForHalfACharacter) {
    EXPECT_EQ(convert_block(hex("80 42"), 1), hex("81 30 81 30 00 00"));
}

TEST(Gb18030Block, TakesAtMost510Bytes) {
    Bytes source;
    for (int i = 0; i < 400; ++i)
        source.insert(source.end(), {0x80, 0x00});
    const Bytes full = convert_block(source, 510);
    EXPECT_EQ(full.size(), 255u * 4 + 2);
    EXPECT_EQ(convert_block(source, 800), full);
    EXPECT_EQ(convert_block(source, -1), hex("00 00"));
}

}  // namespace
