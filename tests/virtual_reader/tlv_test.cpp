#include "cards/tlv.h"

#include "kit/bytes.h"

namespace {

using kit::hex;
using namespace virtual_reader;

TEST(DataObject, HasAsManyLengthBytesAsItNeeds) {
    EXPECT_EQ(data_object(0x5A, hex("12 34")), hex("5A 02 12 34"));
    EXPECT_EQ(data_object(0x9F36, hex("00 01")), hex("9F 36 02 00 01"));
    EXPECT_EQ(data_object(0x70, Bytes(127, 1)).size(), 129u);
    const Bytes longer = data_object(0x70, Bytes(200, 1));
    EXPECT_EQ(Bytes(longer.begin(), longer.begin() + 4), hex("70 81 C8 01"));
    const Bytes longest = data_object(0xBF0C, Bytes(256, 1));
    EXPECT_EQ(Bytes(longest.begin(), longest.begin() + 6), hex("BF 0C 82 01 00 01"));
}

TEST(DataObjects, AreFoundInTemplates) {
    const auto objects = read_objects(hex("6F 0E 84 02 F0 01 A5 08 BF 0C 05 9F 4D 02 0B 0A"));
    ASSERT_TRUE(objects);
    EXPECT_EQ(*objects, (Objects{{0x84, hex("F0 01")}, {0x9F4D, hex("0B 0A")}}));
    EXPECT_EQ(read_objects(hex("5A 01 11 5A 01 22"))->at(0x5A), hex("11")) << "the first counts";
    EXPECT_EQ(read_objects(hex("70 81 03 5A 01 11"))->at(0x5A), hex("11"));
    EXPECT_EQ(read_objects(hex("70 82 00 03 5A 01 11"))->at(0x5A), hex("11"));
    EXPECT_TRUE(read_objects({})->empty());
}

TEST(DataObjects, CutShortAreNone) {
    for (const char* bytes :
         {"5A", "5A 02 11", "9F", "9F 36", "70 03 5A 02 11", "5A 81", "5A 83 00 00 01 11"})
        EXPECT_FALSE(read_objects(hex(bytes))) << bytes;
}

TEST(DataObjectList, SplitsDataOfItsLengthOnly) {
    const Bytes list = hex("9F 02 06 9A 03 95 01");
    const auto entries = read_list(list);
    ASSERT_EQ(entries->size(), 3u);
    EXPECT_EQ(entries->at(1).tag, 0x9A);
    EXPECT_EQ(entries->at(1).length, 3u);
    EXPECT_EQ(*split_by_list(list, hex("000000000100 261017 80")),
              (Objects{{0x9F02, hex("000000000100")}, {0x9A, hex("261017")}, {0x95, hex("80")}}));
    EXPECT_FALSE(split_by_list(list, hex("000000000100 261017")));
    EXPECT_FALSE(split_by_list(list, hex("000000000100 261017 80 00")));
    EXPECT_TRUE(split_by_list({}, {})->empty());
    EXPECT_FALSE(split_by_list({}, hex("00")));
    EXPECT_FALSE(read_list(hex("9F 02 06 9A")));
    EXPECT_FALSE(split_by_list(hex("9F 02 06 9A"), {}));
}

}  // namespace
