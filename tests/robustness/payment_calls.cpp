#include <cstring>

#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

constexpr int response = 512;

unsigned char* copy(S& s, const unsigned char* data, std::size_t size) {
    unsigned char* place = s.buffers.bytes(size);
    std::memcpy(place, data, size);
    return place;
}

constexpr unsigned char aid[] = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01};
constexpr unsigned char directory[] = {'1', 'P', 'A', 'Y', '.', 'S', 'Y',
                                       'S', '.', 'D', 'D', 'F', '0', '1'};
constexpr unsigned char locator[] = {0x10, 1, 3, 0, 0x18, 1, 2, 0};
constexpr unsigned char tag_balance[] = {0x9F, 0x79};
constexpr unsigned char tag_cryptogram[] = {0x9F, 0x26};
constexpr unsigned char tag_currency[] = {0x5F, 0x2A};
constexpr unsigned char script[] = {0x72, 0x06, 0x86, 0x04, 0x84, 0x16, 0x00, 0x00};
constexpr unsigned char objects[] = {0x70, 0x08, 0x9F, 0x26, 0x02, 1, 2, 0x5A, 0x01, 0x99};
constexpr unsigned char list[] = {0x9F, 0x02, 0x06, 0x9A, 0x03};

using RunWithData = int (*)(DEVCONTEXT*, int, const unsigned char*, int);
using RunForData = int (*)(DEVCONTEXT*, int, const unsigned char*, int, unsigned char*, int*);

template <RunWithData function>
int with_data(S& s) {
    return function(&context, 0, copy(s, script, sizeof script), sizeof script);
}

template <RunForData function>
int for_data(S& s, const unsigned char* data, std::size_t size) {
    return function(&context, 0, copy(s, data, size), static_cast<int>(size),
                    s.buffers.bytes(response), s.buffers.number<int>());
}

constexpr Call calls[] = {
    {"PBOC_IcAPDU", "bank",
     [](S& s) {
         constexpr unsigned char command[] = {0x00, 0xB2, 0x01, 0x0C, 0x00};
         return PBOC_IcAPDU(&context, 0, copy(s, command, sizeof command), sizeof command,
                            s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"PBOC_SelectPSE", "bank",
     [](S& s) { return for_data<PBOC_SelectPSE>(s, directory, sizeof directory); }},
    {"PBOC_ReadRecord", "bank",
     [](S& s) {
         return PBOC_ReadRecord(&context, 0, 1, 1, s.buffers.bytes(response),
                                s.buffers.number<int>());
     }},
    {"PBOC_GetAID", "bank",
     [](S& s) {
         constexpr unsigned char files[] = {1, 2};
         return for_data<PBOC_GetAID>(s, files, sizeof files);
     }},
    {"PBOC_SelectAID", "bank", [](S& s) { return for_data<PBOC_SelectAID>(s, aid, sizeof aid); }},
    {"PBOC_SelectFile", "bank",
     [](S& s) {
         return PBOC_SelectFile(&context, 0, 4, copy(s, aid, sizeof aid), sizeof aid,
                                s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"PBOC_GetProcOptions", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return PBOC_GetProcOptions(&context, 0, copy(s, list, sizeof list), sizeof list,
                                    b.bytes(response), b.number<int>(), b.bytes(response),
                                    b.number<int>());
     }},
    {"PBOC_GetAppData", "bank",
     [](S& s) {
         return PBOC_GetAppData(&context, 0, copy(s, locator, sizeof locator), sizeof locator,
                                s.buffers.bytes(8000), s.buffers.number<int>());
     }},
    {"PBOC_GetData", "bank",
     [](S& s) { return for_data<PBOC_GetData>(s, tag_balance, sizeof tag_balance); }},
    {"PBOC_GenerateAC", "bank",
     [](S& s) {
         return PBOC_GenerateAC(&context, 0, 0x80, copy(s, list, sizeof list), sizeof list,
                                s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"PBOC_ExternalAuth", "bank", with_data<PBOC_ExternalAuth>},
    {"PBOC_ExternalAuth_Sh", "bank", with_data<PBOC_ExternalAuth_Sh>},
    {"PBOC_ExeScript", "bank", with_data<PBOC_ExeScript>},
    {"PBOC_DeliveryKey", "bank",
     [](S& s) {
         return PBOC_DeliveryKey(&context, 0, 0, 0, copy(s, list, sizeof list), sizeof list);
     }},
    {"PBOC_CryptData", "bank",
     [](S& s) {
         return PBOC_CryptData(&context, 0, 0, copy(s, list, sizeof list), sizeof list,
                               s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"PBOC_ChangePin", "bank",
     [](S& s) { return PBOC_ChangePin(&context, 0, 0, copy(s, list, sizeof list), sizeof list); }},
    {"PBOC_GetTagValue", "bank",
     [](S& s) {
         return PBOC_GetTagValue(tag_cryptogram, 2, copy(s, objects, sizeof objects),
                                 sizeof objects, s.buffers.bytes(sizeof objects),
                                 s.buffers.number<int>());
     }},
    {"PBOC_SetTagValue", "bank",
     [](S& s) {
         return PBOC_SetTagValue(tag_cryptogram, 2, copy(s, objects, sizeof objects),
                                 sizeof objects, list, 2);
     }},
    {"PBOC_SetTxDataTagValue", "bank",
     [](S&) { return PBOC_SetTxDataTagValue(tag_currency, 2, list, 2); }},
    {"PBOC_SetAppInitDataTagValue", "bank",
     [](S&) { return PBOC_SetAppInitDataTagValue(tag_currency, 2, list, 2); }},
    {"PBOC_GetTagInDOL", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return PBOC_GetTagInDOL(copy(s, list, sizeof list), sizeof list, b.bytes(2),
                                 b.number<int>(), b.number<int>());
     }},
    {"PBOC_BuildDOL", "bank",
     [](S& s) {
         return PBOC_BuildDOL(&context, 0, copy(s, list, sizeof list), sizeof list,
                              s.buffers.bytes(10 * sizeof list), s.buffers.number<int>());
     }},
    {"PBOC_GetSimpTagValue", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return PBOC_GetSimpTagValue(b.copy("P"), 1, b.copy("P0011"), 5, b.text(512),
                                     b.number<int>());
     }},
    {"PBOC_BuildARQCBack", "bank",
     [](S& s) {
         return PBOC_BuildARQCBack(copy(s, objects, sizeof objects), sizeof objects,
                                   s.buffers.bytes(1200), s.buffers.number<int>());
     }},
    {"EPED_ReadBinary", "purse",
     [](S& s) {
         return EPED_ReadBinary(&context, 0, 21, 0, s.buffers.bytes(response),
                                s.buffers.number<int>());
     }},
    {"EPED_GetBalance", "purse",
     [](S& s) {
         return EPED_GetBalance(&context, 0, 2, s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"EPED_Verify", "purse", [](S& s) { return EPED_Verify(&context, 0, copy(s, list, 2), 2); }},
    {"EPED_GetRandom", "purse",
     [](S& s) {
         return EPED_GetRandom(&context, 0, s.buffers.bytes(response), s.buffers.number<int>(8));
     }},
    {"EPED_UpdateBinary", "purse",
     [](S& s) { return EPED_UpdateBinary(&context, 0, 21, 0, copy(s, list, 4), 4); }},
    {"EPED_InitForLoad", "purse",
     [](S& s) {
         return EPED_InitForLoad(&context, 0, 1, s.buffers.text(11), s.buffers.bytes(response),
                                 s.buffers.number<int>());
     }},
    {"EPED_Load", "purse",
     [](S& s) {
         return EPED_Load(&context, 0, s.buffers.text(11), s.buffers.bytes(response),
                          s.buffers.number<int>());
     }},
    {"EPED_InitForPurchase", "purse",
     [](S& s) {
         return EPED_InitForPurchase(&context, 0, 1, s.buffers.text(11), 0,
                                     s.buffers.bytes(response), s.buffers.number<int>());
     }},
    {"EPED_Purchase", "purse",
     [](S& s) {
         return EPED_Purchase(&context, 0, 0, s.buffers.text(15), 0, s.buffers.bytes(response),
                              s.buffers.number<int>());
     }},
};

}  // namespace

std::span<const Call> payment_calls() {
    return calls;
}

}  // namespace robustness
