#include <deskreader.h>

#include <cstring>

#include "kit/card_desk.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Output;

Output get(const char* tag, const Bytes& data) {
    return kit::output_of(
        [&](auto* out, int* length) {
            const Bytes name = hex(tag);
            return PBOC_GetTagValue(name.data(), static_cast<int>(name.size()), data.data(),
                                    static_cast<int>(data.size()), out, length);
        },
        70'000);
}

Output get(const char* tag, const char* data) {
    return get(tag, hex(data));
}

TEST(GetTagValue, FindsPrimitiveObjects) {
    const Output found = get("9F02", "8A 02 30 30 9F 02 06 00 00 00 00 00 12");
    EXPECT_EQ(found.result, 7);
    EXPECT_EQ(found.text(), "000000000012");
    EXPECT_EQ(get("8A", "8A 02 30 30").result, 2);
    EXPECT_EQ(get("8A", "8A 00").text(), "");
}

TEST(GetTagValue, FirstOneWins) {
    EXPECT_EQ(get("5A", "5A 01 11 5A 01 22").text(), "11");
}

TEST(GetTagValue, NeedsTheWholeTag) {
    EXPECT_EQ(get("9F", "9F 02 01 11").result, -99);
    EXPECT_EQ(get("9F03", "9F 02 01 11").result, -99);
    EXPECT_EQ(get("02", "9F 02 01 11").result, -99);
    EXPECT_EQ(get("5A", "").result, -99);
}

TEST(GetTagValue, EntersTemplates) {
    EXPECT_EQ(get("9F36", "77 0A 9F 27 01 80 9F 36 02 00 01").text(), "0001");
    EXPECT_EQ(get("88", "6F 07 84 02 31 32 A5 03 88 01 01").text(), "01");
    EXPECT_EQ(get("5A", "70 81 03 5A 01 44").text(), "44");
}

TEST(GetTagValue, FindsTemplatesWithLengthNought) {
    const Output found = get("77", "77 03 9F 36 00");
    EXPECT_EQ(found.result, 2);
    EXPECT_EQ(found.length, 0);
}

TEST(GetTagValue, EndsAtATemplateWithATwoByteLength) {
    EXPECT_EQ(get("5A", "70 82 00 03 5A 01 44").result, -99);
    EXPECT_EQ(get("70", "70 82 00 03 5A 01 44").result, -99);
    EXPECT_EQ(get("9A", "9A 01 11 70 82 00 03 5A 01 44").text(), "11")
        << "what stands before is found";
}

TEST(GetTagValue, ReadsLongLengths) {
    const Bytes value(300, 0x5A);
    EXPECT_EQ(get("93", kit::join({hex("93 82 01 2C"), value})).bytes, value);
    EXPECT_EQ(get("93", kit::join({hex("93 81 80"), Bytes(128, 0x11)})).length, 128);
    EXPECT_EQ(get("93", kit::join({hex("93 83"), Bytes(0x83, 0x22)})).length, 0x83)
        << "83 is itself the length";
    EXPECT_EQ(get("93", kit::join({hex("93 80"), Bytes(0x80, 0x22)})).length, 0x80);
}

TEST(GetTagValue, DoesNotFindWhatRunsPastTheData) {
    for (const char* data : {"5A 02 11", "5A 81 02 11", "5A 82 FF FF 11", "5A 82 01", "5A 81", "5A",
                             "9F", "5F 2A", "70 05 5A 05 11", "5A FF", "5A 84 11"}) {
        const Output found = get("5A", data);
        EXPECT_EQ(found.result, -99) << data;
        EXPECT_EQ(found.length, 0) << data;
    }
    EXPECT_EQ(get("9F02", "9F 02").result, -99);
}

TEST(GetTagValue, WalksTenThousandTemplates) {
    Bytes data;
    for (int i = 0; i < 10'000; ++i)
        data.insert(data.end(), {0x70, 0x7F});
    data.insert(data.end(), {0x5A, 0x01, 0x77});
    EXPECT_EQ(get("5A", data).text(), "77");
}

TEST(GetTagValue, ClearsEightBytesFirst) {
    unsigned char value[10];
    std::memset(value, '#', sizeof value);
    int length = 5;
    const Bytes tag = hex("5A");
    EXPECT_EQ(PBOC_GetTagValue(tag.data(), 1, tag.data(), -1, value, &length), -99);
    EXPECT_EQ(Bytes(value, value + 10), hex("00 00 00 00 00 00 00 00 23 23"));
    EXPECT_EQ(length, 0);
}

int set(const char* tag, Bytes& data, const char* value) {
    const Bytes name = hex(tag);
    const Bytes bytes = hex(value);
    return PBOC_SetTagValue(name.data(), static_cast<int>(name.size()), data.data(),
                            static_cast<int>(data.size()), bytes.data(),
                            static_cast<int>(bytes.size()));
}

TEST(SetTagValue, OverwritesAValueOfTheSameLength) {
    Bytes data = hex("8A 02 30 30 9A 03 11 22 33");
    EXPECT_EQ(set("9A", data, "24 03 05"), 0);
    EXPECT_EQ(data, hex("8A 02 30 30 9A 03 24 03 05"));
    EXPECT_EQ(set("9A", data, "24 03"), -99);
    EXPECT_EQ(set("9B", data, "24 03 05"), -99);
    EXPECT_EQ(data, hex("8A 02 30 30 9A 03 24 03 05"));
}

TEST(SetTagValue, PassesOverAnotherLength) {
    Bytes data = hex("9A 02 11 11 9A 03 22 22 22");
    EXPECT_EQ(set("9A", data, "01 02 03"), 0);
    EXPECT_EQ(data, hex("9A 02 11 11 9A 03 01 02 03"));
}

TEST(SetTagValue, EntersTemplatesWithATwoByteLength) {
    Bytes data = hex("70 82 00 03 5A 01 44");
    EXPECT_EQ(set("5A", data, "55"), 0);
    EXPECT_EQ(data.back(), 0x55);
}

struct Entry {
    int result, tag_length, header;
    Bytes tag;
};

Entry first_entry(const char* list) {
    const Bytes bytes = hex(list);
    Entry entry{0, 0, 0, Bytes(2, '#')};
    entry.result = PBOC_GetTagInDOL(bytes.data(), static_cast<int>(bytes.size()), entry.tag.data(),
                                    &entry.tag_length, &entry.header);
    entry.tag.resize(static_cast<std::size_t>(entry.tag_length));
    return entry;
}

TEST(DolEntry, IsTagAndWhereTheNextBegins) {
    const struct {
        const char *list, *tag;
        int header;
    } rows[] = {{"9F02 06 95 05", "9F02", 3},
                {"95 05", "95", 2},
                {"95 81 05", "95", 3},
                {"9F02 82 00 06", "9F02", 5},
                {"9F02 81 06", "9F02", 4},
                {"5F2A 02", "5F2A", 3},
                {"95", "95", 2},
                {"9F", "9F00", 3}};
    for (const auto& row : rows) {
        const Entry entry = first_entry(row.list);
        EXPECT_EQ(entry.result, 0);
        EXPECT_EQ(kit::to_hex(entry.tag), row.tag) << row.list;
        EXPECT_EQ(entry.header, row.header) << row.list;
    }
}

Output build(const char* list) {
    const Bytes bytes = hex(list);
    return kit::output_of([&](auto* out, int* length) {
        return PBOC_BuildDOL(nullptr, 0, bytes.data(), static_cast<int>(bytes.size()), out, length);
    });
}

TEST(BuildDol, TakesValuesFromTheStores) {
    EXPECT_EQ(build("9F02 06").text(), "000000000012");
    EXPECT_EQ(build("9F66 04").text(), "F4000000") << "of the application start";
    EXPECT_EQ(build("9F35 01").text(), "22") << "fixed";
    EXPECT_EQ(build("9F66 04 9F35 01 95 05").text(), "F4000000220000000800");
    EXPECT_EQ(build("").length, 0);
}

TEST(BuildDol, IgnoresTheLengthsAskedFor) {
    EXPECT_EQ(build("9F02 04").text(), "000000000012");
    EXPECT_EQ(build("9F02 81 20 9C 00").text(), "00000000001201");
}

TEST(BuildDol, StopsAtAnUnknownTag) {
    const Output output = build("9C 01 9F99 01 95 05");
    EXPECT_EQ(output.result, -99);
    EXPECT_EQ(output.text(), "01") << "what was built until then";
}

TEST(BuildDol, PrefersTheTransaction) {
    const Bytes tag = hex("9F02");
    const Bytes amount = hex("00 00 00 00 99 99");
    EXPECT_EQ(PBOC_SetTxDataTagValue(tag.data(), 2, amount.data(), 6), 0);
    EXPECT_EQ(build("9F02 06").text(), "000000009999");
    const Bytes other = hex("11 11 11 11 11 11");
    EXPECT_EQ(PBOC_SetAppInitDataTagValue(tag.data(), 2, other.data(), 6), 0);
    EXPECT_EQ(build("9F02 06").text(), "000000009999");
}

TEST(Stores, HaveTheirDefaults) {
    EXPECT_EQ(g_iTxDataLen, 87);
    EXPECT_EQ(Bytes(g_szTxData, g_szTxData + 87),
              hex("8A02 3030 9F0206 000000000012 9F0306 000000000000 9F1A02 0156 9505 0000000800 "
                  "5F2A02 0156 9A03 303030 "
                  "9C01 01 9F3704 12345678 8202 0000 9F2103 000000 9F4E14 "
                  "0000000000000000000000000000000000000000"));
    EXPECT_EQ(sizeof g_szTxData, 88u);
    EXPECT_EQ(g_iAppInitDataLen, 113);
    EXPECT_EQ(Bytes(g_szAppInitData, g_szAppInitData + 113),
              hex("9F0206 000000000012 9F0306 000000000000 9F1A02 0156 9505 0000000800 5F2A02 0156 "
                  "9C01 01 9F3704 12345678 "
                  "9F6604 F4000000 9F7A01 00 9F7B06 000001000000 9F4E14 "
                  "0000000000000000000000000000000000000000 "
                  "9A03 303030 DF6001 00 DF6901 01 9F2103 000000 9F3303 20A100"));
    EXPECT_EQ(sizeof g_szAppInitData, 114u);
    EXPECT_EQ(g_iExDataLen, 49);
    EXPECT_EQ(Bytes(g_szExData, g_szExData + 49),
              hex("9F3501 22 9F4502 0000 9F4C08 0000000000000000 9F3403 3F0000 "
                  "9F7C14 112233445566778899AABBCCDDEEFFFFFFFFFFFF"));
    EXPECT_EQ(sizeof g_szExData, 50u);
}

TEST(Stores, TakeValuesOfTheirLengthOnly) {
    const Bytes tag = hex("9F02");
    const Bytes value(6, 0x11);
    EXPECT_EQ(PBOC_SetTxDataTagValue(tag.data(), 2, value.data(), 5), -99);
    EXPECT_EQ(get("9F02", Bytes(g_szTxData, g_szTxData + 87)).text(), "000000000012");
    const Bytes unknown = hex("9F66");
    EXPECT_EQ(PBOC_SetTxDataTagValue(unknown.data(), 2, value.data(), 4), -99);
    EXPECT_EQ(PBOC_SetAppInitDataTagValue(unknown.data(), 2, value.data(), 4), 0);
    EXPECT_EQ(build("9F66 04").text(), "11111111");
}

TEST(Stores, SurviveALengthThatAHostBroke) {
    g_iTxDataLen = 100'000;
    g_iExDataLen = -5;
    build("9F99 01");
    EXPECT_EQ(build("9F35 01").result, -99);
}

}  // namespace
