#include <cstring>

#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

constexpr int limit_ms = 1000;
constexpr unsigned char key[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x00};
constexpr unsigned char value[] = {1, 0, 0, 0};
constexpr unsigned char select_file[] = {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00};

using Ask = int (*)(DEVCONTEXT*, unsigned char*, int*, int);
using Command = int (*)(DEVCONTEXT*, int);
using ReadBlock = int (*)(DEVCONTEXT*, unsigned char, unsigned char*, int*, int);
using WriteValue = int (*)(DEVCONTEXT*, unsigned char, const unsigned char*, int, int);

template <Ask function, std::size_t room>
int ask(S& s) {
    return function(&context, s.buffers.bytes(room), s.buffers.number<int>(), limit_ms);
}

template <Command function>
int command(S&) {
    return function(&context, limit_ms);
}

template <ReadBlock function>
int read_block(S& s) {
    return function(&context, 4, s.buffers.bytes(1024), s.buffers.number<int>(), limit_ms);
}

template <WriteValue function>
int write_value(S&) {
    return function(&context, 5, value, sizeof value, limit_ms);
}

template <auto function>
int exchange(S& s) {
    return function(&context, select_file, sizeof select_file, s.buffers.bytes(1024),
                    s.buffers.number<int>(), limit_ms);
}

int read_tracks(S& s, int selection) {
    auto& b = s.buffers;
    return MSR_ReadTrack(&context, 0, selection, 40, b.text(40), 40, b.text(40), 40, b.text(40),
                         limit_ms);
}

constexpr Call calls[] = {
    {"MSR_Reset", "loyalty", command<MSR_Reset>},
    {"MSR_ReadTrack", "loyalty", [](S& s) { return read_tracks(s, 123); }},
    {"MSR_ReadTrack (2)", "loyalty", [](S& s) { return read_tracks(s, 2); }},
    {"MSR_ReadTrack (23)", "loyalty", [](S& s) { return read_tracks(s, 23); }},
    {"MSR_WriteTrack", "loyalty",
     [](S& s) {
         return MSR_WriteTrack(&context, 0, 23, s.buffers.copy("1=2"), s.buffers.copy("3'4"),
                               limit_ms);
     }},
    {"MSR_GetCardNo", "loyalty",
     [](S& s) { return MSR_GetCardNo(0, s.buffers.copy("99=1"), s.buffers.text(5)); }},
    {"M1_PowerOn", "locker", ask<M1_PowerOn, 256>},
    {"M1_PowerOff", "locker", command<M1_PowerOff>},
    {"M1_Verify", "locker", [](S&) { return M1_Verify(&context, 2, 0, key, limit_ms); }},
    {"M1_ReadBlock", "locker", read_block<M1_ReadBlock>},
    {"M1_ReadValue", "locker", read_block<M1_ReadValue>},
    {"M1_WriteBlock", "locker",
     [](S& s) { return M1_WriteBlock(&context, 4, s.buffers.bytes(16), 16, limit_ms); }},
    {"M1_WriteValue", "locker", write_value<M1_WriteValue>},
    {"M1_Increment", "locker", write_value<M1_Increment>},
    {"M1_Decrement", "locker", write_value<M1_Decrement>},
    {"M1_IncreaseValue", "locker", [](S&) { return M1_IncreaseValue(&context, 5, 1, limit_ms); }},
    {"M1_DecreaseValue", "locker", [](S&) { return M1_DecreaseValue(&context, 5, 1, limit_ms); }},
    {"IC_SetSlot", "bank", [](S&) { return IC_SetSlot(0); }},
    {"IC_SetBaud", "bank", [](S&) { return IC_SetBaud(&context, 9600); }},
    {"IC_PowerOn", "bank", ask<IC_PowerOn, 256>},
    {"IC_RFPowerOn", "visitor", ask<IC_RFPowerOn, 256>},
    {"IC_PowerOff", "bank", command<IC_PowerOff>},
    {"IC_RFPowerOff", "visitor", command<IC_RFPowerOff>},
    {"IC_APDU", "bank", exchange<IC_APDU>},
    {"IC_RFAPDU", "visitor", exchange<IC_RFAPDU>},
    {"IC_GetDevInfo", "bank", ask<IC_GetDevInfo, 256>},
    {"IC_Beep", "bank", [](S&) { return IC_Beep(&context, 100, 1, 1, limit_ms); }},
    {"IC_CardDetect", "bank",
     [](S& s) { return IC_CardDetect(&context, 255, s.buffers.number<int>(), limit_ms); }},
    {"IC_DevReset", "bank", [](S&) { return IC_DevReset(&context); }},
    {"IC_GetDevAllInfo", "bank", ask<IC_GetDevAllInfo, 256>},
    {"IC_SetDevSn", "bank",
     [](S& s) { return IC_SetDevSn(&context, s.buffers.bytes(32), 32, limit_ms); }},
    {"ID_ResetCard", "resident", command<ID_ResetCard>},
    {"ID_FindCard", "resident", command<ID_FindCard>},
    {"ID_SelectCard", "resident", command<ID_SelectCard>},
    {"ID_ReadCard", "resident", ask<ID_ReadCard, 4096>},
    {"ID_ReadCard_FP", "resident", ask<ID_ReadCard_FP, 4096>},
    {"ID_SetIdBaud", "resident", [](S&) { return ID_SetIdBaud(&context, 115200, limit_ms); }},
    {"ID_SendCmd", "resident",
     [](S& s) {
         constexpr unsigned char reset[] = {0x10, 0xFF};
         return ID_SendCmd(&context, reset, sizeof reset, s.buffers.bytes(4096), 4096, limit_ms);
     }},
};

}  // namespace

std::span<const Call> module_calls() {
    return calls;
}

}  // namespace robustness
