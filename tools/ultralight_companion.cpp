// The Ultralight primitives that deskreader.h asks others for, on the library's own contactless
// commands: for readers that pass what they get to a card of type 2 as it is, and its answer back.
// The virtual reader does.
#include <deskreader.h>

#include <algorithm>
#include <array>

namespace {

constexpr int ok = 0;
constexpr int invalid_argument = -22;
constexpr int malformed = -74;
constexpr int failed = -99;
constexpr int power_on_failed = -4000;
constexpr int activation_refused = -5001;

constexpr unsigned char read_code = 0x30;
constexpr unsigned char write_code = 0xA2;
constexpr unsigned char acknowledged = 0x0A;

constexpr int uid_size = 7;
constexpr int page_size = 4;
constexpr int read_size = 16;  // four pages, of which the first was asked for
constexpr int last_page = 0xFF;
constexpr int max_pages = 256;

using Reply = std::array<unsigned char, 1024>;

int send(DEVCONTEXT* device, const unsigned char* command, int length, Reply& reply,
         int* reply_length, int timeout_ms) {
    *reply_length = 0;
    return IC_RFAPDU(device, command, length, reply.data(), reply_length, timeout_ms);
}

}  // namespace

// A card of another kind has an answer of another length.
int M0_PowerOn(DEVCONTEXT* device, unsigned char* answer, int* answer_length, int timeout_ms) {
    *answer_length = 0;
    const int result = IC_RFPowerOn(device, answer, answer_length, timeout_ms);
    if (result == ok && *answer_length == uid_size) return ok;
    *answer_length = 0;
    if (result < ok && result != power_on_failed) return result;
    IC_RFPowerOff(device, timeout_ms);
    return activation_refused;
}

// The field off is a card halted.
int M0_PowerOff(DEVCONTEXT* device, int timeout_ms) {
    return IC_RFPowerOff(device, timeout_ms);
}

// The count is pages. Each is read alone: a card that is asked for its last ones goes on with its
// first.
int M0_ReadBlock(DEVCONTEXT* device, int page, int count, unsigned char* out, int* out_length,
                 int timeout_ms) {
    *out_length = 0;
    if (page < 0 || count < 1 || count > max_pages || page > last_page - count + 1)
        return invalid_argument;
    int length = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned char command[] = {read_code, static_cast<unsigned char>(page + i)};
        Reply reply;
        int reply_length = 0;
        const int result = send(device, command, sizeof command, reply, &reply_length, timeout_ms);
        if (result != ok) return result;
        if (reply_length != read_size) return failed;
        std::copy_n(reply.begin(), page_size, out + length);
        length += page_size;
    }
    *out_length = length;
    return ok;
}

// Takes the page's bytes, however many are told.
int M0_WriteBlock(DEVCONTEXT* device, int page, unsigned char* data, int length, int timeout_ms) {
    if (page < 0 || page > last_page || length < page_size) return invalid_argument;
    std::array<unsigned char, 2 + page_size> command = {write_code,
                                                        static_cast<unsigned char>(page)};
    std::copy_n(data, page_size, command.begin() + 2);
    Reply reply;
    int reply_length = 0;
    const int result =
        send(device, command.data(), command.size(), reply, &reply_length, timeout_ms);
    if (result != ok) return result;
    return reply_length == 1 && reply[0] == acknowledged ? ok : failed;
}

int M0_Interaction(DEVCONTEXT* device, unsigned char* command, int length, unsigned char* reply,
                   int* reply_length, int timeout_ms) {
    Reply bytes;
    int count = 0;
    const int result = send(device, command, length, bytes, &count, timeout_ms);
    if (result != ok) return result;
    if (count < 0 || count > static_cast<int>(bytes.size())) return malformed;
    *reply_length = static_cast<int>(
        std::copy_n(bytes.begin(), static_cast<std::size_t>(count), reply) - reply);
    return ok;
}
