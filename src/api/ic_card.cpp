// Raw access to a contact or contactless card: power, one APDU, presence. All data are hexadecimal
// text.
#include <deskreader.h>

#include <array>
#include <cstring>
#include <string_view>

#include "api/card_wait.h"
#include "api/slot.h"
#include "status.h"
#include "support/pointers.h"

int g_IcType = 0;

using namespace deskreader;
using api::CardData;
using api::Slot;

namespace {

constexpr int power_limit_ms = 1000;
constexpr int apdu_limit_ms = 3000;
constexpr int detect_limit_ms = 1000;
constexpr int detect_any = 255;
constexpr int max_apdu_text = 1024;

int power_on_contact(CardData& answer, int* card_type) noexcept {
    const int result = IC_PowerOn(&context, answer.bytes.data(), &answer.length, power_limit_ms);
    if (result == status::ok) *card_type = g_IcType = api::kind_contact;
    return result;
}

int power_on_contactless(CardData& answer, int* card_type) noexcept {
    const int result = IC_RFPowerOn(&context, answer.bytes.data(), &answer.length, power_limit_ms);
    if (result == status::ok) *card_type = g_IcType = api::kind_contactless;
    return result;
}

class IcPowerOn final : public api::PowerOn {
  public:
    IcPowerOn(Slot slot, int* card_type) noexcept : slot_(slot), card_type_(card_type) {}

    int attempt(CardData& answer) noexcept override {
        if (slot_ == Slot::contactless) return power_on_contactless(answer, card_type_);
        const int result = power_on_contact(answer, card_type_);
        if (slot_ == Slot::contact || result == status::ok) return result;
        return power_on_contactless(answer, card_type_);
    }

  private:
    Slot slot_;
    int* card_type_;
};

constexpr api::WaitRules wait_for_one_kind{
    .refused = status::power_on_failed, .pause_steps = 9, .limit = api::Limit::seconds};
constexpr api::WaitRules wait_for_both_kinds{
    .refused = status::power_on_failed, .pause_steps = 8, .limit = api::Limit::seconds};

bool is_upper_case_digit(char character) noexcept {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F');
}

bool is_apdu_text(const char* text, int length) noexcept {
    if (std::strlen(text) < static_cast<std::size_t>(length < 0 ? 0 : length)) return false;
    return length >= 1 && length <= max_apdu_text && length % 2 == 0 && IsHexDataValue(text) != 0;
}

using Exchange = decltype(&IC_APDU);

// The kind of exchange to try first, and the one to try if that fails.
struct Attempts {
    Exchange first;
    Exchange second;
};

Attempts attempts_for(Slot slot) noexcept {
    if (slot == Slot::contact) return {IC_APDU, nullptr};
    if (slot == Slot::contactless) return {IC_RFAPDU, nullptr};
    if (g_IcType != api::kind_contact) return {IC_RFAPDU, IC_APDU};
    return {IC_APDU, IC_RFAPDU};
}

int power_off(Slot slot) noexcept {
    if (slot == Slot::contact) return IC_PowerOff(&context, power_limit_ms);
    if (slot == Slot::contactless) return IC_RFPowerOff(&context, power_limit_ms);
    if (g_IcType == api::kind_contact) {
        const int result = IC_PowerOff(&context, power_limit_ms);
        if (result == status::ok) return result;
    }
    return IC_RFPowerOff(&context, power_limit_ms);
}

}  // namespace

int RD_IcPowerOn(int slot, int atr_room, char* atr, int* atr_length, int* card_type,
                 int timeout_s) {
    if (any_null(atr, atr_length, card_type)) return status::invalid_parameter;
    const Slot wanted = api::slot_of(slot);
    IcPowerOn card(wanted, card_type);
    return api::power_on(card, wanted == Slot::automatic ? wait_for_both_kinds : wait_for_one_kind,
                         timeout_s, {atr, atr_room}, atr_length);
}

int RD_IcPowerOff(int slot) {
    const int result = power_off(api::slot_of(slot));
    if (result != status::ok) GLogE("IcPowerOff Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_IcAPDU(int slot, const char* apdu, int apdu_length, int, char* response,
              int* response_length) {
    if (any_null(apdu, response, response_length)) return status::invalid_parameter;
    if (!is_apdu_text(apdu, apdu_length)) {
        GLogE("ApduData Error!\r\n");
        return status::invalid_parameter;
    }
    std::array<unsigned char, 1024> command;
    const int command_length =
        GHex2Byte(apdu, static_cast<std::size_t>(apdu_length), command.data(), command.size());

    std::array<unsigned char, 1024> bytes;
    int length = 0;
    const Attempts attempts = attempts_for(api::slot_of(slot));
    int result = attempts.first(&context, command.data(), command_length, bytes.data(), &length,
                                apdu_limit_ms);
    if (result != status::ok && attempts.second != nullptr) {
        result = attempts.second(&context, command.data(), command_length, bytes.data(), &length,
                                 apdu_limit_ms);
    }
    if (result != status::ok) GLogE("IcApdu Error!\r\n");
    // kept: without a response the room is 0 and the length becomes the converter's -22.
    *response_length =
        GByte2Hex(bytes.data(), length, response, static_cast<std::size_t>(length) * 2);
    return RD_GetErrorCode(result);
}

int RD_CardDetect(int* card_state) {
    if (any_null(card_state)) return status::invalid_parameter;
    const int result = IC_CardDetect(&context, detect_any, card_state, detect_limit_ms);
    if (result != status::ok) GLogE("IC_CardDetect Error!\r\n");
    return result;  // kept: an internal number
}

int IsHexDataValue(const char* text) {
    if (any_null(text)) return 0;
    std::size_t bad = 0;
    while (is_upper_case_digit(text[bad]))
        ++bad;
    if (text[bad] == '\0') return 1;
    GLogI("szHexData[%d] = %02X\r\n", static_cast<int>(bad), static_cast<unsigned char>(text[bad]));
    return 0;
}
