// Records of identity cards: every field of all three kinds, in buffers of exactly the size that
// deskreader.h asks for.
#include <deskreader.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t record_size = 2328;
constexpr std::size_t text_size = 256;

struct TextField {
    int (*accessor)(const unsigned char* record, char* text);
    std::size_t room;
};

constexpr TextField text_fields[] = {
    {ID_GetNationCode, 10},
    {ID_GetBirth, 34},
    {ID_GetCardNumber, 74},
    {ID_GetIssueTimes_GAT, 10},
    {ID_GetCardNumber_Foreign, 62},
    {ID_GetNationCode_Foreign, 14},
    {ID_GetBirth_Foreign, 34},
    {ID_GetCardVer_Foreign, 10},
    {ID_GetPoliceCode_Foreign, 18},
    {ID_GetName, 62},
    {ID_GetAddress, 142},
    {ID_GetPolice, 62},
    {ID_GetValidStart, 34},
    {ID_GetValidEnd, 34},
    {ID_GetCardNo_GAT, 38},
    {ID_GetEnglishName_Foreign, 242},
    {ID_GetChineseName_Foreign, 62},
    {ID_GetValidStart_Foreign, 34},
    {ID_GetValidEnd_Foreign, 34},
    {ID_GetCardType, 6},
    {ID_GetNation, 32},
    {ID_GetNation_Foreign, 32},
};

constexpr int (*sex_fields[])(const unsigned char*, int, char*) = {
    ID_GetSexCode, ID_GetSexCode_Foreign, ID_GetSex, ID_GetSex_Foreign};
constexpr std::size_t sex_room = 6;

struct Block {
    int (*accessor)(const unsigned char* record, unsigned char* block);
    std::size_t size;
};

constexpr Block blocks[] = {{ID_GetPhotoInfo, 1024},
                            {ID_GetFPInfo, 1024},
                            {ID_GetASICSerialNumber_GAT, 8},
                            {ID_GetSerialCardNumber_GAT, 16}};

// The result counts the text, and for fields that are not cut two zero bytes with it.
void check(const std::vector<char>& text, int result) {
    const std::size_t length = strnlen(text.data(), text.size());
    if (length == text.size()) std::abort();
    if (result != static_cast<int>(length) && result != static_cast<int>(length) + 2) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> record(record_size);
    std::copy_n(data, std::min(size, record_size), record.begin());
    const std::vector<std::uint8_t> text(record.begin(), record.begin() + text_size);
    for (const TextField& field : text_fields) {
        std::vector<char> out(field.room);
        check(out, field.accessor(text.data(), out.data()));
    }
    for (const auto accessor : sex_fields) {
        std::vector<char> out(sex_room);
        check(out, accessor(text.data(), 0, out.data()));
    }
    for (const Block& block : blocks) {
        std::vector<std::uint8_t> out(block.size);
        if (block.accessor(record.data(), out.data()) != static_cast<int>(block.size)) std::abort();
    }
    return 0;
}
