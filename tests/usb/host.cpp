// A host at the counter that does what it is told, a line of standard input each, and answers each
// with a line: the result of the function, and behind a blank what it brought.
//
//   open, close           RD_Open(0), RD_Close
//   info, sn, beep        RD_GetDevInfo, RD_GetDevSn, RD_Beep
//   atr SLOT SECONDS      RD_IcPowerOn
//   apdu SLOT HEX         RD_IcAPDU
//   off SLOT              RD_IcPowerOff
//   card SLOT LETTERS     RD_ICGetInfo
//   track SECONDS         RD_ReadMagCard, the second track
//   release               COMM_Exit: hidapi and libusb begin anew
//   files, threads        how many this process has
//   drop-powers           the rights of files are for it, too, if it is root
//   quit
#include <deskreader.h>

#include <array>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

// libusb 1.0.26 destroys the lock of a transfer as soon as its last user has let go of it, which is
// known to be harmless and shown as a race under the thread sanitizer, now and then.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:libusb-1.0.so\n";
}

namespace {

constexpr int usb = 0;
constexpr int baud = 9600;

struct Answer {
    int result = 0;
    std::string brought = {};
};

struct Order {
    const char* name;
    Answer (*carry_out)(std::istream& words);
};

std::string text_of(const char* text, int length) {
    return {text, static_cast<std::size_t>(length < 0 ? 0 : length)};
}

int count_in(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

// No capabilities. It stays who it is, whom the library's log belongs to.
int drop_powers() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return static_cast<int>(syscall(SYS_capset, &header, none));
}

Answer info(std::istream&) {
    std::array<char, 256> text{};
    int length = 0;
    const int result = RD_GetDevInfo(0, text.data(), &length);
    return {result, result == 0 ? text_of(text.data(), length) : ""};
}

Answer serial_number(std::istream&) {
    std::array<char, 33> text{};
    int length = 0;
    const int result = RD_GetDevSn(text.data(), &length);
    return {result, text_of(text.data(), length)};
}

Answer power_on(std::istream& words) {
    int slot = 0;
    int seconds = 0;
    words >> slot >> seconds;
    std::array<char, 512> atr{};
    int length = 0;
    int kind = 0;
    const int result = RD_IcPowerOn(slot, atr.size(), atr.data(), &length, &kind, seconds);
    return {result, result == 0 ? text_of(atr.data(), length) : ""};
}

Answer exchange(std::istream& words) {
    int slot = 0;
    std::string apdu;
    words >> slot >> apdu;
    std::array<char, 2048> response{};
    int length = 0;
    const int result =
        RD_IcAPDU(slot, apdu.c_str(), static_cast<int>(apdu.size()), 0, response.data(), &length);
    return {result, result == 0 ? text_of(response.data(), length) : ""};
}

Answer power_off(std::istream& words) {
    int slot = 0;
    words >> slot;
    return {RD_IcPowerOff(slot)};
}

Answer track(std::istream& words) {
    int seconds = 0;
    words >> seconds;
    std::array<char, 128> text{};
    int length = 0;
    const int result = RD_ReadMagCard(0, 2, 0, nullptr, nullptr, text.size(), text.data(), &length,
                                      0, nullptr, nullptr, seconds);
    return {result, result == 0 ? text_of(text.data(), length) : ""};
}

Answer card(std::istream& words) {
    int slot = 0;
    std::string letters;
    words >> slot >> letters;
    std::array<char, 3627> out{};
    const int result = RD_ICGetInfo(slot, letters.c_str(), 0, out.data(), 1);
    return {result, result == 0 ? out.data() : ""};
}

constexpr Order orders[] = {
    {"open", [](std::istream&) { return Answer{RD_Open(usb, baud, 0)}; }},
    {"close", [](std::istream&) { return Answer{RD_Close()}; }},
    {"info", info},
    {"sn", serial_number},
    {"beep", [](std::istream&) { return Answer{RD_Beep(10, 1, 1)}; }},
    {"atr", power_on},
    {"apdu", exchange},
    {"off", power_off},
    {"card", card},
    {"track", track},
    {"release", [](std::istream&) { return Answer{COMM_Exit()}; }},
    {"files", [](std::istream&) { return Answer{count_in("/proc/self/fd")}; }},
    {"threads", [](std::istream&) { return Answer{count_in("/proc/self/task")}; }},
    {"drop-powers", [](std::istream&) { return Answer{drop_powers()}; }},
};

Answer carry_out(const std::string& line) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    for (const Order& order : orders) {
        if (name == order.name) return order.carry_out(words);
    }
    return {1, "no such order: " + line};
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line) && line != "quit";) {
        const Answer answer = carry_out(line);
        std::cout << answer.result << (answer.brought.empty() ? "" : " ") << answer.brought
                  << std::endl;
    }
    return 0;
}
