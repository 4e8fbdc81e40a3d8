// The library's calls as the tool's commands use them: strings in, strings out, failures thrown.
#pragma once

#include <string>

namespace desk_tool {

std::string device_information();
std::string serial_number();
void set_serial_number(const std::string& text);
void beep(int duration);
void reset();

struct PoweredCard {
    std::string atr;  // hexadecimal
    bool contactless = false;
};

// Waits for a card: slot 0 contact, 1 contactless, 2 either; 0 seconds wait without end.
PoweredCard power_on(int slot, int timeout_s);
void power_off(int slot);

// One APDU in hexadecimal, and the response with its status word.
std::string exchange(int slot, const std::string& apdu);

// Bytes given in hexadecimal as readable text, '.' for what is none.
std::string readable(const std::string& hex);

}  // namespace desk_tool
