// MIFARE Classic cards as hosts use them: hexadecimal text in and out, arguments checked before the
// reader hears of them.
#include <deskreader.h>

#include <array>
#include <cstring>
#include <string_view>

#include "api/card_wait.h"
#include "api/fail.h"
#include "cards/bytes.h"
#include "status.h"

using namespace deskreader;
using api::CardData;
using api::fail;
using api::finish;
using api::HexBuffer;
using cards::low_byte;

namespace {

constexpr int card_limit_ms = 1000;   // activation, halt, authentication
constexpr int block_limit_ms = 3000;  // blocks and values

constexpr std::size_t key_digits = 12;
constexpr int first_sector = 1;
constexpr int last_sector = 40;
constexpr std::size_t max_key = 1024;  // more than any frame carries

constexpr std::size_t block_size = 16;
constexpr std::size_t value_size = 4;

class M1PowerOn final : public api::PowerOn {
  public:
    int attempt(CardData& answer) noexcept override {
        return M1_PowerOn(&context, answer.bytes.data(), &answer.length, card_limit_ms);
    }
};

constexpr api::WaitRules wait_rules{.refused = status::m1_power_on_failed,
                                    .pause_steps = 9,
                                    .limit = api::Limit::seconds_and_attempts};

// Block 0 holds the maker's data.
bool is_block(int block) noexcept {
    return block > 0;
}

bool is_data(const char* text, std::size_t size) noexcept {
    return IsHexDataValue(text) != 0 && std::strlen(text) == 2 * size;
}

// Bytes read from text, with a zero behind them so that they can be logged as they stand.
template <std::size_t Size>
struct Data {
    std::array<unsigned char, Size + 1> bytes{};
    int length = 0;

    explicit Data(std::string_view text) noexcept
        : length(GHex2Byte(text.data(), text.size(), bytes.data(), Size)) {}

    const char* as_text() const noexcept { return reinterpret_cast<const char*>(bytes.data()); }
};

// The texts of a function that hands a value to the card.
struct ValueTexts {
    const char* bad_data;
    const char* bad_block;
};

int check_value(int block, const char* text, const ValueTexts& texts) noexcept {
    if (text == nullptr) return status::invalid_parameter;
    if (!is_data(text, value_size)) return fail(texts.bad_data, status::data_not_4_bytes);
    if (!is_block(block)) return fail(texts.bad_block, status::invalid_block);
    return status::ok;
}

int check_number(int block, unsigned value, const ValueTexts& texts) noexcept {
    if (static_cast<int>(value) < 1) return fail(texts.bad_data, status::invalid_value);
    if (!is_block(block)) return fail(texts.bad_block, status::invalid_block);
    return status::ok;
}

constexpr ValueTexts write_texts{"RD_M1Write data Error!\r\n", "RD_M1Write iBlock Error!\r\n"};
constexpr ValueTexts increment_texts{"RD_M1Increment data Error!\r\n",
                                     "RD_M1Increment iBlock Error!\r\n"};
constexpr ValueTexts decrement_texts{"RD_M1Decrement data Error!\r\n",
                                     "RD_M1Decrement iBlock Error!\r\n"};
constexpr ValueTexts increase_texts{"RD_M1IncreaseValue nValue data Error!\r\n",
                                    "RD_M1IncreaseValue iBlock Error!\r\n"};
constexpr ValueTexts decrease_texts{"RD_M1DecreaseValue nValue data Error!\r\n",
                                    "RD_M1DecreaseValue iBlock Error!\r\n"};

int check_key(int sector, int key_type, std::size_t digits) noexcept {
    if (digits < key_digits) return fail("RD_M1Verify pin len Error!\r\n", status::key_not_6_bytes);
    if (sector < first_sector || sector > last_sector)
        return fail("RD_M1Verify iSector Error!\r\n", status::invalid_sector);
    if (key_type != 0 && key_type != 1)
        return fail("RD_M1Verify iKeyType Error!\r\n", status::invalid_key_type);
    return status::ok;
}

}  // namespace

int RD_M1Powerup(int uid_room, char* uid, int* uid_length, int timeout_s) {
    if (uid == nullptr || uid_length == nullptr) return status::invalid_parameter;
    M1PowerOn card;
    return api::power_on(card, wait_rules, timeout_s, {uid, uid_room}, uid_length);
}

int RD_M1Powerdown(void) {
    return finish(M1_PowerOff(&context, card_limit_ms), "M1_PowerOff Error!\r\n");
}

int RD_M1Verify(int sector, int key_type, const char* key_text) {
    if (key_text == nullptr) return status::invalid_parameter;
    const std::string_view digits(key_text);
    GLogI("RD_M1Verify len = %d\r\n", static_cast<int>(digits.size()));
    const int refused = check_key(sector, key_type, digits.size());
    if (refused != status::ok) return refused;
    const Data<max_key> key(digits);
    return finish(
        M1_Verify(&context, low_byte(sector), low_byte(key_type), key.bytes.data(), card_limit_ms),
        "M1_Verify Error!\r\n");
}

int RD_M1ReadBlock(int block, int room, char* out) {
    if (out == nullptr) return status::invalid_parameter;
    if (!is_block(block)) return fail("RD_M1ReadBlock data Error!\r\n", status::invalid_block);
    CardData data;
    const int result =
        M1_ReadBlock(&context, low_byte(block), data.bytes.data(), &data.length, block_limit_ms);
    api::give_block("RD_M1ReadBlock", data, {out, room});
    return finish(result, "RD_M1ReadBlock data Error!\r\n");
}

int RD_M1WriteBlock(int block, const char* text) {
    if (text == nullptr) return status::invalid_parameter;
    GLogI("RD_M1WriteBlock, szInData = %s iBlock = %d\r\n", text, block);
    if (!is_data(text, block_size))
        return fail("RD_M1WriteBlock data Error!\r\n", status::data_not_16_bytes);
    if (!is_block(block)) return fail("RD_M1WriteBlock iBlock Error!\r\n", status::invalid_block);
    // kept: both lines speak of reading.
    GLogI("RD_M1ReadBlock, szInData = %s\r\n", text);
    const Data<block_size> data(text);
    GLogI("RD_M1ReadBlock, iInLen = %d, szInBuf = %s\r\n", data.length, data.as_text());
    return finish(
        M1_WriteBlock(&context, low_byte(block), data.bytes.data(), data.length, block_limit_ms),
        "RD_M1WriteBlock data Error!\r\n");
}

int RD_M1Read(int block, int room, char* out) {
    if (out == nullptr) return status::invalid_parameter;
    if (!is_block(block)) return fail("RD_M1Read data Error!\r\n", status::invalid_block);
    CardData data;
    const int result =
        M1_ReadValue(&context, low_byte(block), data.bytes.data(), &data.length, block_limit_ms);
    HexBuffer{out, room}.write(data);
    return finish(result, "RD_M1Read Error!\r\n");
}

int RD_M1Write(int block, const char* text) {
    const int refused = check_value(block, text, write_texts);
    if (refused != status::ok) return refused;
    GLogI("RD_M1Write,  szInData=%s \r\n", text);
    const Data<value_size> value(text);
    GLogI("RD_M1Write, iInLen=%d, szInBuf=%s \r\n", value.length, value.as_text());
    return finish(
        M1_WriteValue(&context, low_byte(block), value.bytes.data(), value.length, block_limit_ms),
        "RD_M1Write Error!\r\n");
}

int RD_M1Increment(int block, const char* text) {
    const int refused = check_value(block, text, increment_texts);
    if (refused != status::ok) return refused;
    const Data<value_size> value(text);
    return finish(
        M1_Increment(&context, low_byte(block), value.bytes.data(), value.length, block_limit_ms),
        "RD_M1Increment Error!\r\n");
}

int RD_M1Decrement(int block, const char* text) {
    const int refused = check_value(block, text, decrement_texts);
    if (refused != status::ok) return refused;
    const Data<value_size> value(text);
    return finish(
        M1_Decrement(&context, low_byte(block), value.bytes.data(), value.length, block_limit_ms),
        "RD_M1Decrement Error!\r\n");
}

int RD_M1IncreaseValue(int block, unsigned value) {
    const int refused = check_number(block, value, increase_texts);
    if (refused != status::ok) return refused;
    return finish(M1_IncreaseValue(&context, low_byte(block), value, block_limit_ms),
                  "RD_M1IncreaseValue Error!\r\n");
}

int RD_M1DecreaseValue(int block, unsigned value) {
    const int refused = check_number(block, value, decrease_texts);
    if (refused != status::ok) return refused;
    return finish(M1_DecreaseValue(&context, low_byte(block), value, block_limit_ms),
                  "RD_M1DecreaseValue Error!\r\n");
}
