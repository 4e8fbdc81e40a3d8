// Raw access to a contact or contactless card: power, one APDU, presence. All data are hexadecimal
// text.
#include <deskreader.h>

#include <array>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string_view>

#include "api/cancel.h"
#include "api/slot.h"
#include "status.h"
#include "support/clock.h"

int g_IcType = 0;

using namespace deskreader;
using api::Slot;

namespace {

constexpr int power_limit_ms = 1000;
constexpr int apdu_limit_ms = 3000;
constexpr int detect_limit_ms = 1000;
constexpr int detect_any = 255;
constexpr int max_apdu_text = 1024;

constexpr std::chrono::milliseconds poll_step(100);
constexpr int steps_one_kind = 9;
constexpr int steps_both_kinds = 8;

struct Answer {
    std::array<unsigned char, 512> bytes{};
    int length = 0;
};

int power_on_contact(Answer& answer, int* card_type) noexcept {
    const int result = IC_PowerOn(&context, answer.bytes.data(), &answer.length, power_limit_ms);
    if (result == status::ok) *card_type = g_IcType = api::kind_contact;
    return result;
}

int power_on_contactless(Answer& answer, int* card_type) noexcept {
    const int result = IC_RFPowerOn(&context, answer.bytes.data(), &answer.length, power_limit_ms);
    if (result == status::ok) *card_type = g_IcType = api::kind_contactless;
    return result;
}

int power_on_once(Slot slot, Answer& answer, int* card_type) noexcept {
    answer = {};
    if (slot == Slot::contactless) return power_on_contactless(answer, card_type);
    const int result = power_on_contact(answer, card_type);
    if (slot == Slot::contact || result == status::ok) return result;
    return power_on_contactless(answer, card_type);
}

bool card_may_still_come(int result) noexcept {
    return result == status::card_absent || result == status::power_on_failed;
}

// Lets the time until the next attempt pass. False when the wait was cancelled.
bool pause(Slot slot) noexcept {
    const int steps = slot == Slot::automatic ? steps_both_kinds : steps_one_kind;
    for (int step = 0; step < steps; ++step) {
        clock::sleep(poll_step);
        if (cancel_wait::requested()) {
            GLogE("Cancel!\r\n");
            return false;
        }
    }
    return true;
}

// Tries until a card answers, the time is over or the wait is cancelled.
int wait_for_card(Slot slot, int timeout_s, Answer& answer, int* card_type) noexcept {
    const std::time_t begin = clock::wall_time();
    int result = status::ok;
    do {
        result = power_on_once(slot, answer, card_type);
        if (!card_may_still_come(result)) return result;
        if (!pause(slot)) return status::operation_cancelled;
    } while (timeout_s == 0 || clock::wall_time() - begin < timeout_s);
    return result;
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
    if (timeout_s < 0) {
        GLogE("Timeout Error!\r\n");
        return status::invalid_parameter;
    }
    cancel_wait::clear();
    Answer answer;
    int result = wait_for_card(api::slot_of(slot), timeout_s, answer, card_type);
    if (result == status::operation_cancelled) return RD_GetErrorCode(result);
    // kept: a positive limit that ran out reports why the card was not reached, not that time was
    // up.
    if (result != status::ok && timeout_s == 0) {
        GLogE("Timeout!\r\n");
        result = status::power_on_timed_out;
    }
    *atr_length = GByte2Hex(answer.bytes.data(), answer.length, atr,
                            static_cast<std::size_t>(atr_room < 0 ? 0 : atr_room));
    return RD_GetErrorCode(result);
}

int RD_IcPowerOff(int slot) {
    const int result = power_off(api::slot_of(slot));
    if (result != status::ok) GLogE("IcPowerOff Error!\r\n");
    return RD_GetErrorCode(result);
}

int RD_IcAPDU(int slot, const char* apdu, int apdu_length, int, char* response,
              int* response_length) {
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
    const int result = IC_CardDetect(&context, detect_any, card_state, detect_limit_ms);
    if (result != status::ok) GLogE("IC_CardDetect Error!\r\n");
    return result;  // kept: an internal number
}

int IsHexDataValue(const char* text) {
    const std::size_t bad = std::string_view(text).find_first_not_of("0123456789ABCDEF");
    if (bad == std::string_view::npos) return 1;
    GLogI("szHexData[%d] = %02X\r\n", static_cast<int>(bad), static_cast<unsigned char>(text[bad]));
    return 0;
}
