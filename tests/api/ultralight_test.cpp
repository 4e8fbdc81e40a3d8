// This program provides the five primitives itself, with a card behind them whose ciphers are
// OpenSSL's.
#include <deskreader.h>

#include <cstdlib>
#include <functional>

#include <openssl/evp.h>

#include "kit/bytes.h"
#include "kit/fake_clock.h"
#include "kit/scratch.h"

namespace {

using kit::Bytes;
using kit::hex;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

// What the primitives were called with, and what they do.
struct Card {
    Lines calls;
    std::function<int(Bytes&)> power_on = [](Bytes& answer) {
        answer = hex("04 A1 B2 C3 D4 E5 F6");
        return 0;
    };
    int power_off = 0;
    std::function<int(Bytes&)> read = [](Bytes& out) {
        out = hex("41 42 43 44");
        return 0;
    };
    std::function<int(int)> write = [](int) { return 0; };
    std::function<int(const Bytes&, Bytes&)> interact;
    std::optional<int> told_length;  // instead of the true one
};

Card* card = nullptr;

std::string call(const char* name, const DEVCONTEXT* target, std::initializer_list<int> numbers,
                 std::span<const std::uint8_t> bytes = {}) {
    std::string text = name;
    if (target != &context) text += " elsewhere";
    for (const int number : numbers)
        text += " " + std::to_string(number);
    if (!bytes.empty()) text += " " + kit::to_hex(bytes);
    return text;
}

void give(const Bytes& bytes, unsigned char* out, int* length) {
    std::copy(bytes.begin(), bytes.end(), out);
    *length = card->told_length.value_or(static_cast<int>(bytes.size()));
}

}  // namespace

int M0_PowerOn(DEVCONTEXT* target, unsigned char* answer, int* answer_length, int timeout_ms) {
    card->calls.push_back(call("on", target, {timeout_ms}));
    Bytes bytes;
    const int result = card->power_on(bytes);
    give(bytes, answer, answer_length);
    return result;
}

int M0_PowerOff(DEVCONTEXT* target, int timeout_ms) {
    card->calls.push_back(call("off", target, {timeout_ms}));
    return card->power_off;
}

int M0_ReadBlock(DEVCONTEXT* target, int page, int count, unsigned char* out, int* out_length,
                 int timeout_ms) {
    card->calls.push_back(call("read", target, {page, count, timeout_ms}));
    Bytes bytes;
    const int result = card->read(bytes);
    give(bytes, out, out_length);
    return result;
}

int M0_WriteBlock(DEVCONTEXT* target, int page, unsigned char* data, int length, int timeout_ms) {
    card->calls.push_back(call("write", target, {page, length, timeout_ms},
                               {data, static_cast<std::size_t>(length)}));
    return card->write(page);
}

int M0_Interaction(DEVCONTEXT* target, unsigned char* command, int length, unsigned char* reply,
                   int* reply_length, int timeout_ms) {
    const Bytes sent(command, command + length);
    card->calls.push_back(call("interact", target, {length, timeout_ms}));
    Bytes bytes;
    const int result = card->interact(sent, bytes);
    give(bytes, reply, reply_length);
    return result;
}

namespace {

class Ultralight : public testing::Test {
  protected:
    Ultralight() { card = &card_; }
    ~Ultralight() override { card = nullptr; }

    Card card_;
    kit::LogFile log_{1};
    kit::FakeClock clock_;
};

struct PowerOn {
    int result;
    std::string uid;
    int length = -7;
};

PowerOn power_on(int timeout_s, int room = 512) {
    char text[512] = "";
    PowerOn given{0, {}};
    given.result = RD_M0PowerOn(room, text, &given.length, timeout_s);
    given.uid = text;
    return given;
}

// A power-on that fails so often with a number, and then ends with another.
std::function<int(Bytes&)> failing(int times, int result, int last = 0) {
    return [=](Bytes& answer) mutable {
        if (times-- > 0) return result;
        if (last == 0) answer = hex("04 A1");
        return last;
    };
}

TEST_F(Ultralight, CardAnswers) {
    const PowerOn given = power_on(5);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.uid, "04A1B2C3D4E5F6");
    EXPECT_EQ(given.length, 14);
    EXPECT_EQ(card_.calls, Lines{"on 1000"});
    EXPECT_TRUE(clock_.sleeps().empty());
}

TEST_F(Ultralight, AnswerIsCutToTheRoom) {
    EXPECT_EQ(power_on(5, 5).uid, "04A1");
    EXPECT_EQ(power_on(5, 0).length, -22);
    EXPECT_EQ(power_on(5, -1).length, -22);
}

TEST_F(Ultralight, AnswersThatLieAboutTheirLengthAreCut) {
    card_.told_length = 1'000'000;
    EXPECT_EQ(power_on(5).length, 512);
    card_.told_length = -3;
    EXPECT_EQ(power_on(5).length, 0);
}

TEST_F(Ultralight, LimitCountsAttempts) {
    card_.power_on = failing(99, -4005);
    const PowerOn given = power_on(2);
    EXPECT_EQ(given.result, -4001);
    EXPECT_EQ(given.uid, "");
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(card_.calls, (Lines{"on 1000", "on 1000"}));
    EXPECT_EQ(clock_.sleeps(), std::vector<std::chrono::microseconds>(18, 100ms));
    EXPECT_EQ(log_.messages(), (Lines{"Error:Timeout!\r\n", "Error:iErrorCode = -4001\r\n"}));
}

TEST_F(Ultralight, LimitDoesNotLookAtTheClock) {
    clock_.on_sleep([this](int) { clock_.advance(10s); });
    card_.power_on = failing(3, -5001);
    EXPECT_EQ(power_on(4).result, 0);
    EXPECT_EQ(card_.calls.size(), 4u);
}

TEST_F(Ultralight, WithoutLimitWaitsUntilACardComes) {
    card_.power_on = failing(100, -4005);
    EXPECT_EQ(power_on(0).result, 0);
    EXPECT_EQ(clock_.sleeps().size(), 900u);
}

TEST_F(Ultralight, AnotherFailureEndsTheWaitAtOnce) {
    card_.power_on = failing(1, -5001, -99);
    const PowerOn given = power_on(5);
    EXPECT_EQ(given.result, -99);
    EXPECT_EQ(given.length, 0);
    EXPECT_EQ(card_.calls.size(), 2u);
    card_.power_on = failing(0, 0, -62);
    EXPECT_EQ(power_on(5).result, -1004) << "mapped";
}

TEST_F(Ultralight, AnotherFailureWithTheCountAtTheLimitIsATimeout) {
    card_.power_on = failing(0, 0, -99);
    EXPECT_EQ(power_on(0).result, -4001) << "none counted, none allowed";
    card_.power_on = failing(1, -4005, -99);
    EXPECT_EQ(power_on(2).result, -99) << "one counted, two allowed";
}

TEST_F(Ultralight, NegativeLimitIsRefused) {
    EXPECT_EQ(power_on(-1).result, -1007);
    EXPECT_EQ(card_.calls, Lines{});
    EXPECT_EQ(log_.messages(), Lines{"Error:Timeout Error!\r\n"});
}

TEST_F(Ultralight, CancelEndsTheWaitAfterAnyStep) {
    clock_.on_sleep([](int sleeps) {
        if (sleeps == 13) RD_CancelWait();
    });
    card_.power_on = failing(99, -4005);
    const PowerOn given = power_on(0);
    EXPECT_EQ(given.result, -1006);
    EXPECT_EQ(given.length, -7) << "nothing is written";
    EXPECT_EQ(clock_.sleeps().size(), 13u);
    EXPECT_EQ(log_.messages(), (Lines{"Error:Cancel!\r\n", "Error:iErrorCode = -1006\r\n"}));
}

TEST_F(Ultralight, PowerOff) {
    EXPECT_EQ(RD_M0PowerOff(), 0);
    card_.power_off = -5;
    EXPECT_EQ(RD_M0PowerOff(), -5);
    EXPECT_EQ(card_.calls, (Lines{"off 1000", "off 1000"}));
    EXPECT_EQ(log_.messages(),
              (Lines{"Error:M0_PowerOff Error!\r\n", "Error:iErrorCode = -5\r\n"}));
}

struct Read {
    int result;
    std::string text;
};

Read read(int page, int count, int room = 8192) {
    std::string text(8200, '#');
    const int result = RD_M0Read(page, count, room, text.data());
    return {result, text.substr(0, text.find('#'))};
}

TEST_F(Ultralight, ReadsPages) {
    const kit::LogFile log(2);
    EXPECT_EQ(read(4, 7).result, 0);
    EXPECT_EQ(read(0, -1).text, "41424344");
    EXPECT_EQ(card_.calls, (Lines{"read 4 7 3000", "read 0 -1 3000"}));
    const Lines one = {"Info:RD_M0ReadCard, iOutLen = 4, szOutBuf = ABCD\r\n",
                       "Info:RD_M0ReadCard, szOutData = 41424344\r\n"};
    EXPECT_EQ(log.messages(), (Lines{one[0], one[1], one[0], one[1]}));
    EXPECT_EQ(read(4, 1, 5).text, "4142");
    EXPECT_EQ(read(4, 1, 0).text, "");
    EXPECT_EQ(read(4, 1, -1).text, "");
}

TEST_F(Ultralight, FailedReadsAreMapped) {
    card_.read = [](Bytes&) { return -74; };
    const Read given = read(4, 1);
    EXPECT_EQ(given.result, -1013);
    EXPECT_EQ(given.text, "");
    EXPECT_EQ(log_.messages(),
              (Lines{"Error:M0_ReadBlock data Error!\r\n", "Error:iErrorCode = -74\r\n"}));
}

TEST_F(Ultralight, ReadsThatLieAboutTheirLengthAreCut) {
    card_.told_length = 2'000'000'000;
    EXPECT_EQ(read(4, 1).text, "41424344" + std::string(8184, '0'));
    card_.told_length = -1;
    EXPECT_EQ(read(4, 1).text, "");
}

TEST_F(Ultralight, NegativePagesAreRefused) {
    EXPECT_EQ(read(-1, 1).result, -5106);
    EXPECT_EQ(RD_M0Write(-1, "00000000"), -5106);
    EXPECT_EQ(card_.calls, Lines{});
    EXPECT_EQ(log_.messages(), Lines(2, "Error:RD_M0ReadCard data Error!\r\n")) << "not mapped";
}

TEST_F(Ultralight, WritesPackedDigits) {
    EXPECT_EQ(RD_M0Write(4, "12345678"), 0);
    EXPECT_EQ(RD_M0Write(0, "A1B2C"), 0) << "letters lose their high bits, an odd one is left out";
    EXPECT_EQ(RD_M0Write(5, std::string(512, '1').c_str()), 0);
    ASSERT_EQ(card_.calls.size(), 3u);
    EXPECT_EQ(card_.calls[0], "write 4 4 3000 12345678");
    EXPECT_EQ(card_.calls[1], "write 0 2 3000 1122");
    EXPECT_EQ(card_.calls[2], "write 5 256 3000 " + std::string(512, '1'));
}

TEST_F(Ultralight, TextsThatGiveNoDataAreNotWritten) {
    EXPECT_EQ(RD_M0Write(4, ""), -1007);
    EXPECT_EQ(RD_M0Write(4, std::string(514, '1').c_str()), -1007);
    EXPECT_EQ(card_.calls, Lines{});
    EXPECT_EQ(log_.messages().front(), "Error:M0_WriteBlock Error!\r\n");
}

TEST_F(Ultralight, FailedWritesAreMapped) {
    card_.write = [](int) { return -22; };
    EXPECT_EQ(RD_M0Write(4, "12345678"), -1007);
    EXPECT_EQ(log_.messages(),
              (Lines{"Error:M0_WriteBlock Error!\r\n", "Error:iErrorCode = -22\r\n"}));
}

TEST_F(Ultralight, NullPointersAreRefused) {
    char text[8];
    int length = 0;
    EXPECT_EQ(RD_M0PowerOn(8, nullptr, &length, 0), -1007);
    EXPECT_EQ(RD_M0PowerOn(8, text, nullptr, 0), -1007);
    EXPECT_EQ(RD_M0Read(4, 1, 8, nullptr), -1007);
    EXPECT_EQ(RD_M0Write(4, nullptr), -1007);
    EXPECT_EQ(RD_M0DownKey(32, nullptr), -1007);
    EXPECT_EQ(RD_M0VerifyKey(32, nullptr), -1007);
    EXPECT_EQ(card_.calls, Lines{});
}

constexpr const char* key_text = "000102030405060708090A0B0C0D0E0F";

const Lines key_writes = {
    "write 45 17 3000 0302010000000000000000000000000000",
    "write 44 17 3000 0706050400000000000000000000000000",
    "write 47 17 3000 0B0A090800000000000000000000000000",
    "write 46 17 3000 0F0E0D0C00000000000000000000000000",
};

TEST_F(Ultralight, StoresAKeyInFourPages) {
    EXPECT_EQ(RD_M0DownKey(32, key_text), 0);
    EXPECT_EQ(card_.calls, key_writes);
    card_.calls.clear();
    EXPECT_EQ(RD_M0DownKey(33, "000102030405060708090a0b0c0d0e0f\n"), 0);
    EXPECT_EQ(card_.calls, key_writes);
    EXPECT_EQ(log_.messages(), Lines{});
}

TEST_F(Ultralight, AFailedWriteEndsAndHalts) {
    for (std::size_t good = 0; good < 4; ++good) {
        card_.calls.clear();
        card_.write = [left = good](int) mutable { return left-- > 0 ? 0 : -5; };
        EXPECT_EQ(RD_M0DownKey(32, key_text), -5105);
        Lines expected(key_writes.begin(), key_writes.begin() + static_cast<long>(good) + 1);
        expected.emplace_back("off 1000");
        EXPECT_EQ(card_.calls, expected);
    }
}

TEST_F(Ultralight, KeysHave32Digits) {
    const kit::LogFile log(2);
    for (const auto function : {RD_M0DownKey, RD_M0VerifyKey}) {
        EXPECT_EQ(function(31, "000102030405060708090A0B0C0D0E0"), -1007);
        EXPECT_EQ(function(34, "000102030405060708090A0B0C0D0E0F00"), -1007);
        EXPECT_EQ(function(0, ""), -1007);
        EXPECT_EQ(function(-32, key_text), -1007);
        EXPECT_EQ(function(32, "000102030405060708090A0B0C0D0E0"), -1007) << "shorter than told";
    }
    EXPECT_EQ(card_.calls, Lines{});
    EXPECT_EQ(log.messages(), Lines(10, "Info:iKeyLen Error\r\n"));
}

// Two-key triple DES in cipher-block chaining, by OpenSSL.
Bytes des_cbc(const Bytes& key, const Bytes& vector, const Bytes& in, bool encrypt) {
    const Bytes full = kit::join({key, Bytes(key.begin(), key.begin() + 8)});
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    EXPECT_EQ(EVP_CipherInit_ex(cipher.get(), EVP_des_ede3_cbc(), nullptr, full.data(),
                                vector.data(), encrypt ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(cipher.get(), 0);
    Bytes out(in.size() + 8);
    int length = 0;
    EXPECT_EQ(
        EVP_CipherUpdate(cipher.get(), out.data(), &length, in.data(), static_cast<int>(in.size())),
        1);
    out.resize(static_cast<std::size_t>(length));
    return out;
}

Bytes rotated(Bytes bytes) {
    std::rotate(bytes.begin(), bytes.begin() + 1, bytes.end());
    return bytes;
}

// The card's side of the authentication.
class Authenticator {
  public:
    explicit Authenticator(Bytes key) : key_(std::move(key)) {}

    int operator()(const Bytes& command, Bytes& reply) {
        if (command == hex("1A 00")) {
            reply = kit::join({{0xAF}, challenge()});
            return 0;
        }
        if (command.size() != 17 || command[0] != 0xAF) return -1;
        const Bytes sent(command.begin() + 1, command.end());
        const Bytes plain = des_cbc(key_, challenge(), sent, false);
        theirs_ = Bytes(plain.begin(), plain.begin() + 8);
        accepted_ = Bytes(plain.begin() + 8, plain.end()) == rotated(ours_);
        if (!accepted_) {
            reply = {0x00};  // the card's refusal
            return 0;
        }
        reply = kit::join({prefix_, proof(Bytes(sent.begin() + 8, sent.end()))});
        return 0;
    }

    // Before the proof: 00, or nothing.
    void set_prefix(Bytes prefix) { prefix_ = std::move(prefix); }
    void spoil_proof() { spoil_ = true; }

    bool accepted() const { return accepted_; }
    const Bytes& hosts_random() const { return theirs_; }

  private:
    Bytes challenge() const { return des_cbc(key_, Bytes(8, 0), ours_, true); }

    Bytes proof(const Bytes& vector) const {
        Bytes answer = rotated(theirs_);
        if (spoil_) answer[7] ^= 1;
        return des_cbc(key_, vector, answer, true);
    }

    Bytes key_;
    Bytes ours_ = hex("A1 B2 C3 D4 E5 F6 07 18");
    Bytes theirs_;
    Bytes prefix_ = {0x00};
    bool spoil_ = false;
    bool accepted_ = false;
};

class UltralightKey : public Ultralight {
  protected:
    void SetUp() override {
        card_.interact = [this](const Bytes& command, Bytes& reply) {
            return authenticator_(command, reply);
        };
    }

    // A message and the lines that end a failed authentication.
    Lines failure(const char* message, int number) const {
        return {std::string("Error:") + message,
                "Error:iErrorCode = " + std::to_string(number) + "\r\n"};
    }

    Authenticator authenticator_{hex("49454D4B41455242 214E4143554F5946")};
    const char* right_ = "49454D4B41455242214E4143554F5946";
    const char* wrong_ = "49454D4B41455242214E4143554F5956";
};

TEST_F(UltralightKey, BothSidesProveThemselves) {
    EXPECT_EQ(RD_M0VerifyKey(32, right_), 0);
    EXPECT_TRUE(authenticator_.accepted());
    EXPECT_EQ(card_.calls, (Lines{"interact 2 3000", "interact 17 3000"}));
    EXPECT_EQ(log_.messages(), Lines{});
}

TEST_F(UltralightKey, TheAnswerMayComeWithoutItsStatus) {
    authenticator_.set_prefix({});
    EXPECT_EQ(RD_M0VerifyKey(33, "49454d4b41455242214e4143554f5946\n"), 0);
    EXPECT_TRUE(authenticator_.accepted());
}

TEST_F(UltralightKey, ManyRandomNumbersWork) {
    for (int second = 0; second < 300; ++second) {
        clock_.set_wall_time(1'700'000'000 + second);
        ASSERT_EQ(RD_M0VerifyKey(32, right_), 0) << second;
    }
}

TEST_F(UltralightKey, RandomComesFromTheGeneratorSeededWithTheTime) {
    clock_.set_wall_time(1'234'567);
    EXPECT_EQ(RD_M0VerifyKey(32, right_), 0);
    std::srand(1'234'567);
    Bytes expected(8);
    for (std::uint8_t& byte : expected)
        byte = static_cast<std::uint8_t>(std::rand());
    EXPECT_EQ(authenticator_.hosts_random(), expected);
}

TEST_F(UltralightKey, AWrongKeyIsRefusedByTheCard) {
    EXPECT_EQ(RD_M0VerifyKey(32, wrong_), -99);
    EXPECT_FALSE(authenticator_.accepted());
    EXPECT_EQ(card_.calls, (Lines{"interact 2 3000", "interact 17 3000", "off 1000"}));
    EXPECT_EQ(log_.messages(), failure("M0_Interaction Verify Fail\r\n", -99));
}

TEST_F(UltralightKey, ACardThatDoesNotKnowTheKeyIsFoundOut) {
    authenticator_.spoil_proof();
    EXPECT_EQ(RD_M0VerifyKey(32, right_), -99);
    EXPECT_TRUE(authenticator_.accepted());
    EXPECT_EQ(card_.calls.back(), "off 1000");
    EXPECT_EQ(log_.messages(), failure("M0_Interaction Verify Fail\r\n", -99));
}

TEST_F(UltralightKey, AnswersOfAnotherFormProveNothing) {
    for (const char* prefix : {"01", "AF", "00 00", "90 00"}) {
        authenticator_.set_prefix(hex(prefix));
        EXPECT_EQ(RD_M0VerifyKey(32, right_), -99) << prefix;
    }
    for (const int length : {-1, 0, 7, 10, 1'000'000}) {
        card_.interact = [this, length](const Bytes& command, Bytes& reply) {
            const int result = authenticator_(command, reply);
            if (command.size() == 17) card_.told_length = length;
            return result;
        };
        card_.told_length.reset();
        EXPECT_EQ(RD_M0VerifyKey(32, right_), -99) << length;
    }
}

TEST_F(UltralightKey, WithoutAChallengeItEnds) {
    for (const char* answer :
         {"", "00", "AF", "AF 01 02 03 04 05 06 07", "A0 01 02 03 04 05 06 07 08",
          "AF 01 02 03 04 05 06 07 08 09", "01 02 03 04 05 06 07 08"}) {
        const kit::LogFile log(1);
        card_.calls.clear();
        card_.interact = [&](const Bytes&, Bytes& reply) {
            reply = hex(answer);
            return 0;
        };
        EXPECT_EQ(RD_M0VerifyKey(32, right_), -1013) << answer;
        EXPECT_EQ(card_.calls, (Lines{"interact 2 3000", "off 1000"}));
        EXPECT_EQ(log.messages(), failure("M0_Interaction 1A00 Fail\r\n", -74));
    }
}

TEST_F(UltralightKey, FailedExchangesAreMapped) {
    card_.interact = [](const Bytes&, Bytes&) { return -62; };
    EXPECT_EQ(RD_M0VerifyKey(32, right_), -1004);
    EXPECT_EQ(card_.calls, (Lines{"interact 2 3000", "off 1000"}));
    EXPECT_EQ(log_.messages(), failure("M0_Interaction 1A00 Fail\r\n", -62));
}

TEST_F(UltralightKey, FailedSecondExchangesAreMapped) {
    card_.interact = [this](const Bytes& command, Bytes& reply) {
        return command.size() == 2 ? authenticator_(command, reply) : -62;
    };
    EXPECT_EQ(RD_M0VerifyKey(32, right_), -1004);
    EXPECT_EQ(card_.calls, (Lines{"interact 2 3000", "interact 17 3000", "off 1000"}));
    EXPECT_EQ(log_.messages(), failure("M0_Interaction 0xAF+ek(RndA+RndB) Fail\r\n", -62));
}

TEST_F(UltralightKey, AHaltThatFailsChangesNothing) {
    card_.power_off = -5;
    EXPECT_EQ(RD_M0VerifyKey(32, wrong_), -99);
    EXPECT_EQ(log_.messages(),
              (Lines{"Error:M0_PowerOff Error!\r\n", "Error:iErrorCode = -5\r\n",
                     "Error:M0_Interaction Verify Fail\r\n", "Error:iErrorCode = -99\r\n"}));
    card_.write = [](int) { return -5; };
    EXPECT_EQ(RD_M0DownKey(32, key_text), -5105);
}

}  // namespace
