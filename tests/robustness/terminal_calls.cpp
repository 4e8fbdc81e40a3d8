#include "robustness/calls.h"

namespace robustness {
namespace {

using S = Surroundings;

constexpr char transaction[] = "P012000000000012R0040156S006260101T00200U006120000";
constexpr char issuer_answer[] = "910A001122334455667730307206860484160000";
constexpr char application_data[] = "8D068A0295059F02";
constexpr int rate = 9600;

constexpr Call calls[] = {
    {"RD_ICGetInfo_KP", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICGetInfo_KP(b.number<int>(), b.copy(""), b.copy("ABCDEFGHIJKL"), 0,
                                b.text(3109), 1);
     }},
    {"RD_ICGenARQC_KP", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICGenARQC_KP(b.number<int>(), b.copy("A000000333010101"), b.copy(transaction),
                                4000, b.text(4000), 1, b.text(1025));
     }},
    {"RD_ICExeScript_KP", "bank",
     [](S& s) {
         auto& b = s.buffers;
         unsigned char* data = b.bytes(8);
         data[0] = 0x8D;
         data[1] = 0x02;
         data[2] = 0x8A;
         data[3] = 0x02;
         return RD_ICExeScript_KP(0, b.copy(transaction), b.copy(issuer_answer), 17, b.text(17), 0,
                                  b.text(1024), 8, data);
     }},
    {"RD_ICGetDetail_KP", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ICGetDetail_KP(b.number<int>(), b.copy(""), 0, b.text(4102), 1);
     }},
    {"RD_ReadIdInfo_Pic_KP", "resident",
     [](S& s) {
         return RD_ReadIdInfo_Pic_KP(nullptr, nullptr, nullptr, nullptr, 100, s.buffers.text(100),
                                     nullptr, 1);
     }},
    {"RD_ModifyIdPath_KP", "resident",
     [](S& s) {
         auto& b = s.buffers;
         return RD_ModifyIdPath_KP(0, b.copy("1"), b.copy("x"), b.text(1024));
     }},
    {"IC_GetInfo", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return IC_GetInfo(s.name, nullptr, rate, 1, b.number<int>(3), b.copy(""),
                           b.copy("ABCDEFGHIJKL"), b.number<int>(), b.text(3109));
     },
     Leaves::opened_and_closed, true},
    {"IC_GenARQC", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return IC_GenARQC(s.name, nullptr, rate, 1, b.number<int>(1), b.copy(""),
                           b.copy(transaction), b.number<int>(4000), b.text(4000), b.text(1025));
     },
     Leaves::opened_and_closed, true},
    {"IC_CtlScriptData", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return IC_CtlScriptData(s.name, nullptr, rate, 1, b.number<int>(1), b.copy(transaction),
                                 b.copy(issuer_answer), b.number<int>(), b.text(1025), b.text(1024),
                                 b.copy(application_data));
     },
     Leaves::opened_and_closed, true},
    {"IC_GetTranDeta", "bank",
     [](S& s) {
         auto& b = s.buffers;
         return IC_GetTranDeta(s.name, nullptr, rate, 1, b.number<int>(1), b.copy(""),
                               b.number<int>(), b.text(4102));
     },
     Leaves::opened_and_closed, true},
    {"MS_ReadCard", "loyalty",
     [](S& s) {
         auto& b = s.buffers;
         return MS_ReadCard(s.name, nullptr, rate, 1, 23, 0, b.text(512), b.text(512));
     },
     Leaves::opened_and_closed, true},
    {"MS_WriteCard", "loyalty",
     [](S& s) {
         auto& b = s.buffers;
         return MS_WriteCard(s.name, nullptr, rate, 1, 23, 0, b.copy("1=2"), b.copy("3'4"));
     },
     Leaves::opened_and_closed, true},
    {"ID_GetInfo", "resident",
     [](S& s) {
         return ID_GetInfo(s.name, nullptr, rate, 1, nullptr, nullptr, nullptr, nullptr,
                           s.buffers.text(4096));
     },
     Leaves::opened_and_closed, true},
};

}  // namespace

std::span<const Call> terminal_calls() {
    return calls;
}

}  // namespace robustness
