#include <deskreader.h>

#include <cstddef>
#include <cstring>

namespace {

class Context : public testing::Test {
  protected:
    void SetUp() override;

    DEVCONTEXT target_;
};

int closed_handles = 0;
void* last_closed = nullptr;

void Context::SetUp() {
    DC_Init(&target_);
    closed_handles = 0;
    last_closed = nullptr;
}

int note_close(void* handle) {
    ++closed_handles;
    last_closed = handle;
    return 0;
}

constexpr COMM_OPS closing_ops{nullptr, nullptr, nullptr, note_close};

TEST_F(Context, InitClearsTheWholeRecord) {
    std::memset(&target_, 0xEE, sizeof target_);
    DC_Init(&target_);
    const DEVCONTEXT zero{};
    EXPECT_EQ(std::memcmp(&target_, &zero, sizeof zero), 0);
}

TEST_F(Context, TheLibraryHasOneFromTheBeginning) {
    EXPECT_EQ(DC_IsOpen(&context), 0);
    EXPECT_EQ(DC_GetDevice(&context), nullptr);
}

TEST_F(Context, InterfaceTypeIsFilledWithZeros) {
    DC_SetInterfaceType(&target_, "something");
    DC_SetInterfaceType(&target_, "hid");
    EXPECT_STREQ(DC_GetInterfaceType(&target_), "hid");
    EXPECT_EQ(target_.szType[4], '\0');
    EXPECT_EQ(target_.szType[15], '\0');
}

TEST_F(Context, InterfaceTypeOf16CharactersIsNotTerminated) {
    DC_SetCOMParams(&target_, 0, 0x41414141);
    DC_SetInterfaceType(&target_, "0123456789ABCDEFGHI");
    EXPECT_EQ(std::memcmp(target_.szType, "0123456789ABCDEF", 16), 0);
    EXPECT_EQ(target_.params.com.nBaud, 0x41414141u);
}

TEST_F(Context, PlainFieldsAreStoredAndReturned) {
    char device = 0;
    DC_SetDevice(&target_, &device);
    EXPECT_EQ(DC_GetDevice(&target_), &device);
    DC_SetInterfaceOps(&target_, &closing_ops);
    EXPECT_EQ(DC_GetInterfaceOps(&target_), &closing_ops);
    DC_SetOutputBufSize(&target_, 0x123456789AB);
    EXPECT_EQ(DC_GetOutputBufSize(&target_), 0x123456789AB);
    DC_SetInputBufSize(&target_, -1);
    EXPECT_EQ(DC_GetInputBufSize(&target_), -1);
}

TEST_F(Context, SerialParametersShareTheirPlaceWithTheUsbList) {
    DC_SetCOMParams(&target_, 1, 115200);
    EXPECT_EQ(DC_GetCOMPort(&target_), 1);
    EXPECT_EQ(DC_GetCOMBaud(&target_), 115200u);
    EXPECT_EQ(DC_GetUsbListSize(&target_), 1);
    EXPECT_EQ(DC_GetModeId(&target_), 115200 & 0xFF);
}

TEST_F(Context, UsbListHoldsEightEntries) {
    for (int i = 0; i < 9; ++i)
        DC_AddUsbParams(&target_, 0x1000 + i, 0x2000u + static_cast<unsigned>(i));
    EXPECT_EQ(DC_GetUsbListSize(&target_), 8);
    EXPECT_EQ(DC_GetUsbVid(&target_, 0), 0x1000);
    EXPECT_EQ(DC_GetUsbPid(&target_, 0), 0x2000);
    EXPECT_EQ(DC_GetUsbVid(&target_, 7), 0x1007);
    EXPECT_EQ(DC_GetUsbPid(&target_, 7), 0x2007);
    EXPECT_EQ(DC_GetUsbVid(&target_, 8), 0);
    EXPECT_EQ(DC_GetUsbPid(&target_, 8), 0);
}

TEST_F(Context, UsbEntriesOutsideTheListAreNought) {
    DC_AddUsbParams(&target_, 0x2E8B, 0x0142);
    EXPECT_EQ(DC_GetUsbVid(&target_, -1), 0);
    EXPECT_EQ(DC_GetUsbPid(&target_, 1), 0);
    DC_SetCOMParams(&target_, 1000, 0);  // overwrites the size of the list
    EXPECT_EQ(DC_GetUsbVid(&target_, 999), 0);
}

TEST_F(Context, UsbIdsAreCutTo16Bits) {
    DC_AddUsbParams(&target_, 0x12E8B, 0x50142);
    EXPECT_EQ(DC_GetUsbVid(&target_, 0), 0x2E8B);
    EXPECT_EQ(DC_GetUsbPid(&target_, 0), 0x0142);
}

TEST_F(Context, ModeIdIsForHidAlone) {
    DC_SetInterfaceType(&target_, "com");
    DC_SetCOMParams(&target_, 1, 115200);
    DC_SetModeId(&target_, 2);
    EXPECT_EQ(DC_GetCOMBaud(&target_), 115200u);
    DC_SetInterfaceType(&target_, "hidden");
    DC_SetModeId(&target_, 2);
    EXPECT_EQ(DC_GetCOMBaud(&target_), 115200u);
    DC_SetInterfaceType(&target_, "hid");
    DC_SetModeId(&target_, 0x102);
    EXPECT_EQ(DC_GetModeId(&target_), 2);
    DC_SetModeId(&target_, -1);
    EXPECT_EQ(DC_GetModeId(&target_), 0xFF);
}

TEST_F(Context, ModeIdTakesTheTypeExactly) {
    for (const char* type : {"HID", "hi", "hid ", "", "END"}) {
        DC_SetInterfaceType(&target_, type);
        DC_SetModeId(&target_, 2);
        EXPECT_EQ(DC_GetModeId(&target_), 0) << type;
    }
}

TEST_F(Context, SerialRateOverwritesTheModeId) {
    DC_SetInterfaceType(&target_, "hid");
    DC_SetModeId(&target_, 2);
    DC_SetCOMParams(&target_, 0, 9600);
    EXPECT_EQ(DC_GetModeId(&target_), 0x80) << "9600 is 0x2580";
    DC_SetModeId(&target_, 0x01);
    EXPECT_EQ(DC_GetCOMBaud(&target_), 0x2501u) << "the other three bytes stay";
}

TEST_F(Context, UsbEntriesCountAsTheSerialPort) {
    DC_AddUsbParams(&target_, 1, 1);
    DC_AddUsbParams(&target_, 2, 2);
    EXPECT_EQ(DC_GetCOMPort(&target_), 2);
    DC_SetCOMParams(&target_, -1, 0);
    DC_AddUsbParams(&target_, 3, 3);
    EXPECT_EQ(DC_GetUsbListSize(&target_), -1) << "a list of no length takes nothing";
}

TEST_F(Context, EveryAddedReferenceIsCounted) {
    EXPECT_EQ(target_.nRefCnt, 0u);
    DC_AddDeviceRef(&target_);
    DC_AddDeviceRef(&target_);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(target_.nRefCnt, 3u);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 2u);
    EXPECT_EQ(DC_IsOpen(&target_), 0) << "counting opens nothing";
}

TEST_F(Context, OpenFlagIsToggled) {
    EXPECT_EQ(DC_SwitchOpenStatus(&target_), &target_);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
    DC_SwitchOpenStatus(&target_);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
    target_.iOpen = 7;
    DC_SwitchOpenStatus(&target_);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
}

TEST_F(Context, ReleaseWithoutUsersDoesNothing) {
    DC_SetInterfaceOps(&target_, &closing_ops);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(closed_handles, 0);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
}

TEST_F(Context, ReleaseOfTheLastUserClosesAndLeavesTheHandle) {
    char device = 0;
    DC_SetInterfaceOps(&target_, &closing_ops);
    DC_SetDevice(&target_, &device);
    DC_SwitchOpenStatus(&target_);
    DC_AddDeviceRef(&target_);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 1u);
    EXPECT_EQ(closed_handles, 0);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(closed_handles, 1);
    EXPECT_EQ(last_closed, &device);
    EXPECT_EQ(DC_IsOpen(&target_), 0);
    EXPECT_EQ(DC_GetDevice(&target_), &device);
}

TEST_F(Context, ReleaseWithoutACloseOperationLeavesTheFlag) {
    DC_SwitchOpenStatus(&target_);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
    const COMM_OPS none{};
    DC_SetInterfaceOps(&target_, &none);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(DC_IsOpen(&target_), 1);
}

TEST_F(Context, ReleaseTogglesTheFlagWhateverItWas) {
    char device = 0;
    DC_SetInterfaceOps(&target_, &closing_ops);
    DC_SetDevice(&target_, &device);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(closed_handles, 1);
    EXPECT_EQ(DC_IsOpen(&target_), 1) << "it was closed, so it is open now";
}

TEST_F(Context, AHandleStoredAnewIsClosedAlthoughAnotherStoodAtItsAddress) {
    char device = 0;
    for (int round = 1; round <= 3; ++round) {
        DC_Init(&target_);
        DC_SetInterfaceOps(&target_, &closing_ops);
        DC_SetDevice(&target_, &device);
        DC_AddDeviceRef(&target_);
        EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
        EXPECT_EQ(closed_handles, round);
    }
}

TEST_F(Context, AClosedHandleIsNotClosedAgain) {
    char device = 0;
    DC_SetInterfaceOps(&target_, &closing_ops);
    DC_SetDevice(&target_, &device);
    DC_SwitchOpenStatus(&target_);
    DC_AddDeviceRef(&target_);
    DC_ReleaseDeviceRef(&target_);
    DC_AddDeviceRef(&target_);
    EXPECT_EQ(DC_ReleaseDeviceRef(&target_), 0u);
    EXPECT_EQ(closed_handles, 1);
}

}  // namespace
