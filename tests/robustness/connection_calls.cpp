#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

constexpr Call calls[] = {
    {"RD_InitConnect", "bank",
     [](S& s) {
         return RD_InitConnect(s.port, 9600, 0, 0, 0, s.buffers.text(256), s.buffers.number<int>());
     },
     Leaves::closed},
    {"RD_InitConnect_PID", "bank",
     [](S& s) {
         return RD_InitConnect_PID(0x2E8B, 0x0142, 0, s.buffers.text(256), s.buffers.number<int>());
     },
     Leaves::closed},
    {"RD_Open", "bank", [](S& s) { return RD_Open(s.port, 9600, 0); }},
    {"RD_Open_PID", "bank", [](S&) { return RD_Open_PID(0x2E8B, 0x0142); }},
    {"RD_Close", "bank", [](S&) { return RD_Close(); }, Leaves::closed},
    {"RD_DisConnect", "bank", [](S&) { return RD_DisConnect(); }, Leaves::forgotten},
    {"RD_GetDevInfo", "bank",
     [](S& s) { return RD_GetDevInfo(0, s.buffers.text(256), s.buffers.number<int>()); }},
    {"RD_Cancel", "bank", [](S&) { return RD_Cancel(); }},
    {"RD_CancelWait", "bank", [](S&) { return RD_CancelWait(); }},
    {"RD_Reset", "bank", [](S&) { return RD_Reset(); }},
    {"RD_SetBpPort", "bank", [](S&) { return RD_SetBpPort('1'); }},
    {"RD_ChangeMode", "bank", [](S&) { return RD_ChangeMode(0); }},
    {"RD_ChangeBaud", "bank",
     [](S& s) { return RD_ChangeBaud(19200, s.buffers.number<long long>()); }},
    {"RD_SetDevBaud", "bank", [](S&) { return RD_SetDevBaud(19200); }},
    {"RD_Beep", "bank", [](S&) { return RD_Beep(50, 1, 1); }},
    {"RD_SetSlot", "bank",
     [](S&) {
         RD_SetSlot(0);
         return 0;
     }},
    {"RD_GetDevSn", "bank",
     [](S& s) { return RD_GetDevSn(s.buffers.text(33), s.buffers.number<int>()); }},
    {"RD_SetDevSn", "bank", [](S& s) { return RD_SetDevSn(s.buffers.copy("DR1"), 3); }},
    {"RD_GetErrorCode", "bank", [](S&) { return RD_GetErrorCode(0); }},
    {"RD_GetErrInfo", "bank",
     [](S& s) { return RD_GetErrInfo(-1000, 0, s.buffers.text(56), s.buffers.number<int>()); }},
    {"RD_ResetMsr", "bank", [](S&) { return RD_ResetMsr(); }},
};

}  // namespace

std::span<const Call> connection_calls() {
    return calls;
}

std::vector<Call> all_calls() {
    std::vector<Call> all;
    for (const auto family : {connection_calls(), card_calls(), payment_calls(), module_calls(),
                              field_calls(), terminal_calls()})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

}  // namespace robustness
