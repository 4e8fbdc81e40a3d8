// Fifteen ways in which readers, cards and hosts break libraries, each on both links.
#include <deskreader.h>

#include <cstring>

#include <unistd.h>

#include "kit/child.h"
#include "kit/frames.h"
#include "kit/scratch.h"
#include "robustness/bench.h"
#include "robustness/guarded.h"

namespace {

using kit::hex;
using kit::Link;
using namespace robustness;

constexpr int ms = 1000;

class AttackCases : public testing::TestWithParam<Link> {
  protected:
    void SetUp() override {
        files_ = open_descriptors();
        ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
    }
    void TearDown() override {
        bench_.heal();
        expect_health();
        EXPECT_EQ(RD_Close(), 0);
        EXPECT_EQ(context.nRefCnt, 0u);
        EXPECT_EQ(open_descriptors(), files_);
        EXPECT_TRUE(buffers_.reset());
    }

    // The next command on a healthy reader works.
    void expect_health() {
        RD_Close();
        EXPECT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        char info[256] = "";
        int length = 0;
        EXPECT_EQ(RD_GetDevInfo(0, info, &length), 0);
        EXPECT_STREQ(info, "DESK READER VIRTUAL 1.0");
    }

    void trouble(const char* fault) {
        bench_.add_fault(fault);
        bench_.hurry();
    }

    // The card with these responses, powered.
    void insert_hostile(const char* name) {
        bench_.insert(name);
        unsigned char answer[256];
        int length = 0;
        ASSERT_EQ(IC_PowerOn(&context, answer, &length, ms), 0);
    }

    int send_apdu(int* length) {
        const auto command = hex("00B2010C00");
        return IC_APDU(&context, command.data(), 5, buffers_.bytes(1024), length, ms);
    }

    int files_ = 0;
    kit::ConfigFile config_{"[devcfg]\nIccmd=0\n"};
    kit::LogFile log_{0};
    Bench bench_{GetParam()};
    GuardedBuffers buffers_;
};

INSTANTIATE_TEST_SUITE_P(Links, AttackCases, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

// The reader refuses on behalf of a card whose answer no IC frame carries; in the Union frame more
// than 1,024 bytes are a malformed reply.
TEST_P(AttackCases, Case01OversizedReply) {
    for (const int frame : {0, 1}) {
        config_.write("[devcfg]\nIccmd=" + std::to_string(frame) + "\n");
        insert_hostile("sizes");
        constexpr struct {
            int size, in_ic, in_union;
        } rows[] = {{0, -4006, -4006}, {1, 0, 0}, {255, 0, 0}, {256, 0, 0}};
        for (const auto& row : rows) {
            int length = -7;
            const int result = send_apdu(&length);
            EXPECT_EQ(result, frame == 0 ? row.in_ic : row.in_union) << row.size;
            EXPECT_EQ(length, result == 0 ? row.size : -7);
        }
        int length = -7;
        EXPECT_EQ(send_apdu(&length), frame == 0 ? -4006 : 0);  // 600 bytes
        EXPECT_EQ(length, frame == 0 ? -7 : 600);
        length = -7;
        EXPECT_LT(send_apdu(&length), 0);  // 2,000 bytes
        EXPECT_EQ(length, -7);
        EXPECT_TRUE(buffers_.reset());
    }
}

// What the length says beyond what came is zeros, not what an earlier reply left.
TEST_P(AttackCases, Case02LengthOfTheHeader) {
    unsigned char answer[256] = "";
    int length = 0;
    ASSERT_EQ(IC_PowerOn(&context, answer, &length, ms), 0);
    const int true_length = length;
    trouble("length bytes 40");
    auto* out = buffers_.bytes(256);
    EXPECT_EQ(IC_PowerOn(&context, out, &length, ms), 0);
    EXPECT_EQ(length, 0x3F);
    for (int i = true_length + 2; i < length; ++i)
        EXPECT_EQ(out[i], 0) << i;
    trouble("length bytes 03");
    EXPECT_EQ(IC_PowerOn(&context, out, &length, ms), 0);
    EXPECT_EQ(length, 2) << "and the rest is left out";
    trouble("length bytes FFFF");
    length = -7;
    EXPECT_EQ(IC_PowerOn(&context, out, &length, ms), -22);
    EXPECT_EQ(length, -7);
}

TEST_P(AttackCases, Case03EmptyAndTooShortReplies) {
    unsigned char answer[256];
    int length = -7;
    for (const char* fault : {"truncate", "truncate at 1", "truncate at 4", "preamble"}) {
        trouble(fault);
        EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), -74) << fault;
        EXPECT_EQ(length, -7);
    }
    insert_hostile("sizes");
    EXPECT_EQ(send_apdu(&length), -4006) << "no byte";
    EXPECT_EQ(send_apdu(&length), 0);
    EXPECT_EQ(length, 1) << "half a status word";
    unsigned char out[512];
    insert_hostile("sizes");
    EXPECT_LT(PBOC_ReadRecord(&context, 0, 1, 1, out, &length), 0);
}

TEST_P(AttackCases, Case04LyingDataObjects) {
    for (const char* card : {"lengths", "lists", "records"}) {
        if (GetParam() == Link::serial && std::string_view(card) == "records") continue;
        bench_.insert(card);
        bench_.hurry();
        EXPECT_LE(RD_ICGetInfo(0, "ABCDEFGHIJKLMN", 0, buffers_.text(3627), 1), 0) << card;
        EXPECT_LT(RD_ICGenARQC(0,
                               "P001"
                               "0",
                               2400, buffers_.text(2400), buffers_.number<int>(), 1),
                  0)
            << card;
        EXPECT_TRUE(buffers_.reset());
    }
    constexpr unsigned char tag[] = {0x5A};
    for (const char* lie :
         {"5A7F00", "5A81FF00", "5A84FFFFFFFF", "5A80", "5F", "5A", "5A81", "5A82FF"}) {
        const auto data = hex(lie);
        int length = -7;
        EXPECT_EQ(PBOC_GetTagValue(tag, 1, data.data(), static_cast<int>(data.size()),
                                   buffers_.bytes(8), &length),
                  -99)
            << lie;
        EXPECT_EQ(length, 0);
        EXPECT_TRUE(buffers_.reset());
    }
    // 10,000 templates in each other, and a list that asks for 64 KiB with tags that nobody knows.
    kit::Bytes nested;
    for (int i = 0; i < 10'000; ++i)
        nested.insert(nested.end(), {0x70, 0x7F});
    int length = -7;
    EXPECT_EQ(PBOC_GetTagValue(tag, 1, nested.data(), static_cast<int>(nested.size()),
                               buffers_.bytes(8), &length),
              -99);
    const auto list = hex("9F7EFF 9F0282FFFF");
    EXPECT_EQ(PBOC_BuildDOL(&context, 0, list.data(), static_cast<int>(list.size()),
                            buffers_.bytes(10 * list.size()), &length),
              -99);
    EXPECT_EQ(length, 0);
    // A locator with half an entry names nothing.
    const auto locator = hex("100100");
    EXPECT_EQ(PBOC_GetAppData(&context, 0, locator.data(), 3, buffers_.bytes(8000), &length), 0);
    EXPECT_EQ(length, 0);
}

// Answers to reset and UIDs are handed out as bytes; nothing here reads interface bytes, cascades
// or historical counts out of them, so only their length can lie.
TEST_P(AttackCases, Case05MalformedAnswersToReset) {
    for (const char* length_field : {"00", "01", "FE", "FF", "FFB0", "FFFF"}) {
        trouble((std::string("length bytes ") + length_field).c_str());
        int length = -7;
        auto* atr = buffers_.text(512);
        const int result = RD_IcPowerOn(0, 512, atr, &length, buffers_.number<int>(), 1);
        EXPECT_TRUE(result <= 0 || result < 256) << length_field;
        EXPECT_LE(length, 512);
        EXPECT_TRUE(buffers_.reset());
        bench_.heal();
        expect_health();
    }
}

TEST_P(AttackCases, Case06EndlessContinuation) {
    for (const char* card : {"endless-61", "endless-62", "endless-6C"}) {
        insert_hostile(card);
        auto command = hex("00B2010C00");
        int length = -7;
        const int before = bench_.requests();
        auto* out = buffers_.bytes(512);
        EXPECT_EQ(PBOC_IcAPDU(&context, 0, command.data(), 5, out, &length), 0) << card;
        EXPECT_EQ(bench_.requests() - before, 65) << "the command and 64 that follow";
        EXPECT_EQ(length, 2) << "the last answer, as it stands";
        EXPECT_EQ(PBOC_ReadRecord(&context, 0, 1, 1, out, &length), -99);
        EXPECT_TRUE(buffers_.reset());
    }
}

// The protocol has no request for more time: a reply that is one is a reply, and no status knows
// it.
TEST_P(AttackCases, Case07EndlessWaitDoesNotArise) {
    trouble("status bytes F2 times 0");
    unsigned char out[1024];
    int length = -7;
    const auto command = hex("00B2010C00");
    const int before = bench_.requests();
    EXPECT_EQ(IC_APDU(&context, command.data(), 5, out, &length, ms), -99);
    EXPECT_EQ(bench_.requests() - before, 1);
}

// One byte just inside of every limit: the time limit is that of the whole read.
TEST_P(AttackCases, Case08SlowDrip) {
    trouble("split ms 900");
    unsigned char answer[256];
    int length = -7;
    const auto begin = GetTickCount();
    EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), -74);
    EXPECT_GE(GetTickCount() - begin, 1000u);
    EXPECT_LT(GetTickCount() - begin, 2500u);
}

TEST_P(AttackCases, Case09SplitAndMerged) {
    unsigned char expected[256];
    int expected_length = 0;
    ASSERT_EQ(IC_PowerOn(&context, expected, &expected_length, ms), 0);
    for (int size = 1; size <= 16; ++size) {
        bench_.add_fault("split count " + std::to_string(size));
        unsigned char answer[256] = "";
        int length = 0;
        const int result = IC_PowerOn(&context, answer, &length, ms);
        if (GetParam() == Link::serial) {
            EXPECT_EQ(result, 0) << size;
            EXPECT_EQ(length, expected_length) << size;
            EXPECT_EQ(std::memcmp(answer, expected, static_cast<std::size_t>(length)), 0) << size;
        } else {
            EXPECT_LE(result, 256) << "filler between the pieces may spoil it, no more";
        }
    }
    bench_.heal();
    expect_health();
    bench_.add_fault("merge");
    bench_.hurry();
    unsigned char answer[256];
    int length = 0;
    EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), -74);
    EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), 0) << "of two in one piece the first";
    trouble("report bytes 09");
    EXPECT_LT(IC_PowerOn(&context, answer, &length, ms), GetParam() == Link::hid ? 0 : 1);
}

TEST_P(AttackCases, Case10CancelRaces) {
    char text[512];
    int length = 0;
    int kind = 0;
    RD_Cancel();
    EXPECT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0) << "a cancel before the send";
    RD_Cancel();
    RD_Cancel();
    EXPECT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0) << "after the end, twice";
    bench_.with_reader([](auto& reader) { reader.remove("bank"); });
    std::jthread canceller([](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            RD_CancelWait();
            COMM_cancle();
        }
    });
    for (int round = 0; round < 20; ++round) {
        const int result = RD_IcPowerOn(0, 512, text, &length, &kind, 1);
        EXPECT_TRUE(result == -1006 || result == -4005 || result == -1013) << result;
    }
    canceller = {};
    COMM_notcancle();
    bench_.insert("bank");
    // Kept: the answers that nobody waited for any more are still on the line.
    bench_.heal();
    expect_health();
    EXPECT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0);
}

// Kept: a late reply is not drained; it is taken for the answer to the next command, as long as the
// port is not opened anew. It never reaches a buffer that it does not fit.
TEST_P(AttackCases, Case11LateReply) {
    trouble("delay ms 1500");
    unsigned char answer[256];
    int length = -7;
    EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), -74);
    EXPECT_EQ(length, -7);
    bench_.heal();
    expect_health();
    EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), 0);
}

TEST_P(AttackCases, Case12Noise) {
    unsigned char answer[256];
    int length = 0;
    ASSERT_EQ(IC_PowerOn(&context, answer, &length, ms), 0);
    const int true_length = length;
    for (const char* fault :
         {"noise bytes 0000FF", "trail bytes FFFF", "check", "noise bytes 36"}) {
        trouble(fault);
        EXPECT_EQ(IC_PowerOn(&context, answer, &length, ms), 0) << fault;
        EXPECT_EQ(length, true_length) << fault;
        bench_.heal();
        expect_health();
    }
    // An end of frame in the noise, or a beginning: the frame is not found, and nothing else
    // either.
    for (const char* fault : {"noise bytes 03", "noise bytes 363003"}) {
        trouble(fault);
        length = -7;
        EXPECT_LE(IC_PowerOn(&context, answer, &length, ms), 0) << fault;
        bench_.heal();
        expect_health();
    }
}

TEST_P(AttackCases, Case13Unplugged) {
    char text[4102];
    int length = 0;
    int kind = 0;
    for (const char* fault : {"unplug", "unplug at 5", "unplug after 2"}) {
        trouble(fault);
        EXPECT_LT(RD_ICGetInfo(0, "A", 0, text, 1), 0) << fault;
        EXPECT_NE(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0) << fault;
        EXPECT_EQ(RD_Close(), 0) << "the handle is safe to close";
        EXPECT_EQ(RD_Close(), 0);
        bench_.heal();
        EXPECT_EQ(RD_Open(bench_.port(), 9600, 0), 0) << fault;
    }
}

TEST_P(AttackCases, Case14CardPulledOrSwapped) {
    char text[4102];
    int length = 0;
    int kind = 0;
    ASSERT_EQ(RD_IcPowerOn(0, 512, text, &length, &kind, 1), 0);
    bench_.with_reader([](auto& reader) { reader.remove("bank"); });
    EXPECT_EQ(RD_IcAPDU(0, "00B2010C00", 10, 0, text, &length), -4005);
    bench_.insert("citizen");
    EXPECT_EQ(RD_IcAPDU(0, "00B2010C00", 10, 0, text, &length), -4006)
        << "another card is not powered";
    bench_.insert("bank");
    char out[2400];
    ASSERT_EQ(RD_ICGenARQC(0, "P012000000000012", 2400, out, &kind, 1), 0);
    bench_.insert("citizen");
    char result[17];
    char cryptogram[1024];
    EXPECT_EQ(RD_ICExeScript_TC(0, "P012000000000012", "910A00112233445566773030", 17, result, 0,
                                cryptogram),
              -4109);
    unsigned char block[1024];
    ASSERT_EQ(M1_PowerOn(&context, block, &length, ms), 0);
    bench_.insert("visitor");
    EXPECT_LT(RD_M1WriteBlock(4, "00112233445566778899AABBCCDDEEFF"), 0);
}

TEST_P(AttackCases, Case15HostileContentAndCallers) {
    bench_.insert("names");
    bench_.hurry();
    EXPECT_EQ(RD_ICGetInfo(0, "BCDN", 0, buffers_.text(3627), 1), 0);
    EXPECT_TRUE(buffers_.reset());
    bench_.insert("logs");
    if (GetParam() == Link::hid) {
        EXPECT_EQ(RD_ICGetDetail(0, 0, buffers_.text(4102), 1), 0);
        EXPECT_TRUE(buffers_.reset());
    }
    // Kept: the track's characters are handed out as they come; capacities hold.
    char* two = buffers_.text(4);
    int length = 0;
    EXPECT_EQ(RD_ReadMagCard(0, 2, 0, nullptr, nullptr, 4, two, &length, 0, nullptr, nullptr, 1),
              0);
    EXPECT_LE(length, 4);
    const std::string list(300, 'A');
    EXPECT_LE(RD_ICGetInfo_KP(buffers_.number<int>(), buffers_.copy(list.c_str()),
                              buffers_.copy("A"), 0, buffers_.text(3109), 1),
              0)
        << "a name of 150 bytes";
}

// A child that inherits the open handle and closes it leaves the parent's reader alone.
TEST_P(AttackCases, Case15Fork) {
    const auto end = kit::run_in_child(std::chrono::seconds(20), [] {
        COMM_Close(&context);
        _exit(0);
    });
    EXPECT_EQ(end.exit_status, 0);
    char info[256] = "";
    int length = 0;
    EXPECT_EQ(RD_Close(), 0);
    EXPECT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
    EXPECT_EQ(RD_GetDevInfo(0, info, &length), 0);
}

// A child that uses the handle it inherited and leaves it open: the parent goes on where it was.
TEST_P(AttackCases, Case15ForkThatOnlyUses) {
    const auto ask = [] {
        char info[256] = "";
        int length = 0;
        return RD_GetDevInfo(0, info, &length) == 0 &&
               info == std::string("DESK READER VIRTUAL 1.0");
    };
    ASSERT_TRUE(ask());
    const auto end =
        kit::run_in_child(std::chrono::seconds(20), [&] { kit::leave_child(ask() ? 0 : 1); });
    EXPECT_EQ(end.exit_status, 0);
    EXPECT_TRUE(ask());
}

// What the log of errors tells, and the texts of the error numbers, is free of what a card or a
// host keeps secret. Information, from level 2 on, has the bytes of the line by description.
TEST_P(AttackCases, Case15SecretsStayOutOfErrors) {
    const kit::LogFile log(1);
    constexpr char key[] = "5EC4E7C0FFEE";
    constexpr char verify_pin[] = "0020008008265E7A91FFFFFFFF";
    char text[4102] = "";
    int length = 0;
    int kind = 0;
    EXPECT_EQ(RD_ICGetInfo(0, "A", 0, text, 1), 0);
    EXPECT_STREQ(text, "A0169999990000000013");
    EXPECT_EQ(RD_M1Powerup(512, text, &length, 1), 0);
    EXPECT_LT(RD_M1Verify(2, 0, key), 0);
    bench_.add_fault("mute times 0");
    bench_.hurry();
    EXPECT_LT(RD_ICGenARQC(0, "P012000000000012", 2400, text, &kind, 1), 0);
    EXPECT_LT(RD_ICExeScript_TC(0, "P012000000000012", "910A00112233445566773030", 17, text, 0,
                                text + 100),
              0);
    EXPECT_LT(RD_IcAPDU(0, verify_pin, 26, 0, text, &length), 0);
    const int result = RD_M1Verify(2, 0, key);
    EXPECT_LT(result, 0);
    const std::string written = log.content();
    EXPECT_NE(written.find("Error("), std::string::npos);
    char message[56] = "";
    EXPECT_EQ(RD_GetErrInfo(result, 0, message, &length), 0);
    for (const char* secret : {"9999990000000013", key, "1122334455667730", "5E7A91"}) {
        EXPECT_EQ(written.find(secret), std::string::npos) << secret;
        EXPECT_EQ(std::string(message).find(secret), std::string::npos);
    }
}

}  // namespace
