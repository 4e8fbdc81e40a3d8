#include <deskreader.h>

#include "cards/reader_calls.h"
#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"

namespace {

using cards_test::Call;
using cards_test::Given;
using cards_test::limit_ms;
using cards_test::only;
using cards_test::with_output;
using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::Link;
using kit::union_frame;

const unsigned char key[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x00};
const unsigned char block_data[] = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                                    0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
const unsigned char value[] = {0x64, 0x00, 0x00, 0x80};

Given power_on() {
    return with_output(
        [](auto* out, int* length) { return M1_PowerOn(&context, out, length, limit_ms); });
}
Given power_off() {
    return only(M1_PowerOff(&context, limit_ms));
}
Given verify_a() {
    return only(M1_Verify(&context, 3, 0, key, limit_ms));
}
Given verify_b() {
    return only(M1_Verify(&context, 40, 1, key, limit_ms));
}
Given read_block() {
    return with_output(
        [](auto* out, int* length) { return M1_ReadBlock(&context, 4, out, length, limit_ms); });
}
Given write_block() {
    return only(M1_WriteBlock(&context, 5, block_data, 16, limit_ms));
}
Given read_value() {
    return with_output(
        [](auto* out, int* length) { return M1_ReadValue(&context, 6, out, length, limit_ms); });
}
Given write_value() {
    return only(M1_WriteValue(&context, 7, value, 4, limit_ms));
}
Given increment() {
    return only(M1_Increment(&context, 8, value, 4, limit_ms));
}
Given decrement() {
    return only(M1_Decrement(&context, 9, value, 4, limit_ms));
}
Given increase_value() {
    return only(M1_IncreaseValue(&context, 10, 258, limit_ms));
}
Given decrease_value() {
    return only(M1_DecreaseValue(&context, 255, 0xFFFEFDFC, limit_ms));
}

// A command, its bytes in both frames, and its own failure.
struct CommandRow {
    const char* name;
    Call call;
    const char* ic;
    const char* union_;
    int failure;
    bool returns_data = false;
};

const CommandRow commands[] = {
    {"PowerOn", power_on, "41", "32 41 00 00", -5001, true},
    {"PowerOff", power_off, "4B", "32 25", -5002},
    {"VerifyA", verify_a, "42 03 60 A0A1A2A3A4A5", "32 42 03 00 A0A1A2A3A4A5", -5003},
    {"VerifyB", verify_b, "42 28 61 A0A1A2A3A4A5", "32 42 28 01 A0A1A2A3A4A5", -5003},
    {"ReadBlock", read_block, "43 04", "32 43 04", -5004, true},
    {"WriteBlock", write_block, "44 05 101112131415161718191A1B1C1D1E1F",
     "32 44 05 101112131415161718191A1B1C1D1E1F", -5005},
    {"ReadValue", read_value, "45 06", "32 45 06", -5006, true},
    {"WriteValue", write_value, "46 07 64000080", "32 46 07 64000080", -5007},
    {"Increment", increment, "47 08 64000080", "32 47 08 64000080", -5008},
    {"Decrement", decrement, "48 09 64000080", "32 48 09 64000080", -5009},
    {"IncreaseValue", increase_value, "47 0A 02010000", "32 47 0A 02010000", -5008},
    {"DecreaseValue", decrease_value, "48 FF FCFDFEFF", "32 48 FF FCFDFEFF", -5009},
};

class MifareClassic : public testing::TestWithParam<Link> {
  protected:
    void use_frame(int number) {
        config_.write("[devcfg]\nIccmd=" + std::to_string(number) + "\n");
    }

    kit::ConfigFile config_;
    kit::ScriptedDesk desk_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, MifareClassic, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(MifareClassic, CommandsInTheIcFrame) {
    use_frame(0);
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, ic_frame(hex(row.ic)), ic_frame(hex("00 04 A1 B2 C3")));
        const Given given = row.call();
        EXPECT_EQ(given.result, 0);
        if (row.returns_data) {
            EXPECT_EQ(given.out, hex("04 A1 B2 C3"));
        }
        desk_->verify();
    }
}

TEST_P(MifareClassic, CommandsInTheUnionFrame) {
    use_frame(1);
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        desk_->expect(2, union_frame(hex(row.union_)), union_frame(hex("00 00 04 A1 B2 C3")));
        const Given given = row.call();
        EXPECT_EQ(given.result, 0);
        if (row.call == power_on) {
            EXPECT_EQ(given.out, hex("00 00 04 A1 B2 C3")) << "the status bytes included";
        } else if (row.returns_data) {
            EXPECT_EQ(given.out, hex("04 A1 B2 C3"));
        }
        desk_->verify();
    }
}

TEST_P(MifareClassic, WholeFramesOnTheWire) {
    desk_->expect(2, kit::ascii("60014120\x03"), kit::ascii("60050004A1B2C3B1\x03"));
    EXPECT_EQ(power_on().out, hex("04 A1 B2 C3")) << "without \"Iccmd\" it is the IC frame";
    desk_->expect(2,
                  kit::ascii("60024304"
                             "25\x03"),
                  kit::ascii("60050004A1B2C3B1\x03"));
    EXPECT_EQ(read_block().out, hex("04 A1 B2 C3"));
    use_frame(1);
    desk_->expect(2,
                  kit::ascii("\x02"
                             "000432410000"
                             "73\x03"),
                  kit::ascii("\x02"
                             "0006000004:1;2<3"
                             "=4\x03"));
    EXPECT_EQ(power_on().out, hex("00 00 04 A1 B2 C3"));
    desk_->expect(2,
                  kit::ascii("\x02"
                             "0003324304"
                             "75\x03"),
                  kit::ascii("\x02"
                             "0006000004:1;2<3"
                             "=4\x03"));
    EXPECT_EQ(read_block().out, hex("04 A1 B2 C3"));
}

TEST_P(MifareClassic, OtherFramesAreNotSupported) {
    for (const int number : {2, -1, 100}) {
        use_frame(number);
        for (const CommandRow& row : commands) {
            const Given given = row.call();
            EXPECT_EQ(given.result, -1008) << row.name;
            EXPECT_EQ(given.length, -7) << row.name;
        }
    }
}

TEST_P(MifareClassic, AnyStatusIsTheCommandsOwnFailure) {
    for (const CommandRow& row : commands) {
        SCOPED_TRACE(row.name);
        for (const char* status : {"01", "A2", "FB", "FF 11 22"}) {
            use_frame(0);
            desk_->expect(2, ic_frame(hex(row.ic)), ic_frame(hex(status)));
            const Given given = row.call();
            EXPECT_EQ(given.result, row.failure) << status;
            EXPECT_EQ(given.length, -7) << status << ": outputs stay";
        }
        for (const char* status : {"00 01", "01 00", "30 05 11 22", "FF FF"}) {
            use_frame(1);
            desk_->expect(2, union_frame(hex(row.union_)), union_frame(hex(status)));
            const Given given = row.call();
            EXPECT_EQ(given.result, row.failure) << status;
            EXPECT_EQ(given.length, -7) << status << ": outputs stay";
        }
    }
}

TEST_P(MifareClassic, SilenceIsAMalformedReply) {
    use_frame(0);
    desk_->expect_silence(2, ic_frame(hex("43 04")));
    EXPECT_EQ(read_block().result, -74);
    use_frame(1);
    desk_->expect_silence(2, union_frame(hex("32 43 04")));
    EXPECT_EQ(read_block().result, -74);
}

TEST_P(MifareClassic, RepliesWithoutDataGiveNone) {
    use_frame(0);
    desk_->expect(2, ic_frame(hex("43 04")), ic_frame({}));
    Given given = read_block();
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.length, -7) << "a reply without a status is passed on as it is";
    desk_->expect(2, ic_frame(hex("41")), ic_frame({}));
    EXPECT_EQ(power_on().length, -7);
    desk_->expect(2, ic_frame(hex("43 04")), ic_frame(hex("00")));
    EXPECT_EQ(read_block().length, 0);
    use_frame(1);
    for (const char* reply : {"", "00", "00 00"}) {
        desk_->expect(2, union_frame(hex("32 43 04")), union_frame(hex(reply)));
        given = read_block();
        EXPECT_EQ(given.result, 0);
        EXPECT_EQ(given.length, 0);
        desk_->expect(2, union_frame(hex("32 41 00 00")), union_frame(hex(reply)));
        EXPECT_EQ(power_on().out, hex(reply));
    }
}

TEST_P(MifareClassic, KeyTypeIsTranslatedInTheIcFrameAlone) {
    use_frame(0);
    desk_->expect(2, ic_frame(hex("42 01 61 A0A1A2A3A4A5")), ic_frame(hex("00")));
    EXPECT_EQ(M1_Verify(&context, 1, 5, key, limit_ms), 0);
    use_frame(1);
    desk_->expect(2, union_frame(hex("32 42 01 05 A0A1A2A3A4A5")), union_frame(hex("00 00")));
    EXPECT_EQ(M1_Verify(&context, 1, 5, key, limit_ms), 0);
}

TEST_P(MifareClassic, KeysEndBeforeTheirFirstZero) {
    const unsigned char with_zero[] = {0xA0, 0xA1, 0x00, 0xA3, 0xA4, 0xA5, 0x00};
    const unsigned char zeros[] = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    const unsigned char eight[] = {1, 2, 3, 4, 5, 6, 7, 8, 0};
    use_frame(0);
    desk_->expect(2, ic_frame(hex("42 01 60 A0A1")), ic_frame(hex("00")));
    EXPECT_EQ(M1_Verify(&context, 1, 0, with_zero, limit_ms), 0);
    desk_->expect(2, ic_frame(hex("42 01 60")), ic_frame(hex("00")));
    EXPECT_EQ(M1_Verify(&context, 1, 0, zeros, limit_ms), 0);
    desk_->expect(2, ic_frame(hex("42 01 60 0102030405060708")), ic_frame(hex("00")));
    EXPECT_EQ(M1_Verify(&context, 1, 0, eight, limit_ms), 0);
    use_frame(1);
    desk_->expect(2, union_frame(hex("32 42 01 00 A0A1")), union_frame(hex("00 00")));
    EXPECT_EQ(M1_Verify(&context, 1, 0, with_zero, limit_ms), 0);
    desk_->expect(2, union_frame(hex("32 42 01 00")), union_frame(hex("00 00")));
    EXPECT_EQ(M1_Verify(&context, 1, 0, zeros, limit_ms), 0);
}

TEST_P(MifareClassic, WritesAsManyBytesAsGiven) {
    use_frame(0);
    desk_->expect(2, ic_frame(hex("44 01 101112")), ic_frame(hex("00")));
    EXPECT_EQ(M1_WriteBlock(&context, 1, block_data, 3, limit_ms), 0);
    desk_->expect(2, ic_frame(hex("44 01")), ic_frame(hex("00")));
    EXPECT_EQ(M1_WriteBlock(&context, 1, block_data, 0, limit_ms), 0);
    EXPECT_EQ(M1_WriteBlock(&context, 1, block_data, -1, limit_ms), -22);
}

TEST_P(MifareClassic, WhatNoFrameCarriesIsRefused) {
    Bytes much(5000, 0x11);
    use_frame(0);
    desk_->expect(2, ic_frame(kit::join({{0x44, 0x01}, Bytes(252, 0x11)})), ic_frame(hex("00")));
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 252, 1000), 0);
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 254, limit_ms), -22);
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 5000, limit_ms), -22);
    much.back() = 0x00;
    EXPECT_EQ(M1_Verify(&context, 1, 0, much.data(), limit_ms), -22);
    use_frame(1);
    desk_->expect(2, union_frame(kit::join({{0x32, 0x44, 0x01}, Bytes(300, 0x11)})),
                  union_frame(hex("00 00")));
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 300, 1000), 0);
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 1018, limit_ms), -22);
    EXPECT_EQ(M1_WriteBlock(&context, 1, much.data(), 1024, limit_ms), -22);
    EXPECT_EQ(M1_Verify(&context, 1, 0, much.data(), limit_ms), -22);
}

TEST_P(MifareClassic, ValuesHaveFourBytesWhateverLengthIsTold) {
    use_frame(0);
    for (const int length : {0, 1, 16, -1}) {
        desk_->expect(2, ic_frame(hex("46 01 64000080")), ic_frame(hex("00")));
        EXPECT_EQ(M1_WriteValue(&context, 1, value, length, limit_ms), 0);
        desk_->expect(2, ic_frame(hex("47 01 64000080")), ic_frame(hex("00")));
        EXPECT_EQ(M1_Increment(&context, 1, value, length, limit_ms), 0);
        desk_->expect(2, ic_frame(hex("48 01 64000080")), ic_frame(hex("00")));
        EXPECT_EQ(M1_Decrement(&context, 1, value, length, limit_ms), 0);
    }
}

TEST_P(MifareClassic, LyingLengthsStayWithinTheDocumentedBuffers) {
    use_frame(0);
    // The reply says 254 bytes and has two: the others are zeros.
    desk_->expect(2, ic_frame(hex("41")), kit::join({kit::ascii("60FE0004"), {0x03}}));
    const Given answer = power_on();
    EXPECT_EQ(answer.length, 253);
    EXPECT_EQ(answer.out[0], 0x04);
    EXPECT_EQ(answer.out[252], 0x00);
    use_frame(1);
    // 4000 bytes do not exist in any frame.
    const Bytes lie = kit::join({{0x02}, kit::ascii("0?:00000"), {0x03}});
    desk_->expect(2, union_frame(hex("32 43 04")), lie);
    const Given block = read_block();
    EXPECT_EQ(block.result, -74);
    EXPECT_EQ(block.length, -7);
    desk_->expect(2, union_frame(hex("32 41 00 00")), lie);
    EXPECT_EQ(power_on().result, -22) << "more than 256 bytes of answer";
}

TEST_P(MifareClassic, NullPointersAreRefusedWithoutAWord) {
    unsigned char out[1024];
    int length = -7;
    EXPECT_EQ(M1_PowerOn(nullptr, out, &length, limit_ms), -22);
    EXPECT_EQ(M1_PowerOn(&context, nullptr, &length, limit_ms), -22);
    EXPECT_EQ(M1_PowerOn(&context, out, nullptr, limit_ms), -22);
    EXPECT_EQ(M1_PowerOff(nullptr, limit_ms), -22);
    EXPECT_EQ(M1_Verify(nullptr, 1, 0, key, limit_ms), -22);
    EXPECT_EQ(M1_Verify(&context, 1, 0, nullptr, limit_ms), -22);
    for (const auto read : {M1_ReadBlock, M1_ReadValue}) {
        EXPECT_EQ(read(nullptr, 1, out, &length, limit_ms), -22);
        EXPECT_EQ(read(&context, 1, nullptr, &length, limit_ms), -22);
        EXPECT_EQ(read(&context, 1, out, nullptr, limit_ms), -22);
    }
    for (const auto write : {M1_WriteBlock, M1_WriteValue, M1_Increment, M1_Decrement}) {
        EXPECT_EQ(write(nullptr, 1, value, 4, limit_ms), -22);
        EXPECT_EQ(write(&context, 1, nullptr, 4, limit_ms), -22);
    }
    EXPECT_EQ(M1_IncreaseValue(nullptr, 1, 1, limit_ms), -22);
    EXPECT_EQ(M1_DecreaseValue(nullptr, 1, 1, limit_ms), -22);
    EXPECT_EQ(length, -7);
}

}  // namespace
