// What hosts do in several calls, where the later ones use what the earlier ones left or gave out.
#include <deskreader.h>

#include <cstring>

#include "flow.h"

namespace fuzzing {
namespace {

using robustness::Call;
using robustness::Leaves;
using S = robustness::Surroundings;

constexpr char transaction[] = "P012000000001234R0040156S006261121T00200U006101112V004SHOP";
constexpr char issuer_answer[] = "910A0011223344556677303072099F1804000000018600";
constexpr int rate = 9600;
constexpr int limit_ms = 1000;
constexpr unsigned char sector_key[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x00};

int complete(S& s, int kind) {
    auto& b = s.buffers;
    return RD_ICExeScript_TC(kind, b.copy(transaction), b.copy(issuer_answer), 17, b.text(17), 0,
                             b.text(1024));
}

int pay(S& s) {
    auto& b = s.buffers;
    int* kind = b.number<int>();
    RD_ICGenARQC(2, b.copy(transaction), 2400, b.text(2400), kind, 1);
    return complete(s, *kind);
}

int pay_offline(S& s) {
    auto& b = s.buffers;
    int* kind = b.number<int>();
    RD_ICGenARQC(2, b.copy(transaction), 2400, b.text(2400), kind, 1);
    return RD_ICExeScript(*kind, b.copy(transaction), b.copy(issuer_answer), 0, b.text(17));
}

int pay_with_kept_data(S& s) {
    auto& b = s.buffers;
    int* kind = b.number<int>(2);
    RD_ICGenARQC_KP(kind, b.copy(""), b.copy(transaction), 4000, b.text(4000), 1, b.text(1025));
    unsigned char* data = b.bytes(sizeof g_IccAppData);
    std::memcpy(data, g_IccAppData, sizeof g_IccAppData);
    return RD_ICExeScript_KP(*kind, b.copy(transaction), b.copy(issuer_answer), 17, b.text(17), 0,
                             b.text(1024), static_cast<int>(sizeof g_IccAppData), data);
}

int pay_at_terminal(S& s) {
    auto& b = s.buffers;
    int* kind = b.number<int>(3);
    char* data = b.text(1025);
    IC_GenARQC(s.name, nullptr, rate, 1, kind, b.copy(""), b.copy(transaction), b.number<int>(4000),
               b.text(4000), data);
    const int result =
        IC_CtlScriptData(s.name, nullptr, rate, 1, kind, b.copy(transaction), b.copy(issuer_answer),
                         b.number<int>(), b.text(1025), b.text(1024), data);
    return result;
}

int talk_to_card(S& s) {
    auto& b = s.buffers;
    RD_IcPowerOn(2, 512, b.text(512), b.number<int>(), b.number<int>(), 1);
    for (const char* command : {"00A404000E315041592E5359532E4444463031", "00B2010C00"})
        RD_IcAPDU(2, b.copy(command), static_cast<int>(std::strlen(command)), 0, b.text(2048),
                  b.number<int>());
    return RD_IcPowerOff(2);
}

int use_sector(S& s) {
    auto& b = s.buffers;
    M1_PowerOn(&context, b.bytes(256), b.number<int>(), limit_ms);
    M1_Verify(&context, 2, 0, sector_key, limit_ms);
    RD_M1ReadBlock(4, 33, b.text(33));
    RD_M1Increment(5, b.copy("01000000"));
    RD_M1Read(5, 9, b.text(9));
    return RD_M1Powerdown();
}

int read_identity(S& s) {
    auto& b = s.buffers;
    Ovan_ChangeMode(&context, 2);
    ID_FindCard(&context, limit_ms);
    ID_SelectCard(&context, limit_ms);
    unsigned char* record = b.bytes(4096);
    const int result = ID_ReadCard_FP(&context, record, b.number<int>(), limit_ms);
    ID_GetAddress(record, b.text(142));
    ID_GetEnglishName_Foreign(record, b.text(242));
    ID_GetBmpFile(record + 256, b.copy("photo.bmp"));
    return result;
}

int read_identity_with_photo(S& s) {
    auto& b = s.buffers;
    return RD_ReadIdInfo(b.copy("photos"), 0, b.text(544), b.number<int>(), b.number<int>(), 0,
                         b.bytes(1), b.number<int>(), 1);
}

int read_identity_at_terminal(S& s) {
    auto& b = s.buffers;
    return ID_GetInfo(s.name, nullptr, rate, 1, b.copy(".\\photo.jpg"), nullptr, nullptr, nullptr,
                      b.text(4096));
}

int look_after_device(S& s) {
    auto& b = s.buffers;
    IC_Beep(&context, 100, 1, 1, limit_ms);
    RD_SetDevSn(b.copy("DR2026000001"), 12);
    RD_GetDevSn(b.text(33), b.number<int>());
    Ovan_ReadData(&context, limit_ms);
    RD_ChangeMode(1);
    RD_ChangeMode(0);
    unsigned char* reply = b.bytes(1024);
    constexpr unsigned char command[] = {0x1B, 'F', ']'};
    RAWL_SendCmd(&context, command, sizeof command, reply, 1024, 2, limit_ms);
    RAWC_SendCmd(&context, command, sizeof command, reply, 1024, "rp/q", limit_ms);
    return RD_Reset();
}

constexpr Call calls[] = {
    {"pay", "bank", pay},
    {"pay offline", "bank", pay_offline},
    {"pay with kept data", "bank", pay_with_kept_data},
    {"pay at terminal", "bank", pay_at_terminal, Leaves::opened_and_closed, true},
    {"talk to card", "bank", talk_to_card},
    {"use sector", "locker", use_sector},
    {"read identity", "resident", read_identity},
    {"read identity with photo", "resident", read_identity_with_photo},
    {"read identity at terminal", "resident", read_identity_at_terminal, Leaves::opened_and_closed,
     true},
    {"look after device", "bank", look_after_device},
};

}  // namespace

std::span<const Call> sequences() {
    return calls;
}

}  // namespace fuzzing
