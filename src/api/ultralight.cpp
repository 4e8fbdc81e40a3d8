// MIFARE Ultralight C cards. The operations on the card are functions of another library of the
// process, bound weakly: without them this library loads, and only these cards are out of reach.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>

#include "api/card_wait.h"
#include "api/fail.h"
#include "cards/bytes.h"
#include "status.h"
#include "support/clock.h"

// Declared in deskreader.h for those who provide them; here each may turn out to be missing.
// NOLINTBEGIN(readability-redundant-declaration)
__attribute__((weak)) decltype(M0_PowerOn) M0_PowerOn;
__attribute__((weak)) decltype(M0_PowerOff) M0_PowerOff;
__attribute__((weak)) decltype(M0_ReadBlock) M0_ReadBlock;
__attribute__((weak)) decltype(M0_WriteBlock) M0_WriteBlock;
__attribute__((weak)) decltype(M0_Interaction) M0_Interaction;
// NOLINTEND(readability-redundant-declaration)

using namespace deskreader;
using api::CardData;
using api::fail;
using api::finish;
using cards::Bytes;

namespace {

constexpr int card_limit_ms = 1000;   // activation, halt
constexpr int block_limit_ms = 3000;  // pages, steps of the authentication

constexpr std::size_t key_digits = 32;
constexpr std::size_t key_size = 16;
constexpr std::size_t page_size = 4;
constexpr std::size_t max_data = 256;

using Key = std::array<unsigned char, key_size>;
using Block = std::array<unsigned char, 8>;

bool is_there(bool bound, const char* name) noexcept {
    if (!bound) GLogE("%s is missing!\r\n", name);
    return bound;
}

bool can_power_on() noexcept {
    return is_there(M0_PowerOn != nullptr, "M0_PowerOn");
}
bool can_power_off() noexcept {
    return is_there(M0_PowerOff != nullptr, "M0_PowerOff");
}
bool can_read() noexcept {
    return is_there(M0_ReadBlock != nullptr, "M0_ReadBlock");
}
bool can_write() noexcept {
    return is_there(M0_WriteBlock != nullptr, "M0_WriteBlock");
}
bool can_interact() noexcept {
    return is_there(M0_Interaction != nullptr, "M0_Interaction");
}

int not_supported() noexcept {
    return RD_GetErrorCode(status::not_supported);
}

class M0PowerOn final : public api::PowerOn {
  public:
    int attempt(CardData& answer) noexcept override {
        return M0_PowerOn(&context, answer.bytes.data(), &answer.length, card_limit_ms);
    }
};

constexpr api::WaitRules wait_rules{
    .refused = status::m1_power_on_failed, .pause_steps = 9, .limit = api::Limit::attempts};

// The first 32 characters of a key's text. False for a text shorter than that, or another length
// than 32 or 33.
bool read_key(int length, const char* text, Key& key) noexcept {
    constexpr int least = key_digits;
    const bool fits = length == least || length == least + 1;
    if (!fits || text == nullptr || strnlen(text, key_digits) < key_digits) {
        GLogI("iKeyLen Error\r\n");
        return false;
    }
    GHex2Byte(text, key_digits, key.data(), key_size);
    return true;
}

// Triple DES in cipher-block chaining over the whole of an authentication: every message continues
// from the last cipher block of the one before, the first from zeros.
class Chain {
  public:
    explicit Chain(const Key& key) noexcept : key_(key) {}

    Block encrypt(const Block& plain) noexcept {
        GXor(plain.data(), vector_.data(), vector_.data(), vector_.size());
        G3DesEncrypt(vector_.data(), key_.data(), vector_.data(), key_size);
        return vector_;
    }

    Block decrypt(const Block& cipher) noexcept {
        Block plain;
        G3DesDecrypt(cipher.data(), key_.data(), plain.data(), key_size);
        GXor(plain.data(), vector_.data(), plain.data(), plain.size());
        vector_ = cipher;
        return plain;
    }

  private:
    Key key_;
    Block vector_{};
};

Block rotated(const Block& block) noexcept {
    Block result = block;
    std::rotate(result.begin(), result.begin() + 1, result.end());
    return result;
}

// kept: drawn from the process's own generator, which is seeded with the time in seconds.
Block draw_random() noexcept {
    std::srand(static_cast<unsigned>(clock::wall_time()));  // NOLINT(cert-msc32-c,cert-msc51-cpp)
    Block random;
    for (unsigned char& byte : random) {
        byte = static_cast<unsigned char>(std::rand());  // NOLINT(cert-msc30-c,cert-msc50-cpp)
    }
    return random;
}

int interact(Bytes command, CardData& reply) noexcept {
    std::array<unsigned char, 32> bytes{};
    std::ranges::copy(command, bytes.begin());
    return M0_Interaction(&context, bytes.data(), static_cast<int>(command.size()),
                          reply.bytes.data(), &reply.length, block_limit_ms);
}

Block block_of(Bytes bytes) noexcept {
    Block block;
    std::copy_n(bytes.begin(), block.size(), block.begin());
    return block;
}

// AF and the card's random number, encrypted.
int get_challenge(Block& challenge) noexcept {
    constexpr std::uint8_t authenticate[] = {0x1A, 0x00};
    constexpr std::uint8_t more = 0xAF;
    CardData reply;
    const int result = interact(authenticate, reply);
    if (result != status::ok) return result;
    const Bytes answer = reply.view();
    if (answer.size() != 1 + challenge.size() || answer[0] != more) return status::bad_message;
    challenge = block_of(answer.subspan(1));
    return status::ok;
}

// Answers with both random numbers and gives what the card says to that.
int answer_challenge(const Block& ours, const Block& theirs, CardData& reply) noexcept {
    std::array<std::uint8_t, 1 + 2 * std::tuple_size_v<Block>> message{0xAF};
    std::ranges::copy(theirs, std::ranges::copy(ours, message.begin() + 1).out);
    return interact(message, reply);
}

// 8 bytes, with or without 00 before them; any other answer proves nothing.
bool proves(const CardData& reply, const Block& expected, Chain& chain) noexcept {
    Bytes answer = reply.view();
    if (answer.size() == 1 + expected.size() && answer[0] == 0x00) answer = answer.subspan(1);
    return answer.size() == expected.size() && chain.decrypt(block_of(answer)) == expected;
}

int give_up(const char* text, int result) noexcept {
    RD_M0PowerOff();
    return finish(result, text);
}

}  // namespace

int RD_M0PowerOn(int uid_room, char* uid, int* uid_length, int timeout_s) {
    if (uid == nullptr || uid_length == nullptr) return status::invalid_parameter;
    if (timeout_s >= 0 && !can_power_on()) return not_supported();
    M0PowerOn card;
    return api::power_on(card, wait_rules, timeout_s, {uid, uid_room}, uid_length);
}

int RD_M0PowerOff(void) {
    if (!can_power_off()) return not_supported();
    return finish(M0_PowerOff(&context, card_limit_ms), "M0_PowerOff Error!\r\n");
}

int RD_M0Read(int page, int count, int room, char* out) {
    if (out == nullptr) return status::invalid_parameter;
    if (page < 0) return fail("RD_M0ReadCard data Error!\r\n", status::invalid_page);
    if (!can_read()) return not_supported();
    CardData data;
    const int result =
        M0_ReadBlock(&context, page, count, data.bytes.data(), &data.length, block_limit_ms);
    api::give_block("RD_M0ReadCard", data, {out, room});
    return finish(result, "M0_ReadBlock data Error!\r\n");
}

int RD_M0Write(int page, const char* text) {
    if (text == nullptr) return status::invalid_parameter;
    // kept: the text is that of reading.
    if (page < 0) return fail("RD_M0ReadCard data Error!\r\n", status::invalid_page);
    if (!can_write()) return not_supported();
    std::array<unsigned char, max_data> data{};
    const int length = GAnsi2BCD(text, std::strlen(text), data.data(), data.size());
    const int result =
        length < 0 ? length : M0_WriteBlock(&context, page, data.data(), length, block_limit_ms);
    return finish(result, "M0_WriteBlock Error!\r\n");
}

int RD_M0DownKey(int key_length, const char* key_text) {
    // Page and key are stored with their least significant byte first.
    constexpr int pages[] = {0x2D, 0x2C, 0x2F, 0x2E};
    Key key;
    if (!read_key(key_length, key_text, key)) return status::invalid_parameter;
    if (!can_write() || !can_power_off()) return not_supported();
    // kept: a length of 17; whoever writes takes the page's 4 bytes, and finds zeros behind them.
    const int told_length = key_length / 2 + 1;
    const unsigned char* part = key.data();
    for (const int page : pages) {
        std::array<unsigned char, 2 * key_size> data{};
        std::reverse_copy(part, part + page_size, data.begin());
        part += page_size;
        if (M0_WriteBlock(&context, page, data.data(), told_length, block_limit_ms) != status::ok) {
            RD_M0PowerOff();
            return status::key_not_written;
        }
    }
    return RD_GetErrorCode(status::ok);
}

int RD_M0VerifyKey(int key_length, const char* key_text) {
    Key key;
    if (!read_key(key_length, key_text, key)) return status::invalid_parameter;
    if (!can_interact() || !can_power_off()) return not_supported();

    Block challenge;
    int result = get_challenge(challenge);
    if (result != status::ok) return give_up("M0_Interaction 1A00 Fail\r\n", result);

    Chain chain(key);
    const Block theirs = chain.decrypt(challenge);
    const Block ours = draw_random();
    const Block first = chain.encrypt(ours);
    const Block second = chain.encrypt(rotated(theirs));
    CardData reply;
    result = answer_challenge(first, second, reply);
    if (result != status::ok) return give_up("M0_Interaction 0xAF+ek(RndA+RndB) Fail\r\n", result);
    if (!proves(reply, rotated(ours), chain))
        return give_up("M0_Interaction Verify Fail\r\n", status::failed);
    return status::ok;
}
