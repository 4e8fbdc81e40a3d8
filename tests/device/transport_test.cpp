#include <deskreader.h>

#include "kit/conversation.h"

namespace {

using kit::hex;

int never(unsigned char*, unsigned) {
    return 0;
}

class Transport : public testing::Test {
  protected:
    void SetUp() override { DC_Init(&target_); }

    DEVCONTEXT target_;
};

TEST_F(Transport, KnowsItsAdaptersByExactName) {
    ASSERT_NE(_COMM_FindAdapter("hid"), nullptr);
    EXPECT_EQ(_COMM_FindAdapter("hid")->read, &HID_read);
    ASSERT_NE(_COMM_FindAdapter("com"), nullptr);
    EXPECT_EQ(_COMM_FindAdapter("com")->write, &COM_write);
    ASSERT_NE(_COMM_FindAdapter("END"), nullptr);
    EXPECT_EQ(_COMM_FindAdapter("END")->open, nullptr);
    for (const char* name : {"HID", "hi", "hidx", "", "usb"})
        EXPECT_EQ(_COMM_FindAdapter(name), nullptr) << name;
    EXPECT_EQ(_COMM_FindAdapter(nullptr), nullptr);
}

TEST_F(Transport, ValidatesByType) {
    DC_SetInterfaceType(&target_, "com");
    EXPECT_EQ(_COMM_ValidateParam(&target_), 1);
    EXPECT_EQ(DC_GetInterfaceOps(&target_), _COMM_FindAdapter("com"));
    DC_SetInterfaceType(&target_, "hid");
    EXPECT_EQ(_COMM_ValidateParam(&target_), 0);
    EXPECT_EQ(DC_GetInterfaceOps(&target_), _COMM_FindAdapter("hid")) << "set although invalid";
    DC_AddUsbParams(&target_, 1, 1);
    EXPECT_EQ(_COMM_ValidateParam(&target_), 1);
    DC_SetInterfaceType(&target_, "END");
    EXPECT_EQ(_COMM_ValidateParam(&target_), 0);
}

TEST_F(Transport, RefusesContextsThatCannotBeOpened) {
    EXPECT_EQ(COMM_Open(nullptr), -19);
    for (const char* type : {"", "END", "usb", "0123456789ABCDEF"}) {
        DC_SetInterfaceType(&target_, type);
        EXPECT_EQ(COMM_Open(&target_), -19) << type;
    }
    DC_SetInterfaceType(&target_, "hid");
    EXPECT_EQ(COMM_Open(&target_), -19);
    EXPECT_EQ(DC_GetInterfaceOps(&target_), _COMM_FindAdapter("hid"));
}

TEST_F(Transport, ReportsADeviceThatCannotBeOpened) {
    kit::prepare_hid(&target_);
    EXPECT_EQ(COMM_Open(&target_), -2);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
    EXPECT_EQ(target_.nRefCnt, 0u);
    EXPECT_NE(DC_GetInterfaceOps(&target_), nullptr);
    GSetComName(5, "/dev/no-such-port");
    DC_Init(&target_);
    DC_SetInterfaceType(&target_, "com");
    DC_SetCOMParams(&target_, 5, 9600);
    EXPECT_EQ(COMM_Open(&target_), -2);
}

TEST_F(Transport, OpensOnceAndCountsUsers) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    EXPECT_EQ(COMM_Open(&target_), 0);
    EXPECT_EQ(COMM_Open(&target_), 0);
    EXPECT_EQ(target_.nRefCnt, 2u);
    EXPECT_EQ(kit::hid_bus::counts().opens, 1);
    EXPECT_EQ(COMM_Close(&target_), 1);
    EXPECT_EQ(kit::hid_bus::counts().closes, 0);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(kit::hid_bus::counts().closes, 1);
}

TEST_F(Transport, ReopensAfterClosing) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(COMM_Open(&target_), 0);
        EXPECT_EQ(COMM_Close(&target_), 0);
    }
    EXPECT_EQ(kit::hid_bus::counts().opens, 3);
    EXPECT_EQ(kit::hid_bus::counts().closes, 3);
}

TEST_F(Transport, ModeIdTakesEffectWithTheNextOpen) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    DC_SetModeId(&target_, 1);
    COMM_Open(&target_);
    reader.expect_silence(1, hex("AA"));
    EXPECT_EQ(COMM_Write(&target_, hex("AA").data(), 1, 100), 1);
    DC_SetModeId(&target_, 2);
    reader.expect_silence(1, hex("BB"));
    EXPECT_EQ(COMM_Write(&target_, hex("BB").data(), 1, 100), 1);
    COMM_Open(&target_);
    reader.expect_silence(2, hex("CC"));
    EXPECT_EQ(COMM_Write(&target_, hex("CC").data(), 1, 100), 1);
    COMM_Close(&target_);
    COMM_Close(&target_);
}

TEST_F(Transport, ReadAndWriteCheckTheirArgumentsFirst) {
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Read(nullptr, &byte, 1, 1, never), -22);
    EXPECT_EQ(COMM_Read(&target_, nullptr, 1, 1, never), -22);
    EXPECT_EQ(COMM_Write(nullptr, &byte, 1, 1), -22);
    EXPECT_EQ(COMM_Write(&target_, nullptr, 1, 1), -22);
}

TEST_F(Transport, ReadAndWriteNeedAnOpenedContext) {
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), -2);
    DC_SetInterfaceType(&target_, "com");
    _COMM_ValidateParam(&target_);
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), -2);
    DC_SetDevice(&target_, &byte);
    DC_SetInterfaceOps(&target_, _COMM_FindAdapter("END"));
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), -2);
}

TEST_F(Transport, AClosedDeviceIsNotWrittenTo) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    COMM_Open(&target_);
    COMM_Close(&target_);
    EXPECT_NE(DC_GetDevice(&target_), nullptr);
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), -2);
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
}

TEST_F(Transport, ForwardsToTheOperationsOfTheContext) {
    char device = 0;
    const COMM_OPS ops{nullptr,
                       [](void*, unsigned char* buffer, unsigned length, unsigned timeout,
                          COMM_PacketIsEnd is_end) {
                           buffer[0] = static_cast<unsigned char>(length);
                           return is_end == nullptr ? static_cast<int>(timeout) : -62;
                       },
                       [](void*, const unsigned char* data, unsigned length, unsigned timeout) {
                           return static_cast<int>(data[0] + length + timeout);
                       },
                       nullptr};
    DC_SetInterfaceOps(&target_, &ops);
    DC_SetDevice(&target_, &device);
    unsigned char buffer[4] = {};
    EXPECT_EQ(COMM_Read(&target_, buffer, 4, 77, nullptr), 77);
    EXPECT_EQ(buffer[0], 4);
    EXPECT_EQ(COMM_Read(&target_, buffer, 4, 77, never), -62);
    EXPECT_EQ(COMM_Write(&target_, buffer, 4, 100), 4 + 4 + 100);
}

TEST_F(Transport, InitAndExitAreThoseOfHidapi) {
    EXPECT_EQ(COMM_Init(), 0);
    EXPECT_EQ(COMM_Exit(), 0);
    kit::hid_bus::set_library_result(-1);
    EXPECT_EQ(COMM_Init(), -1);
    EXPECT_EQ(COMM_Exit(), -1);
    EXPECT_EQ(kit::hid_bus::counts().inits, 2);
    EXPECT_EQ(kit::hid_bus::counts().exits, 2);
}

TEST_F(Transport, ACancelRaisedBeforeTheReadIsLost) {
    kit::FakeClock clock;
    kit::ScriptedHid reader(&clock);
    kit::prepare_hid(&target_);
    COMM_Open(&target_);
    COMM_cancle();
    unsigned char buffer[64];
    EXPECT_EQ(COMM_Read(&target_, buffer, sizeof buffer, 50, never), -62);
    COMM_Close(&target_);
}

TEST_F(Transport, ACancelCanBeTakenBack) {
    kit::FakeClock clock;
    kit::ScriptedHid reader(&clock);
    kit::prepare_hid(&target_);
    COMM_Open(&target_);
    const auto cancel_and_take_back = [](unsigned char*, unsigned) {
        COMM_cancle();
        COMM_notcancle();
        return 0;
    };
    unsigned char buffer[64];
    EXPECT_EQ(COMM_Read(&target_, buffer, sizeof buffer, 50, cancel_and_take_back), -62);
    COMM_Close(&target_);
}

}  // namespace
