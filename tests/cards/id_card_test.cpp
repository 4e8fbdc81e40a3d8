// The commands of the identity module over both links.
#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/id_record.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Link;

class IdCard : public testing::TestWithParam<Link> {
  protected:
    // What the length of a record counts, of a frame of so many bytes: input reports come whole.
    int counted(int frame, int less) const {
        return (GetParam() == Link::hid ? (frame + 61) / 62 * 62 : frame) - less;
    }

    kit::ConfigFile config_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, IdCard, testing::Values(Link::hid, Link::serial), kit::link_name);

const Bytes reset = hex("AA AA AA 96 69 00 03 10 FF EC");
const Bytes find = hex("AA AA AA 96 69 00 03 20 01 22");
const Bytes select_card = hex("AA AA AA 96 69 00 03 20 02 21");
const Bytes read_card = hex("AA AA AA 96 69 00 03 30 01 32");
const Bytes read_with_fingerprint = hex("AA AA AA 96 69 00 03 30 10 23");

int run_reset() {
    return ID_ResetCard(&context, 100);
}
int run_find() {
    return ID_FindCard(&context, 100);
}
int run_select() {
    return ID_SelectCard(&context, 100);
}
int run_read() {
    unsigned char record[4096];
    int length = -7;
    const int result = ID_ReadCard(&context, record, &length, 100);
    EXPECT_EQ(length == -7, result != 0);
    return result;
}
int run_read_with_fingerprint() {
    unsigned char record[4096];
    int length = -7;
    const int result = ID_ReadCard_FP(&context, record, &length, 100);
    EXPECT_EQ(length == -7, result != 0);
    return result;
}
int run_baud() {
    return ID_SetIdBaud(&context, 115200, 100);
}

struct StatusRow {
    const char* name;
    int (*run)();
    Bytes request;
    const char* reply;  // status and data
    int result;
};

const Bytes baud_115200 = hex("AA AA AA 96 69 00 03 60 00 63");

const StatusRow status_rows[] = {
    {"reset", run_reset, reset, "00 00 90", 0},
    {"reset, anything else", run_reset, reset, "00 00 60", -3000},
    {"reset, first byte", run_reset, reset, "01 00 90", -3000},
    {"reset, second byte", run_reset, reset, "00 01 90", -3000},
    {"search", run_find, find, "00 00 9F 00 00 00 00", 0},
    {"search, no card", run_find, find, "00 00 80", -3001},
    {"search, not success", run_find, find, "00 00 90", -3002},
    {"search, anything else", run_find, find, "00 00 81", -3002},
    {"search, first byte", run_find, find, "80 00 9F", -3002},
    {"selection", run_select, select_card, "00 00 90 00 00 00 00 00 00 00 00", 0},
    {"selection, failed", run_select, select_card, "00 00 81", -3001},
    {"selection, not success", run_select, select_card, "00 00 9F", -3002},
    {"selection, anything else", run_select, select_card, "00 00 80", -3002},
    {"read", run_read, read_card, "00 00 90 00 00 00 00", 0},
    {"read, failed", run_read, read_card, "00 00 41", -3001},
    {"read, anything else", run_read, read_card, "00 00 40", -3002},
    {"read, not success", run_read, read_card, "00 00 9F", -3002},
    {"fingerprint", run_read_with_fingerprint, read_with_fingerprint, "00 00 90 00 00 00 00 00 00",
     0},
    {"fingerprint, failed", run_read_with_fingerprint, read_with_fingerprint, "00 00 41", -3001},
    {"fingerprint, anything else", run_read_with_fingerprint, read_with_fingerprint, "00 00 11",
     -3002},
    {"baud", run_baud, baud_115200, "00 00 90", 0},
    {"baud, refused", run_baud, baud_115200, "00 00 91", -3004},
    {"baud, not success", run_baud, baud_115200, "00 00 9F", -3004},
};

TEST_P(IdCard, EachStatusHasItsNumber) {
    for (const StatusRow& row : status_rows) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, row.request, kit::id_frame(hex(row.reply)));
        EXPECT_EQ(row.run(), row.result);
        desk_->verify();
    }
}

TEST_P(IdCard, SilenceIsTheFramesNumber) {
    for (const auto& [run, request] :
         {std::pair{&run_reset, reset}, std::pair{&run_find, find},
          std::pair{&run_select, select_card}, std::pair{&run_read, read_card},
          std::pair{&run_read_with_fingerprint, read_with_fingerprint},
          std::pair{&run_baud, baud_115200}}) {
        desk_->expect_silence(2, request);
        EXPECT_EQ(run(), -62);
    }
}

TEST_P(IdCard, ReplyWithoutAFrameIsAnotherStatus) {
    desk_->expect(2, find, hex("00 00 9F"));
    EXPECT_EQ(run_find(), -3002);
    desk_->expect(2, reset, hex("AA AA AA 96 69 00 00"));
    EXPECT_EQ(run_reset(), -3000) << "no status at all";
}

TEST_P(IdCard, ReplyLongerThanACommandHasRoomFor) {
    desk_->expect(2, reset, kit::id_frame(kit::join({hex("00 00 90"), Bytes(252, 0x11)})));
    EXPECT_EQ(run_reset(), 0) << "255 bytes";
    desk_->expect(2, reset, kit::id_frame(kit::join({hex("00 00 90"), Bytes(253, 0x11)})));
    EXPECT_EQ(run_reset(), -22) << "256 bytes";
}

TEST_P(IdCard, BaudRatesGoOutInTheModulesOwnOrder) {
    const struct {
        int baud;
        const char* request;
    } rows[] = {{9600, "AA AA AA 96 69 00 03 60 04 67"},
                {19200, "AA AA AA 96 69 00 03 60 03 60"},
                {38400, "AA AA AA 96 69 00 03 60 02 61"},
                {57600, "AA AA AA 96 69 00 03 60 01 62"},
                {115200, "AA AA AA 96 69 00 03 60 00 63"}};
    for (const auto& row : rows) {
        desk_->expect(2, hex(row.request), hex("AA AA AA 96 69 00 04 00 00 90 94"));
        EXPECT_EQ(ID_SetIdBaud(&context, row.baud, 100), 0) << row.baud;
        desk_->verify();
    }
    for (const int baud : {4800, 0, -9600, 9601, 14400, 230400, INT_MAX, INT_MIN})
        EXPECT_EQ(ID_SetIdBaud(&context, baud, 100), -1007) << baud;
}

TEST_P(IdCard, RecordIsTextAndPhotoAndEightBytesThatMeanNothing) {
    Bytes blocks = kit::resident_card().bytes();
    blocks.resize(1280);
    desk_->expect(2, read_card,
                  kit::join({hex("AA AA AA 96 69 05 08 00 00 90 01 00 04 00"), blocks, {0xC3}}));
    Bytes record(4097, '#');
    int length = -7;
    EXPECT_EQ(ID_ReadCard(&context, record.data(), &length, 3000), 0);
    EXPECT_EQ(length, counted(1295, 7));
    EXPECT_TRUE(GetParam() == Link::hid || length == 1288);
    EXPECT_EQ(Bytes(record.begin(), record.begin() + 1280), blocks);
    EXPECT_EQ(record[static_cast<std::size_t>(length)], '#');
    EXPECT_NE(record[static_cast<std::size_t>(length) - 1], '#');
}

TEST_P(IdCard, RecordWithFingerprintHasThreeBlocks) {
    Bytes blocks = kit::resident_card().bytes();
    blocks.resize(2304);
    desk_->expect(
        2, read_with_fingerprint,
        kit::join({hex("AA AA AA 96 69 09 0A 00 00 90 01 00 04 00 04 00"), blocks, {0xC3}}));
    Bytes record(4097, '#');
    int length = -7;
    EXPECT_EQ(ID_ReadCard_FP(&context, record.data(), &length, 3000), 0);
    EXPECT_EQ(length, counted(2321, 9));
    EXPECT_TRUE(GetParam() == Link::hid || length == 2312);
    EXPECT_EQ(Bytes(record.begin(), record.begin() + 2304), blocks);
    EXPECT_EQ(record[static_cast<std::size_t>(length)], '#');
}

TEST_P(IdCard, LongestReplyFillsARecordAndNoMore) {
    // LEN 0FF9: all 4,096 bytes that are received.
    const Bytes data(0x0FF9 - 8, 0x5A);
    const Bytes reply = kit::join({hex("AA AA AA 96 69 0F F9 00 00 90 01 00 04 00"), data, {0xC3}});
    ASSERT_EQ(reply.size(), 4096u);
    for (const auto& [read, request, length_expected] :
         {std::tuple{&ID_ReadCard, read_card, 4089},
          std::tuple{&ID_ReadCard_FP, read_with_fingerprint, 4087}}) {
        desk_->expect(2, request, reply);
        Bytes record(4097, '#');
        int length = -7;
        EXPECT_EQ(read(&context, record.data(), &length, 9000), 0);
        EXPECT_EQ(length, length_expected);
        EXPECT_EQ(record[0], 0x5A);
        EXPECT_EQ(record[static_cast<std::size_t>(length)], '#');
    }
}

TEST_P(IdCard, ReplyThatEndsTooEarlyIsAShortRecord) {
    // The limit ends the wait for what the length announces.
    desk_->expect(2, read_card, hex("AA AA AA 96 69 05 08 00 00 90"));
    Bytes record(4097, '#');
    int length = -7;
    EXPECT_EQ(ID_ReadCard(&context, record.data(), &length, 60), 0);
    EXPECT_EQ(length, counted(10, 7));
    EXPECT_EQ(record[0], 0x00);
    EXPECT_EQ(record[static_cast<std::size_t>(length)], '#');
}

TEST_P(IdCard, LibraryOfAHostTakesOverAllButTheBaudRate) {
    int handle = 0;
    g_hSdtDll = &handle;
    unsigned char record[4] = {'#', '#', '#', '#'};
    int length = -7;
    EXPECT_EQ(ID_ResetCard(&context, 100), 0);
    EXPECT_EQ(ID_FindCard(&context, 100), 0);
    EXPECT_EQ(ID_SelectCard(&context, 100), 0);
    EXPECT_EQ(ID_ReadCard(&context, record, &length, 100), 0);
    EXPECT_EQ(ID_ReadCard_FP(&context, record, &length, 100), 0);
    EXPECT_EQ(ID_ReadCard(&context, nullptr, nullptr, 100), 0);
    EXPECT_EQ(length, -7);
    EXPECT_EQ(record[0], '#');
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr) << "nothing was opened";
    desk_->expect(2, baud_115200, hex("AA AA AA 96 69 00 04 00 00 90 94"));
    EXPECT_EQ(ID_SetIdBaud(&context, 115200, 100), 0);
    EXPECT_EQ(ID_SetIdBaud(&context, 4800, 100), -1007);
    g_hSdtDll = nullptr;
}

TEST_P(IdCard, NullOutputsAreRefusedWithoutTraffic) {
    unsigned char record[4096];
    int length = 0;
    EXPECT_EQ(ID_ReadCard(&context, nullptr, &length, 100), -22);
    EXPECT_EQ(ID_ReadCard(&context, record, nullptr, 100), -22);
    EXPECT_EQ(ID_ReadCard_FP(&context, nullptr, &length, 100), -22);
    EXPECT_EQ(ID_ReadCard_FP(&context, record, nullptr, 100), -22);
    EXPECT_EQ(DC_GetInterfaceOps(&context), nullptr);
}

TEST(IdCardWithoutADevice, IsTheNumberOfOpen) {
    DC_Init(&context);
    for (int (*run)() :
         {run_reset, run_find, run_select, run_read, run_read_with_fingerprint, run_baud})
        EXPECT_EQ(run(), -19);
    EXPECT_EQ(ID_ResetCard(nullptr, 100), -19);
}

TEST(IdCardLibrary, IsNoneAtLoad) {
    EXPECT_EQ(g_hSdtDll, nullptr);
    EXPECT_STREQ(g_szSdtDllName, "//sdtapi.dll");
    EXPECT_EQ(sizeof g_szSdtDllName, 260u);
}

TEST(IdCardLibrary, HasTwoFunctionsThatDoNothing) {
    EXPECT_EQ(ID_ChangeSDT(2), 0);
    EXPECT_EQ(ID_ChangeSDT(-1), 0);
    int expired = 42;
    ID_IsTimeOut("20000101", &expired);
    EXPECT_EQ(expired, 42);
    ID_IsTimeOut(nullptr, nullptr);
}

}  // namespace
