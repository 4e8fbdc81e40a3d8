#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

constexpr char transaction[] = "P012000000000012R0040156S006260101T00200U006120000";
constexpr char issuer_answer[] =
    "910A00112233445566773030"
    "7206"
    "8604"
    "84160000";

int read_tracks(S& s, int selection) {
    auto& b = s.buffers;
    return RD_ReadMagCard(0, selection, 256, b.text(256), b.number<int>(), 256, b.text(256),
                          b.number<int>(), 256, b.text(256), b.number<int>(), 1);
}

// The text of issuer_answer fits only while these hold.
static_assert(sizeof issuer_answer == 2 * (2 + 10 + 2 + 6) + 1);

constexpr Call calls[] = {
    {"RD_IcPowerOn", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_IcPowerOn(2, 512, b.text(512), b.number<int>(), b.number<int>(), 1);
     }},
    {"RD_IcPowerOff", "bank", [](S&) { return RD_IcPowerOff(2); }},
    {"RD_IcAPDU", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_IcAPDU(2, b.copy("00A404000E315041592E5359532E4444463031"), 38, 0, b.text(2048),
                          b.number<int>());
     }},
    {"RD_CardDetect", "bank", [](S& s) { return RD_CardDetect(s.buffers.number<int>()); }},
    {"RD_ICGetInfo", "bank",
     [](S& s) {
         return RD_ICGetInfo(0, s.buffers.copy("ABCDEFGHIJKLMN"), 0, s.buffers.text(3627), 1);
     }},
    {"RD_ICGetDetail", "bank", [](S& s) { return RD_ICGetDetail(0, 0, s.buffers.text(4102), 1); }},
    {"RD_ICGetCircllog", "bank",
     [](S& s) { return RD_ICGetCircllog(0, 0, s.buffers.text(4102), 1); }},
    {"RD_ICGenARQC", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICGenARQC(0, b.copy(transaction), 2400, b.text(2400), b.number<int>(), 1);
     }},
    {"RD_ICExeScript_TC", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICExeScript_TC(0, b.copy(transaction), b.copy(issuer_answer), 17, b.text(17), 0,
                                  b.text(1024));
     }},
    {"RD_ICExeScript", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICExeScript(0, b.copy(transaction), b.copy(issuer_answer), 0, b.text(17));
     }},
    {"RD_SSCReadInfo", "citizen", [](S& s) { return RD_SSCReadInfo(0, s.buffers.text(1300), 1); }},
    {"RD_ReadMagCard", "loyalty", [](S& s) { return read_tracks(s, 23); }},
    {"RD_ReadMagCard (123)", "loyalty", [](S& s) { return read_tracks(s, 123); }},
    {"RD_ReadMagCard (2)", "loyalty", [](S& s) { return read_tracks(s, 2); }},
    {"RD_WriteMagCard", "loyalty",
     [](S& s) {
         auto& b = s.buffers;
         return RD_WriteMagCard(0, nullptr, 0, b.copy("9999=1"), 0, b.copy("9'1"), 0, 1);
     }},
    {"RD_GetMagCardNo", "loyalty",
     [](S& s) {
         return RD_GetMagCardNo(0, 23, 2, s.buffers.text(256), s.buffers.number<int>(), 1);
     }},
    {"RD_M1Powerup", "locker",
     [](S& s) { return RD_M1Powerup(512, s.buffers.text(512), s.buffers.number<int>(), 1); }},
    {"RD_M1Powerdown", "locker", [](S&) { return RD_M1Powerdown(); }},
    {"RD_M1Verify", "locker",
     [](S& s) { return RD_M1Verify(2, 0, s.buffers.copy("A0A1A2A3A4A5")); }},
    {"RD_M1ReadBlock", "locker", [](S& s) { return RD_M1ReadBlock(4, 32, s.buffers.text(32)); }},
    {"RD_M1WriteBlock", "locker",
     [](S& s) { return RD_M1WriteBlock(4, s.buffers.copy("00112233445566778899AABBCCDDEEFF")); }},
    {"RD_M1Read", "locker", [](S& s) { return RD_M1Read(5, 8, s.buffers.text(8)); }},
    {"RD_M1Write", "locker", [](S& s) { return RD_M1Write(5, s.buffers.copy("01000000")); }},
    {"RD_M1Increment", "locker",
     [](S& s) { return RD_M1Increment(5, s.buffers.copy("01000000")); }},
    {"RD_M1Decrement", "locker",
     [](S& s) { return RD_M1Decrement(5, s.buffers.copy("01000000")); }},
    {"RD_M1IncreaseValue", "locker", [](S&) { return RD_M1IncreaseValue(5, 1); }},
    {"RD_M1DecreaseValue", "locker", [](S&) { return RD_M1DecreaseValue(5, 1); }},
    {"RD_M0PowerOn", "locker",
     [](S& s) { return RD_M0PowerOn(512, s.buffers.text(512), s.buffers.number<int>(), 1); }},
    {"RD_M0PowerOff", "locker", [](S&) { return RD_M0PowerOff(); }},
    {"RD_M0Read", "locker", [](S& s) { return RD_M0Read(4, 4, 32, s.buffers.text(32)); }},
    {"RD_M0Write", "locker", [](S& s) { return RD_M0Write(4, s.buffers.copy("01020304")); }},
    {"RD_M0VerifyKey", "locker",
     [](S& s) { return RD_M0VerifyKey(32, s.buffers.copy("49454D4B41455242214E4143554F5946")); }},
    {"RD_M0DownKey", "locker",
     [](S& s) { return RD_M0DownKey(32, s.buffers.copy("49454D4B41455242214E4143554F5946")); }},
    {"RD_IdReset", "resident", [](S&) { return RD_IdReset(); }},
    {"RD_SetIdBaud", "resident", [](S&) { return RD_SetIdBaud(115200); }},
    {"RD_GetIdRawData", "resident", [](S&) { return RD_GetIdRawData(nullptr, nullptr, 1); }},
    {"RD_ReadIdInfo", "resident",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ReadIdInfo(b.copy(""), 0, b.text(544), b.number<int>(), b.number<int>(), 0,
                              b.bytes(1024), b.number<int>(), 1);
     }},
    {"RD_ReadIdInfo_Pic", "resident",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ReadIdInfo_Pic(b.copy("x.bmp"), 0, b.text(544), b.number<int>(), 1);
     }},
    {"RD_ReadIdInfo_Pic_FB", "resident",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ReadIdInfo_Pic_FB(b.copy("x.bmp"), 0, b.text(544), b.number<int>(), b.text(1),
                                     b.text(1), 1);
     }},
};

}  // namespace

std::span<const Call> card_calls() {
    return calls;
}

}  // namespace robustness
