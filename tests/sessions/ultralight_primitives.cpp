// The Ultralight primitives as a host may bring them: the card's own commands through the reader's
// contactless exchange.
#include <deskreader.h>

#include <algorithm>
#include <array>

namespace {

constexpr int refused = -5104;  // a number of this host's own
constexpr int page_size = 4;
constexpr unsigned char acknowledged = 0x0A;

}  // namespace

int M0_PowerOn(DEVCONTEXT* device, unsigned char* answer, int* answer_length, int timeout_ms) {
    return IC_RFPowerOn(device, answer, answer_length, timeout_ms);
}

int M0_PowerOff(DEVCONTEXT* device, int timeout_ms) {
    return IC_RFPowerOff(device, timeout_ms);
}

int M0_Interaction(DEVCONTEXT* device, unsigned char* command, int length, unsigned char* reply,
                   int* reply_length, int timeout_ms) {
    return IC_RFAPDU(device, command, length, reply, reply_length, timeout_ms);
}

// A count of pages, at most the four that the card gives at once.
int M0_ReadBlock(DEVCONTEXT* device, int page, int count, unsigned char* out, int* out_length,
                 int timeout_ms) {
    unsigned char command[] = {0x30, static_cast<unsigned char>(page)};
    std::array<unsigned char, 1024> reply;
    int length = 0;
    const int result =
        M0_Interaction(device, command, sizeof command, reply.data(), &length, timeout_ms);
    if (result != 0) return result;
    if (length != 4 * page_size) return refused;
    *out_length = std::min(std::max(count, 0) * page_size, length);
    std::copy_n(reply.begin(), *out_length, out);
    return 0;
}

int M0_WriteBlock(DEVCONTEXT* device, int page, unsigned char* data, int, int timeout_ms) {
    std::array<unsigned char, 2 + page_size> command{0xA2, static_cast<unsigned char>(page)};
    std::copy_n(data, page_size, command.begin() + 2);
    std::array<unsigned char, 1024> reply{};
    int length = 0;
    const int result =
        M0_Interaction(device, command.data(), command.size(), reply.data(), &length, timeout_ms);
    if (result != 0) return result;
    return length == 1 && reply[0] == acknowledged ? 0 : refused;
}
