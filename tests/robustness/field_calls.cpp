// The fields of an identity card's record, taken out of one that a hostile card wrote: no field
// ends, and its characters are the longest there are.
#include <cstring>

#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

unsigned char* endless_record(S& s, std::size_t size) {
    unsigned char* record = s.buffers.bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        record[i] = i % 2 == 0 ? 0x7F : 0x2E;  // U+2E7F has four bytes in GB 18030
    return record;
}

template <int (*function)(const unsigned char*, char*), std::size_t room>
int field(S& s) {
    return function(endless_record(s, 256), s.buffers.text(room));
}

template <int (*function)(const unsigned char*, int, char*), std::size_t room>
int field(S& s) {
    return function(endless_record(s, 256), 0, s.buffers.text(room));
}

template <int (*function)(const unsigned char*, unsigned char*), std::size_t room>
int block(S& s) {
    return function(endless_record(s, 2328), s.buffers.bytes(room));
}

constexpr char card[] = "resident";

constexpr Call calls[] = {
    {"ID_GetNationCode", card, field<ID_GetNationCode, 10>},
    {"ID_GetBirth", card, field<ID_GetBirth, 34>},
    {"ID_GetCardNumber", card, field<ID_GetCardNumber, 74>},
    {"ID_GetIssueTimes_GAT", card, field<ID_GetIssueTimes_GAT, 10>},
    {"ID_GetCardNumber_Foreign", card, field<ID_GetCardNumber_Foreign, 62>},
    {"ID_GetNationCode_Foreign", card, field<ID_GetNationCode_Foreign, 14>},
    {"ID_GetBirth_Foreign", card, field<ID_GetBirth_Foreign, 34>},
    {"ID_GetCardVer_Foreign", card, field<ID_GetCardVer_Foreign, 10>},
    {"ID_GetPoliceCode_Foreign", card, field<ID_GetPoliceCode_Foreign, 18>},
    {"ID_GetSexCode", card, field<ID_GetSexCode, 6>},
    {"ID_GetSexCode_Foreign", card, field<ID_GetSexCode_Foreign, 6>},
    {"ID_GetName", card, field<ID_GetName, 62>},
    {"ID_GetAddress", card, field<ID_GetAddress, 142>},
    {"ID_GetPolice", card, field<ID_GetPolice, 62>},
    {"ID_GetValidStart", card, field<ID_GetValidStart, 34>},
    {"ID_GetValidEnd", card, field<ID_GetValidEnd, 34>},
    {"ID_GetCardNo_GAT", card, field<ID_GetCardNo_GAT, 38>},
    {"ID_GetEnglishName_Foreign", card, field<ID_GetEnglishName_Foreign, 242>},
    {"ID_GetChineseName_Foreign", card, field<ID_GetChineseName_Foreign, 62>},
    {"ID_GetValidStart_Foreign", card, field<ID_GetValidStart_Foreign, 34>},
    {"ID_GetValidEnd_Foreign", card, field<ID_GetValidEnd_Foreign, 34>},
    {"ID_FilterSpaces", card, [](S& s) { return ID_FilterSpaces(s.buffers.copy("AB CD")); }},
    {"ID_GetCardType", card, field<ID_GetCardType, 6>},
    {"ID_GetSex", card, field<ID_GetSex, 6>},
    {"ID_GetSex_Foreign", card, field<ID_GetSex_Foreign, 6>},
    {"ID_GetNation", card, field<ID_GetNation, 32>},
    {"ID_GetNation_Foreign", card, field<ID_GetNation_Foreign, 32>},
    {"ID_GetPhotoInfo", card, block<ID_GetPhotoInfo, 1024>},
    {"ID_GetFPInfo", card, block<ID_GetFPInfo, 1024>},
    {"ID_GetASICSerialNumber_GAT", card, block<ID_GetASICSerialNumber_GAT, 8>},
    {"ID_GetSerialCardNumber_GAT", card, block<ID_GetSerialCardNumber_GAT, 16>},
    {"ID_GetBmpFile", card,
     [](S& s) { return ID_GetBmpFile(s.buffers.bytes(1024), s.buffers.copy("photo.bmp")); }},
    {"ID_GetBmpData", card,
     [](S& s) {
         return ID_GetBmpData(s.buffers.bytes(1024), 0, s.buffers.bytes(1),
                              s.buffers.number<int>());
     }},
    {"ID_GetFrontBackImg", card,
     [](S& s) {
         return ID_GetFrontBackImg(endless_record(s, 2328), s.buffers.bytes(1024),
                                   s.buffers.text(1), s.buffers.text(1));
     }},
    {"ID_ChangeSDT", card, [](S&) { return ID_ChangeSDT(0); }},
    {"ID_IsTimeOut", card,
     [](S& s) {
         ID_IsTimeOut(s.buffers.copy("20400101"), s.buffers.number<int>());
         return 0;
     }},
    {"ID_MakeCmdPackage", card,
     [](S& s) { return ID_MakeCmdPackage(s.buffers.bytes(2), 2, s.buffers.bytes(12), 12); }},
};

}  // namespace

std::span<const Call> field_calls() {
    return calls;
}

}  // namespace robustness
