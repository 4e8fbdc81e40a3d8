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

    // What the bus saw since this test began.
    int opens() const { return kit::hid_bus::counts().opens - before_.opens; }
    int closes() const { return kit::hid_bus::counts().closes - before_.closes; }
    int inits() const { return kit::hid_bus::counts().inits - before_.inits; }
    int exits() const { return kit::hid_bus::counts().exits - before_.exits; }

    DEVCONTEXT target_;

  private:
    const kit::hid_bus::Counts before_ = kit::hid_bus::counts();
};

TEST_F(Transport, KnowsItsAdaptersByExactName) {
    const struct {
        const char* name;
        COMM_OPS ops;
    } rows[] = {{"hid", {HID_open, HID_read, HID_write, HID_close}},
                {"com", {COM_open, COM_read, COM_write, COM_close}},
                {"END", {nullptr, nullptr, nullptr, nullptr}}};
    for (const auto& row : rows) {
        const COMM_OPS* ops = _COMM_FindAdapter(row.name);
        ASSERT_NE(ops, nullptr) << row.name;
        EXPECT_EQ(ops->open, row.ops.open) << row.name;
        EXPECT_EQ(ops->read, row.ops.read) << row.name;
        EXPECT_EQ(ops->write, row.ops.write) << row.name;
        EXPECT_EQ(ops->close, row.ops.close) << row.name;
    }
    for (const char* name : {"HID", "Com", "end", "hi", "hidx", "hid ", "", "usb"})
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
    EXPECT_EQ(opens(), 1);
    EXPECT_EQ(COMM_Close(&target_), 1);
    EXPECT_EQ(closes(), 0);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(closes(), 1);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(closes(), 1);
}

TEST_F(Transport, ReopensAfterClosing) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(COMM_Open(&target_), 0);
        EXPECT_EQ(COMM_Close(&target_), 0);
    }
    EXPECT_EQ(opens(), 3);
    EXPECT_EQ(closes(), 3);
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

TEST_F(Transport, AnOpenContextIsValidatedAgain) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    ASSERT_EQ(COMM_Open(&target_), 0);
    target_.params.hid.iUsbCount = 0;
    EXPECT_EQ(COMM_Open(&target_), -19);
    EXPECT_EQ(target_.nRefCnt, 1u);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(closes(), 1);
}

TEST_F(Transport, OneModeIdServesTheWholeProcess) {
    kit::ScriptedHid one;
    kit::ScriptedHid other(nullptr, 0x1111, 0x2222);
    kit::prepare_hid(&target_);
    DC_SetModeId(&target_, 1);
    ASSERT_EQ(COMM_Open(&target_), 0);
    DEVCONTEXT second{};
    DC_SetInterfaceType(&second, "hid");
    DC_AddUsbParams(&second, 0x1111, 0x2222);
    DC_SetModeId(&second, 7);
    ASSERT_EQ(COMM_Open(&second), 0);
    one.expect_silence(7, hex("AA"));
    EXPECT_EQ(COMM_Write(&target_, hex("AA").data(), 1, 100), 1) << "as the second was opened";
    COMM_Close(&second);
    COMM_Close(&target_);
}

TEST_F(Transport, ASerialContextLeavesTheModeIdAlone) {
    kit::ScriptedHid reader;
    kit::prepare_hid(&target_);
    DC_SetModeId(&target_, 5);
    ASSERT_EQ(COMM_Open(&target_), 0);
    const kit::ScriptedSerial line;
    DEVCONTEXT serial{};
    kit::prepare_serial(&serial, line);
    ASSERT_EQ(COMM_Open(&serial), 0);
    ASSERT_EQ(COMM_Open(&serial), 0);
    reader.expect_silence(5, hex("AA"));
    EXPECT_EQ(COMM_Write(&target_, hex("AA").data(), 1, 100), 1);
    EXPECT_EQ(COMM_Close(&serial), 1);
    EXPECT_EQ(COMM_Close(&serial), 0);
    COMM_Close(&target_);
}

TEST_F(Transport, ASerialPortIsOpenedOnceAndClosedWithItsLastUser) {
    const kit::ScriptedSerial line;
    kit::prepare_serial(&target_, line);
    ASSERT_EQ(COMM_Open(&target_), 0);
    void* handle = DC_GetDevice(&target_);
    ASSERT_EQ(COMM_Open(&target_), 0);
    EXPECT_EQ(DC_GetDevice(&target_), handle);
    EXPECT_EQ(target_.nRefCnt, 2u);
    EXPECT_EQ(COMM_Close(&target_), 1);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
    EXPECT_EQ(COMM_Close(&target_), 0);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
}

TEST_F(Transport, AFailedOpenCanBeRepeated) {
    kit::prepare_hid(&target_);
    EXPECT_EQ(COMM_Open(&target_), -2);
    kit::ScriptedHid reader;
    EXPECT_EQ(COMM_Open(&target_), 0);
    EXPECT_EQ(target_.nRefCnt, 1u);
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

TEST_F(Transport, AMissingOperationIsNoDevice) {
    char device = 0;
    const COMM_OPS reads{
        nullptr, [](void*, unsigned char*, unsigned, unsigned, COMM_PacketIsEnd) { return 5; },
        nullptr, nullptr};
    const COMM_OPS writes{nullptr, nullptr,
                          [](void*, const unsigned char*, unsigned, unsigned) { return 6; },
                          nullptr};
    DC_SetDevice(&target_, &device);
    unsigned char byte = 0;
    DC_SetInterfaceOps(&target_, &reads);
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), 5);
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), -2);
    DC_SetInterfaceOps(&target_, &writes);
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
    EXPECT_EQ(COMM_Write(&target_, &byte, 1, 1), 6);
}

TEST_F(Transport, AHandleStoredAfterACloseIsReadFrom) {
    char device = 0;
    const COMM_OPS ops{
        nullptr, [](void*, unsigned char*, unsigned, unsigned, COMM_PacketIsEnd) { return 5; },
        nullptr, [](void*) { return 0; }};
    DC_SetInterfaceOps(&target_, &ops);
    DC_SetDevice(&target_, &device);
    DC_SwitchOpenStatus(&target_);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(COMM_Close(&target_), 0);
    unsigned char byte = 0;
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), -2);
    DC_SetDevice(&target_, &device);
    EXPECT_EQ(COMM_Read(&target_, &byte, 1, 1, never), 5);
}

TEST_F(Transport, InitAndExitAreThoseOfHidapi) {
    EXPECT_EQ(COMM_Init(), 0);
    EXPECT_EQ(COMM_Exit(), 0);
    kit::hid_bus::set_library_result(-1);
    EXPECT_EQ(COMM_Init(), -1);
    EXPECT_EQ(COMM_Exit(), -1);
    EXPECT_EQ(inits(), 2);
    EXPECT_EQ(exits(), 2);
    kit::hid_bus::set_library_result(0);
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
