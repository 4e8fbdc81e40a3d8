#include "calls.h"

#include <deskreader.h>

#include <array>

#include "errors.h"
#include "waiting.h"

namespace desk_tool {
namespace {

std::string text_of(const char* text, int length) {
    return {text, static_cast<std::size_t>(length < 0 ? 0 : length)};
}

}  // namespace

std::string device_information() {
    std::array<char, 256> text{};
    int length = 0;
    check("RD_GetDevInfo", RD_GetDevInfo(0, text.data(), &length));
    return text_of(text.data(), length);
}

std::string serial_number() {
    std::array<char, 33> text{};
    int length = 0;
    check("RD_GetDevSn", RD_GetDevSn(text.data(), &length));
    return text_of(text.data(), length);
}

void set_serial_number(const std::string& text) {
    check("RD_SetDevSn", RD_SetDevSn(text.c_str(), static_cast<int>(text.size())));
}

void beep(int duration) {
    check("RD_Beep", RD_Beep(duration, 1, 1));
}

void reset() {
    check("RD_Reset", RD_Reset());
}

PoweredCard power_on(int slot, int timeout_s) {
    std::array<char, 512> atr{};
    int length = 0;
    int kind = 0;
    const Waiting waiting(timeout_s);
    check("RD_IcPowerOn", RD_IcPowerOn(slot, atr.size(), atr.data(), &length, &kind, timeout_s));
    return {text_of(atr.data(), length), kind == 1};
}

void power_off(int slot) {
    check("RD_IcPowerOff", RD_IcPowerOff(slot));
}

std::string exchange(int slot, const std::string& apdu) {
    std::array<char, 2048> response{};
    int length = 0;
    check("RD_IcAPDU", RD_IcAPDU(slot, apdu.c_str(), static_cast<int>(apdu.size()), 0,
                                 response.data(), &length));
    return text_of(response.data(), length);
}

std::string readable(const std::string& hex) {
    std::array<unsigned char, 1024> bytes{};
    const int count = GHex2Byte(hex.c_str(), hex.size(), bytes.data(), bytes.size());
    std::string text;
    for (int i = 0; i < count; ++i) {
        const unsigned char byte = bytes[static_cast<std::size_t>(i)];
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    return text;
}

}  // namespace desk_tool
