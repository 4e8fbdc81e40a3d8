// What hosts do wrong: null pointers, contexts that are not open, closing twice. None of it reaches
// the reader.
#include <deskreader.h>

#include <functional>

#include "kit/scratch.h"
#include "robustness/bench.h"
#include "robustness/guarded.h"

namespace {

using kit::Link;
using namespace robustness;

// A call with `which` of its pointers missing, counted from 0.
class Arguments {
  public:
    Arguments(GuardedBuffers& buffers, int missing) : buffers_(buffers), missing_(missing) {}

    unsigned char* bytes(std::size_t size) { return next() ? nullptr : buffers_.bytes(size); }
    char* text(std::size_t size) { return next() ? nullptr : buffers_.text(size); }
    const char* copy(const char* content) { return next() ? nullptr : buffers_.copy(content); }
    template <class Number = int>
    Number* number(Number value = {}) {
        return next() ? nullptr : buffers_.number<Number>(value);
    }

  private:
    bool next() { return missing_ == at_++; }

    GuardedBuffers& buffers_;
    int missing_;
    int at_ = 0;
};

struct NullRow {
    const char* name;
    int pointers;
    int expected;
    int (*call)(Arguments&);
};

using A = Arguments;
constexpr int api = -1007;
constexpr int low = -22;
constexpr int ms = 100;

// The order in which arguments are taken from A is not the one of the parameters; it does not
// matter, as each is left out once.
constexpr NullRow rows[] = {
    {"RD_InitConnect", 2, api,
     [](A& a) { return RD_InitConnect(0, 9600, 0, 0, 0, a.text(256), a.number()); }},
    {"RD_InitConnect_PID", 2, api,
     [](A& a) { return RD_InitConnect_PID(0x2E8B, 0x0142, 0, a.text(256), a.number()); }},
    {"RD_GetDevInfo", 2, api, [](A& a) { return RD_GetDevInfo(0, a.text(256), a.number()); }},
    {"RD_ChangeBaud", 1, api, [](A& a) { return RD_ChangeBaud(9600, a.number<long long>()); }},
    {"RD_GetDevSn", 2, api, [](A& a) { return RD_GetDevSn(a.text(33), a.number()); }},
    {"RD_SetDevSn", 1, api, [](A& a) { return RD_SetDevSn(a.copy("1"), 1); }},
    {"RD_GetErrInfo", 2, api,
     [](A& a) { return RD_GetErrInfo(-1000, 0, a.text(56), a.number()); }},
    {"RD_IcPowerOn", 3, api,
     [](A& a) { return RD_IcPowerOn(0, 512, a.text(512), a.number(), a.number(), 1); }},
    {"RD_IcAPDU", 3, api,
     [](A& a) { return RD_IcAPDU(0, a.copy("00"), 2, 0, a.text(2048), a.number()); }},
    {"RD_CardDetect", 1, api, [](A& a) { return RD_CardDetect(a.number()); }},
    {"RD_ICGetInfo", 2, api,
     [](A& a) { return RD_ICGetInfo(0, a.copy("A"), 0, a.text(3627), 1); }},
    {"RD_ICGetDetail", 1, api, [](A& a) { return RD_ICGetDetail(0, 0, a.text(4102), 1); }},
    {"RD_ICGetCircllog", 1, api, [](A& a) { return RD_ICGetCircllog(0, 0, a.text(4102), 1); }},
    {"RD_ICGenARQC", 3, api,
     [](A& a) { return RD_ICGenARQC(0, a.copy("x"), 2400, a.text(2400), a.number(), 1); }},
    {"RD_ICExeScript_TC", 2, api,
     [](A& a) { return RD_ICExeScript_TC(0, "x", "91", 17, a.text(17), 0, a.text(1024)); }},
    {"RD_ICExeScript", 1, api,
     [](A& a) { return RD_ICExeScript(0, "x", "91", 0, a.text(17)); }},
    {"RD_SSCReadInfo", 1, api, [](A& a) { return RD_SSCReadInfo(0, a.text(1300), 1); }},
    {"RD_ReadMagCard", 6, api,
     [](A& a) {
         return RD_ReadMagCard(0, 123, 9, a.text(9), a.number(), 9, a.text(9), a.number(), 9,
                               a.text(9), a.number(), 1);
     }},
    {"RD_GetMagCardNo", 2, api,
     [](A& a) { return RD_GetMagCardNo(0, 2, 0, a.text(256), a.number(), 1); }},
    {"RD_M1Powerup", 2, api, [](A& a) { return RD_M1Powerup(512, a.text(512), a.number(), 1); }},
    {"RD_M1Verify", 1, api, [](A& a) { return RD_M1Verify(1, 0, a.copy("A0A1A2A3A4A5")); }},
    {"RD_M1ReadBlock", 1, api, [](A& a) { return RD_M1ReadBlock(1, 32, a.text(32)); }},
    {"RD_M1Read", 1, api, [](A& a) { return RD_M1Read(1, 8, a.text(8)); }},
    {"RD_M1WriteBlock", 1, api, [](A& a) { return RD_M1WriteBlock(1, a.copy("00")); }},
    {"RD_M1Write", 1, api, [](A& a) { return RD_M1Write(1, a.copy("00000000")); }},
    {"RD_M1Increment", 1, api, [](A& a) { return RD_M1Increment(1, a.copy("00000000")); }},
    {"RD_M1Decrement", 1, api, [](A& a) { return RD_M1Decrement(1, a.copy("00000000")); }},
    {"RD_ReadIdInfo", 2, api,
     [](A& a) {
         return RD_ReadIdInfo(nullptr, 0, a.text(544), a.number(), nullptr, 0, nullptr, nullptr, 1);
     }},
    {"RD_ReadIdInfo_Pic", 2, api,
     [](A& a) { return RD_ReadIdInfo_Pic(nullptr, 0, a.text(544), a.number(), 1); }},
    {"RD_ReadIdInfo_Pic_FB", 2, api,
     [](A& a) {
         return RD_ReadIdInfo_Pic_FB(nullptr, 0, a.text(544), a.number(), nullptr, nullptr, 1);
     }},
    {"RD_ICGetInfo_KP", 3, api,
     [](A& a) {
         return RD_ICGetInfo_KP(a.number(), nullptr, a.copy("A"), 0, a.text(3109), 1);
     }},
    {"RD_ICGenARQC_KP", 4, api,
     [](A& a) {
         return RD_ICGenARQC_KP(a.number(), nullptr, a.copy("x"), 4000, a.text(4000), 1,
                                a.text(1025));
     }},
    {"RD_ICExeScript_KP", 3, api,
     [](A& a) {
         return RD_ICExeScript_KP(0, "x", "91", 17, a.text(17), 0, a.text(1024), 1, a.bytes(1));
     }},
    {"RD_ICGetDetail_KP", 2, api,
     [](A& a) { return RD_ICGetDetail_KP(a.number(), nullptr, 0, a.text(4102), 1); }},
    {"RD_ReadIdInfo_Pic_KP", 1, api,
     [](A& a) {
         return RD_ReadIdInfo_Pic_KP(nullptr, nullptr, nullptr, nullptr, 9, a.text(9), nullptr, 1);
     }},

    {"IC_PowerOn", 2, low, [](A& a) { return IC_PowerOn(&context, a.bytes(256), a.number(), ms); }},
    {"IC_RFPowerOn", 2, low,
     [](A& a) { return IC_RFPowerOn(&context, a.bytes(256), a.number(), ms); }},
    {"IC_APDU", 3, low,
     [](A& a) { return IC_APDU(&context, a.bytes(2), 2, a.bytes(1024), a.number(), ms); }},
    {"IC_RFAPDU", 3, low,
     [](A& a) { return IC_RFAPDU(&context, a.bytes(2), 2, a.bytes(1024), a.number(), ms); }},
    {"IC_GetDevInfo", 2, low,
     [](A& a) { return IC_GetDevInfo(&context, a.bytes(256), a.number(), ms); }},
    {"IC_CardDetect", 1, low, [](A& a) { return IC_CardDetect(&context, 1, a.number(), ms); }},
    {"IC_GetDevAllInfo", 2, low,
     [](A& a) { return IC_GetDevAllInfo(&context, a.bytes(256), a.number(), ms); }},
    {"IC_SetDevSn", 1, low, [](A& a) { return IC_SetDevSn(&context, a.bytes(2), 2, ms); }},
    {"PBOC_IcAPDU", 3, low,
     [](A& a) { return PBOC_IcAPDU(&context, 0, a.bytes(5), 5, a.bytes(512), a.number()); }},
    {"PBOC_SelectPSE", 3, low,
     [](A& a) { return PBOC_SelectPSE(&context, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_ReadRecord", 2, low,
     [](A& a) { return PBOC_ReadRecord(&context, 0, 1, 1, a.bytes(512), a.number()); }},
    {"PBOC_GetAID", 3, low,
     [](A& a) { return PBOC_GetAID(&context, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_SelectAID", 3, low,
     [](A& a) { return PBOC_SelectAID(&context, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_SelectFile", 3, low,
     [](A& a) { return PBOC_SelectFile(&context, 0, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_GetProcOptions", 5, low,
     [](A& a) {
         return PBOC_GetProcOptions(&context, 0, a.bytes(1), 1, a.bytes(512), a.number(),
                                    a.bytes(512), a.number());
     }},
    {"PBOC_GetAppData", 3, low,
     [](A& a) { return PBOC_GetAppData(&context, 0, a.bytes(4), 4, a.bytes(8000), a.number()); }},
    {"PBOC_GetData", 3, low,
     [](A& a) { return PBOC_GetData(&context, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_GenerateAC", 3, low,
     [](A& a) { return PBOC_GenerateAC(&context, 0, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_ExternalAuth", 1, low, [](A& a) { return PBOC_ExternalAuth(&context, 0, a.bytes(1), 1); }},
    {"PBOC_ExternalAuth_Sh", 1, low,
     [](A& a) { return PBOC_ExternalAuth_Sh(&context, 0, a.bytes(1), 1); }},
    {"PBOC_ExeScript", 1, low, [](A& a) { return PBOC_ExeScript(&context, 0, a.bytes(1), 1); }},
    {"PBOC_DeliveryKey", 1, low,
     [](A& a) { return PBOC_DeliveryKey(&context, 0, 0, 0, a.bytes(1), 1); }},
    {"PBOC_CryptData", 3, low,
     [](A& a) { return PBOC_CryptData(&context, 0, 0, a.bytes(1), 1, a.bytes(512), a.number()); }},
    {"PBOC_ChangePin", 1, low, [](A& a) { return PBOC_ChangePin(&context, 0, 0, a.bytes(1), 1); }},
    {"PBOC_GetTagValue", 4, low,
     [](A& a) { return PBOC_GetTagValue(a.bytes(1), 1, a.bytes(8), 8, a.bytes(8), a.number()); }},
    {"PBOC_SetTagValue", 3, low,
     [](A& a) { return PBOC_SetTagValue(a.bytes(1), 1, a.bytes(8), 8, a.bytes(1), 1); }},
    {"PBOC_SetTxDataTagValue", 2, low,
     [](A& a) { return PBOC_SetTxDataTagValue(a.bytes(1), 1, a.bytes(1), 1); }},
    {"PBOC_SetAppInitDataTagValue", 2, low,
     [](A& a) { return PBOC_SetAppInitDataTagValue(a.bytes(1), 1, a.bytes(1), 1); }},
    {"PBOC_GetTagInDOL", 4, low,
     [](A& a) { return PBOC_GetTagInDOL(a.bytes(3), 3, a.bytes(2), a.number(), a.number()); }},
    {"PBOC_BuildDOL", 3, low,
     [](A& a) { return PBOC_BuildDOL(&context, 0, a.bytes(3), 3, a.bytes(30), a.number()); }},
    {"PBOC_GetSimpTagValue", 4, low,
     [](A& a) {
         return PBOC_GetSimpTagValue(a.copy("P"), 1, a.copy("P000"), 4, a.text(512), a.number());
     }},
    {"PBOC_BuildARQCBack", 3, low,
     [](A& a) { return PBOC_BuildARQCBack(a.bytes(1), 1, a.bytes(1200), a.number()); }},
    {"EPED_ReadBinary", 2, low,
     [](A& a) { return EPED_ReadBinary(&context, 0, 1, 0, a.bytes(512), a.number()); }},
    {"EPED_GetBalance", 2, low,
     [](A& a) { return EPED_GetBalance(&context, 0, 1, a.bytes(512), a.number()); }},
    {"EPED_Verify", 1, low, [](A& a) { return EPED_Verify(&context, 0, a.bytes(2), 2); }},
    {"EPED_GetRandom", 2, low,
     [](A& a) { return EPED_GetRandom(&context, 0, a.bytes(512), a.number(8)); }},
    {"EPED_UpdateBinary", 1, low,
     [](A& a) { return EPED_UpdateBinary(&context, 0, 1, 0, a.bytes(2), 2); }},
    {"EPED_InitForLoad", 3, low,
     [](A& a) { return EPED_InitForLoad(&context, 0, 1, a.text(11), a.bytes(512), a.number()); }},
    {"EPED_Load", 2, low,
     [](A& a) { return EPED_Load(&context, 0, nullptr, a.bytes(512), a.number()); }},
    {"EPED_InitForPurchase", 2, low,
     [](A& a) {
         return EPED_InitForPurchase(&context, 0, 1, nullptr, 0, a.bytes(512), a.number());
     }},
    {"EPED_Purchase", 3, low,
     [](A& a) { return EPED_Purchase(&context, 0, 0, a.text(15), 0, a.bytes(512), a.number()); }},
    {"MSR_ReadTrack", 3, low,
     [](A& a) {
         return MSR_ReadTrack(&context, 0, 123, 9, a.text(9), 9, a.text(9), 9, a.text(9), ms);
     }},
    {"MSR_WriteTrack", 2, low,
     [](A& a) { return MSR_WriteTrack(&context, 0, 23, a.copy("1"), a.copy("2"), ms); }},
    {"MSR_GetCardNo", 2, low, [](A& a) { return MSR_GetCardNo(0, a.copy("1="), a.text(3)); }},
    {"M1_PowerOn", 2, low, [](A& a) { return M1_PowerOn(&context, a.bytes(256), a.number(), ms); }},
    {"M1_Verify", 1, low, [](A& a) { return M1_Verify(&context, 1, 0, a.bytes(7), ms); }},
    {"M1_ReadBlock", 2, low,
     [](A& a) { return M1_ReadBlock(&context, 1, a.bytes(1024), a.number(), ms); }},
    {"M1_ReadValue", 2, low,
     [](A& a) { return M1_ReadValue(&context, 1, a.bytes(1024), a.number(), ms); }},
    {"M1_WriteBlock", 1, low, [](A& a) { return M1_WriteBlock(&context, 1, a.bytes(16), 16, ms); }},
    {"M1_WriteValue", 1, low, [](A& a) { return M1_WriteValue(&context, 1, a.bytes(4), 4, ms); }},
    {"M1_Increment", 1, low, [](A& a) { return M1_Increment(&context, 1, a.bytes(4), 4, ms); }},
    {"M1_Decrement", 1, low, [](A& a) { return M1_Decrement(&context, 1, a.bytes(4), 4, ms); }},
    {"ID_ReadCard", 2, low,
     [](A& a) { return ID_ReadCard(&context, a.bytes(4096), a.number(), ms); }},
    {"ID_ReadCard_FP", 2, low,
     [](A& a) { return ID_ReadCard_FP(&context, a.bytes(4096), a.number(), ms); }},
    {"ID_GetName", 2, low, [](A& a) { return ID_GetName(a.bytes(256), a.text(62)); }},
    {"ID_GetBmpFile", 2, low, [](A& a) { return ID_GetBmpFile(a.bytes(1024), a.copy("x")); }},
    {"ID_MakeCmdPackage", 2, low,
     [](A& a) { return ID_MakeCmdPackage(a.bytes(2), 2, a.bytes(12), 12); }},
    {"ID_SendCmd", 2, low,
     [](A& a) { return ID_SendCmd(&context, a.bytes(2), 2, a.bytes(99), 99, ms); }},
    {"VexoIc_SendCmd", 2, low,
     [](A& a) { return VexoIc_SendCmd(&context, a.bytes(2), 2, a.bytes(256), 256, ms); }},
    {"Union_SendCmd", 2, low,
     [](A& a) { return Union_SendCmd(&context, a.bytes(2), 2, a.bytes(256), 256, ms); }},
    {"RAWL_SendCmd", 2, low,
     [](A& a) { return RAWL_SendCmd(&context, a.bytes(2), 2, a.bytes(9), 9, 2, ms); }},
    {"RAWC_SendCmd", 3, low,
     [](A& a) { return RAWC_SendCmd(&context, a.bytes(2), 2, a.bytes(9), 9, a.copy("?\x1C"), ms); }},
    {"COMM_Read", 1, low, [](A& a) { return COMM_Read(&context, a.bytes(9), 9, ms, nullptr); }},
    {"COMM_Write", 1, low, [](A& a) { return COMM_Write(&context, a.bytes(9), 9, ms); }},
    {"GSetComName", 1, low, [](A& a) { return GSetComName(15, a.copy("")); }},
    {"hid_write_modeid", 1, low,
     [](A& a) { return hid_write_modeid(&context, a.bytes(1), 1, 0); }},
    {"hid_read_modeid", 1, low, [](A& a) { return hid_read_modeid(&context, a.bytes(9), 9, 1); }},
    {"HID_write", 1, low, [](A& a) { return HID_write(&context, a.bytes(9), 9, 1); }},
    {"HID_read", 1, low, [](A& a) { return HID_read(&context, a.bytes(9), 9, 1, nullptr); }},
};

class HostMistakes : public testing::TestWithParam<Link> {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0); }
    void TearDown() override { RD_Close(); }

    kit::ConfigFile config_{"[devcfg]\nIccmd=0\n"};
    kit::LogFile log_{0};
    Bench bench_{GetParam()};
    GuardedBuffers buffers_;
};

INSTANTIATE_TEST_SUITE_P(Links, HostMistakes, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(HostMistakes, NullPointersAreRefusedWithoutTraffic) {
    const int before = bench_.requests();
    for (const NullRow& row : rows) {
        for (int missing = 0; missing < row.pointers; ++missing) {
            Arguments arguments(buffers_, missing);
            EXPECT_EQ(row.call(arguments), row.expected)
                << row.name << ", pointer " << missing << " of those in the row";
            EXPECT_TRUE(buffers_.reset());
        }
    }
    EXPECT_EQ(bench_.requests(), before);
    EXPECT_EQ(context.nRefCnt, 1u);
}

TEST_P(HostMistakes, PredicatesAndEndTestsSayNoToNull) {
    for (const auto predicate :
         {IsHexDataValue, IsTagListValue, IsPbocDataValue, IsNumDataValue, IsTrackDataValue})
        EXPECT_EQ(predicate(nullptr), 0);
    for (const auto is_end : {MsrPacketIsEnd, MsrWriteIsEnd, VexoIdPacketIsEnd})
        EXPECT_EQ(is_end(nullptr, 9), 0);
}

TEST_P(HostMistakes, WithoutInformationNoBufferIsNeeded) {
    EXPECT_EQ(RD_GetDevInfo(1, nullptr, nullptr), 0);
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(RD_InitConnect(bench_.port(), 9600, 0, 1, 0, nullptr, nullptr), 0);
}

// Terminal functions, before anything is opened: -1, the terminal number of -1007.
TEST_P(HostMistakes, TerminalFunctionsRefuseNullPointers) {
    ASSERT_EQ(RD_Close(), 0);
    const int opens = kit::hid_bus::counts().opens;
    const std::string name = bench_.port_name();
    const std::function<int(A&)> calls[] = {
        [](A& a) {
            return IC_GetInfo(a.copy("USB"), nullptr, 9600, 1, a.number(1), a.copy(""), a.copy("A"),
                              a.number(), a.text(3109));
        },
        [](A& a) {
            return IC_GenARQC(a.copy("USB"), nullptr, 9600, 1, a.number(1), nullptr, a.copy("x"),
                              a.number(4000), a.text(4000), a.text(1025));
        },
        [](A& a) {
            return IC_CtlScriptData(a.copy("USB"), nullptr, 9600, 1, a.number(1), a.copy("x"),
                                    a.copy("91"), a.number(), a.text(1025), a.text(1024),
                                    a.copy("8D"));
        },
        [](A& a) {
            return IC_GetTranDeta(a.copy("USB"), nullptr, 9600, 1, a.number(1), nullptr, a.number(),
                                  a.text(4102));
        },
        [](A& a) {
            return MS_ReadCard(a.copy("USB"), nullptr, 9600, 1, 23, 0, a.text(512), a.text(512));
        },
        [](A& a) {
            return MS_WriteCard(a.copy("USB"), nullptr, 9600, 1, 23, 0, a.copy("1"), a.copy("2"));
        },
        [](A& a) {
            return ID_GetInfo(a.copy("USB"), nullptr, 9600, 1, nullptr, nullptr, nullptr, nullptr,
                              a.text(4096));
        },
    };
    constexpr int pointers[] = {6, 6, 8, 4, 3, 3, 2};
    for (std::size_t i = 0; i < std::size(calls); ++i) {
        for (int missing = 0; missing < pointers[i]; ++missing) {
            Arguments arguments(buffers_, missing);
            EXPECT_EQ(calls[i](arguments), -1) << i << ", " << missing;
            EXPECT_TRUE(buffers_.reset());
        }
    }
    EXPECT_EQ(kit::hid_bus::counts().opens, opens);
    EXPECT_EQ(bench_.requests(), 0);
}

// A null context is one that cannot be opened.
TEST_P(HostMistakes, ANullContextIsRefused) {
    unsigned char out[4096];
    int length = 0;
    const unsigned char command[] = {0x10, 0xFF};
    EXPECT_EQ(COMM_Open(nullptr), -19);
    EXPECT_EQ(COMM_Read(nullptr, out, 1, 1, nullptr), -22);
    EXPECT_EQ(COMM_Write(nullptr, command, 1, 1), -22);
    EXPECT_EQ(COMM_Close(nullptr), -22);
    EXPECT_EQ(_COMM_ValidateParam(nullptr), 0);
    EXPECT_EQ(Ovan_Open(nullptr, 0, 9600, 0), -22);
    EXPECT_EQ(Ovan_Open_PID(nullptr, 0x2E8B, 0x0142), -22);
    EXPECT_EQ(Ovan_Close(nullptr), -22);
    EXPECT_EQ(Ovan_SetBpPort(nullptr, '1'), -22);
    EXPECT_EQ(Ovan_ChangeMode(nullptr, 2), -22);
    EXPECT_EQ(Ovan_Reset(nullptr, ms), -19);
    EXPECT_EQ(Ovan_ReadData(nullptr, ms), -19);
    EXPECT_EQ(VexoIc_SendCmd(nullptr, command, 2, out, 256, ms), -19);
    EXPECT_EQ(Union_SendCmd(nullptr, command, 2, out, 256, ms), -19);
    EXPECT_EQ(ID_SendCmd(nullptr, command, 2, out, 256, ms), -19);
    EXPECT_EQ(IC_PowerOn(nullptr, out, &length, ms), -19);
    EXPECT_EQ(PBOC_ReadRecord(nullptr, 0, 1, 1, out, &length), -19);
    EXPECT_EQ(EPED_GetBalance(nullptr, 0, 1, out, &length), -19);
    EXPECT_EQ(M1_PowerOn(nullptr, out, &length, ms), -22);
    EXPECT_EQ(MSR_Reset(nullptr, ms), 0);
    EXPECT_EQ(ID_FindCard(nullptr, ms), -19);
    EXPECT_EQ(HID_open(nullptr), reinterpret_cast<void*>(-22L));
    EXPECT_EQ(COM_open(nullptr), reinterpret_cast<void*>(-22L));
    EXPECT_EQ(bench_.requests(), 0);
}

// The calls of a host that did not look whether it is connected.
void expect_not_connected() {
    char text[4102] = "";
    unsigned char out[512];
    int length = 0;
    int kind = 0;
    EXPECT_EQ(RD_GetDevInfo(0, text, &length), -1003);
    EXPECT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), -1003);
    EXPECT_EQ(RD_IcAPDU(0, "00", 2, 0, text, &length), -1003);
    EXPECT_EQ(RD_IcPowerOff(0), -1003);
    EXPECT_EQ(RD_ICGetInfo(0, "A", 0, text, 1), -1003);
    EXPECT_EQ(RD_ICGetDetail(0, 0, text, 1), -1003);
    EXPECT_EQ(RD_SSCReadInfo(0, text, 1), -1003);
    EXPECT_EQ(RD_M1Powerup(512, text, &length, 1), -1003);
    EXPECT_EQ(RD_Reset(), -1003);
    EXPECT_EQ(RD_GetDevSn(text, &length), -19);
    EXPECT_EQ(IC_PowerOn(&context, out, &length, ms), -19);
    EXPECT_EQ(PBOC_ReadRecord(&context, 0, 1, 1, out, &length), -19);
    EXPECT_EQ(COMM_Read(&context, out, 1, 1, nullptr), -2);
    EXPECT_EQ(COMM_Write(&context, out, 1, 1), -2);
    EXPECT_EQ(context.nRefCnt, 0u);
}

TEST_P(HostMistakes, AClosedContextIsNotConnected) {
    ASSERT_EQ(RD_Close(), 0);
    expect_not_connected();
}

TEST_P(HostMistakes, SoIsOneThatWasNeverOpened) {
    ASSERT_EQ(RD_DisConnect(), 0);
    DC_Init(&context);
    expect_not_connected();
}

TEST_P(HostMistakes, ClosingTwiceIsHarmless) {
    const int before = open_descriptors();
    EXPECT_EQ(RD_Close(), 0);
    const int closes = kit::hid_bus::counts().closes;
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(RD_Close(), 0);
        EXPECT_EQ(Ovan_Close(&context), 0);
        EXPECT_EQ(COMM_Close(&context), 0);
        EXPECT_EQ(RD_DisConnect(), 0);
    }
    EXPECT_EQ(kit::hid_bus::counts().closes, closes);
    EXPECT_EQ(open_descriptors(), before - (GetParam() == Link::serial ? 1 : 0));
    EXPECT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
    char info[256] = "";
    int length = 0;
    EXPECT_EQ(RD_GetDevInfo(0, info, &length), 0);
}

}  // namespace
