// The tool's Ultralight primitives, below RD_M0PowerOn and its relatives, and a virtual card.
#include <deskreader.h>

#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::Bytes;
using kit::hex;

constexpr const char* key = "49454D4B41455242214E4143554F5946";
constexpr int limit_ms = 1000;

struct Answer {
    int result;
    Bytes bytes;

    friend bool operator==(const Answer&, const Answer&) = default;
};

void PrintTo(const Answer& answer, std::ostream* stream) {
    *stream << answer.result << " " << kit::to_hex(answer.bytes);
}

class Companion : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override {
        config_.write(GetParam().config());
        ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0);
        insert("ticket");
    }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }

    void insert(const char* card) {
        desk_.with_reader([&](auto& reader) { reader.insert(card); });
    }

    // A call that fills a buffer.
    template <class Call>
    static Answer ask(Call call) {
        Bytes bytes(4096, 0x77);
        int length = -7;
        const int result = call(bytes.data(), &length);
        bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        return {result, bytes};
    }
    static Answer power_on() {
        return ask(
            [](auto* out, int* length) { return M0_PowerOn(&context, out, length, limit_ms); });
    }
    static Answer read(int page, int count) {
        return ask([&](auto* out, int* length) {
            return M0_ReadBlock(&context, page, count, out, length, limit_ms);
        });
    }
    static Answer interact(Bytes command) {
        return ask([&](auto* out, int* length) {
            return M0_Interaction(&context, command.data(), static_cast<int>(command.size()), out,
                                  length, limit_ms);
        });
    }
    static int write(int page, Bytes data, int length) {
        return M0_WriteBlock(&context, page, data.data(), length, limit_ms);
    }

    kit::ConfigFile config_;
    kit::VirtualDesk desk_{GetParam().link};
};

INSTANTIATE_TEST_SUITE_P(Ways, Companion, kit::every_way, kit::way_name);

TEST_P(Companion, ActivatesACardAndHaltsIt) {
    EXPECT_EQ(power_on(), (Answer{0, hex("04515253545556")}));
    EXPECT_EQ(M0_PowerOff(&context, limit_ms), 0);
    EXPECT_NE(read(4, 1).result, 0) << "it is halted";
}

TEST_P(Companion, KnowsAMissingCardFromAnother) {
    insert("visitor");
    EXPECT_EQ(power_on(), (Answer{-5001, {}})) << "an answer of eight bytes";
    insert("locker");
    EXPECT_EQ(power_on(), (Answer{-5001, {}})) << "an answer of four";
    desk_.with_reader([](auto& reader) { reader.remove("locker"); });
    EXPECT_EQ(power_on(), (Answer{-4005, {}}));
}

TEST_P(Companion, ReadsAsManyPagesAsAreCounted) {
    ASSERT_EQ(power_on().result, 0);
    EXPECT_EQ(read(4, 1), (Answer{0, hex("54454E20")}));
    EXPECT_EQ(read(3, 6),
              (Answer{0, hex("00000000 54454E20 52494445 532C2054 4F204E4F 57484552")}));
    EXPECT_EQ(read(15, 1), (Answer{0, hex("00000000")}));
    EXPECT_EQ(read(15, 2), (Answer{-99, {}})) << "not page 0 behind the last that is open";
}

TEST_P(Companion, RefusesPagesAndCountsThatThereCannotBe) {
    ASSERT_EQ(power_on().result, 0);
    for (const auto& [page, count] :
         {std::pair{-1, 1}, {4, 0}, {4, -1}, {0, 257}, {256, 1}, {255, 2}}) {
        EXPECT_EQ(read(page, count), (Answer{-22, {}})) << page << ", " << count;
    }
    EXPECT_EQ(write(-1, hex("00000000"), 4), -22);
    EXPECT_EQ(write(256, hex("00000000"), 4), -22);
    EXPECT_EQ(write(5, hex("00000000"), 3), -22);
    EXPECT_EQ(read(4, 1).result, 0) << "the card heard nothing of it";
}

TEST_P(Companion, WritesFourBytesHoweverManyAreTold) {
    ASSERT_EQ(power_on().result, 0);
    EXPECT_EQ(write(5, hex("01020304 05060708"), 17), 0);
    EXPECT_EQ(read(4, 3), (Answer{0, hex("54454E20 01020304 532C2054")}));
    EXPECT_EQ(write(16, hex("01020304"), 4), -99) << "a protected page";
}

TEST_P(Companion, PassesBytesAndRepliesAsTheyAre) {
    ASSERT_EQ(power_on().result, 0);
    EXPECT_EQ(interact(hex("30 04")), (Answer{0, hex("54454E20 52494445 532C2054 4F204E4F")}));
    const Answer challenge = interact(hex("1A 00"));
    EXPECT_EQ(challenge.bytes.size(), 9u);
    EXPECT_EQ(challenge.bytes[0], 0xAF);
    EXPECT_EQ(interact(hex("99")), (Answer{0, hex("00")})) << "the card's refusal";
    EXPECT_EQ(interact(hex("30 04")).result, -4006) << "and then its silence";
}

TEST_P(Companion, ServesTheWholeOfAKeyChange) {
    char uid[64] = "";
    int length = 0;
    ASSERT_EQ(RD_M0PowerOn(sizeof uid, uid, &length, 1), 0);
    EXPECT_STREQ(uid, "04515253545556");
    ASSERT_EQ(RD_M0VerifyKey(32, key), 0);
    EXPECT_EQ(RD_M0DownKey(32, "000102030405060708090A0B0C0D0E0F"), 0);
    EXPECT_EQ(RD_M0PowerOff(), 0);
    ASSERT_EQ(RD_M0PowerOn(sizeof uid, uid, &length, 1), 0);
    EXPECT_EQ(RD_M0VerifyKey(32, key), -99) << "the old key";
    ASSERT_EQ(RD_M0PowerOn(sizeof uid, uid, &length, 1), 0);
    EXPECT_EQ(RD_M0VerifyKey(32, "000102030405060708090A0B0C0D0E0F"), 0);
    EXPECT_EQ(RD_M0PowerOff(), 0);
}

}  // namespace
