// The commands of the reader's identity module: two bytes each, and three bytes of status before
// what the reply brings.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "status.h"

namespace deskreader::cards {
namespace {

// Three bytes of status in one number.
using Status = std::uint32_t;

constexpr Status done = 0x000090;
constexpr Status card_found = 0x00009F;
constexpr Status no_card = 0x000080;
constexpr Status not_selected = 0x000081;
constexpr Status not_read = 0x000041;

constexpr std::size_t status_size = 3;
constexpr std::size_t short_reply = 256;
constexpr std::size_t long_reply = 4096;

struct Command {
    std::array<std::uint8_t, 2> bytes;
    Status success;
    Status missing_card;  // -3001; `success` where the command knows no such status
    int other;
    std::size_t reply_room;
};

constexpr int unreachable = status::id_module_unreachable;
constexpr int failed = status::id_read_failed;
constexpr int refused = status::id_baud_failed;

constexpr Command reset{{0x10, 0xFF}, done, done, unreachable, short_reply};
constexpr Command find{{0x20, 0x01}, card_found, no_card, failed, short_reply};
constexpr Command select{{0x20, 0x02}, done, not_selected, failed, short_reply};
constexpr Command read_blocks{{0x30, 0x01}, done, not_read, failed, long_reply};
constexpr Command read_blocks_and_fingerprint{{0x30, 0x10}, done, not_read, failed, long_reply};
constexpr Command set_baud{{0x60, 0x00}, done, done, refused, short_reply};

struct BaudCode {
    int baud;
    std::uint8_t code;
};

constexpr BaudCode baud_codes[] = {
    {9600, 0x04}, {19200, 0x03}, {38400, 0x02}, {57600, 0x01}, {115200, 0x00},
};

struct Reply {
    std::array<std::uint8_t, long_reply> bytes{};
    std::size_t received = 0;  // of the whole frame

    Status status() const noexcept {
        return static_cast<Status>(bytes[0]) << 16 | static_cast<Status>(bytes[1]) << 8 | bytes[2];
    }
};

int run(const Command& command, DEVCONTEXT* device, int timeout_ms, Reply& reply) noexcept {
    const int result =
        ID_SendCmd(device, command.bytes.data(), static_cast<int>(command.bytes.size()),
                   reply.bytes.data(), static_cast<int>(command.reply_room), timeout_ms);
    if (result <= 0) return result;
    reply.received = static_cast<std::size_t>(result);
    if (reply.status() == command.success) return status::ok;
    return reply.status() == command.missing_card ? status::id_card_not_found : command.other;
}

// A host that has brought a library of its own does all but the baud rate through that.
bool is_bypassed() noexcept {
    return g_hSdtDll != nullptr;
}

int run_alone(const Command& command, DEVCONTEXT* device, int timeout_ms) noexcept {
    if (is_bypassed()) return status::ok;
    Reply reply;
    return run(command, device, timeout_ms, reply);
}

// `lengths` is the size of the fields before the blocks that say how long each is.
int read_record(const Command& command, std::size_t lengths, DEVCONTEXT* device,
                unsigned char* record, int* record_length, int timeout_ms) noexcept {
    if (is_bypassed()) return status::ok;
    if (record == nullptr || record_length == nullptr) return status::invalid_argument;
    Reply reply;
    const int result = run(command, device, timeout_ms, reply);
    if (result != status::ok) return result;
    // kept: as many bytes fewer than the whole frame as stand before the blocks in the reply, so
    // some that mean nothing follow the blocks.
    const std::size_t begin = status_size + lengths;
    const std::size_t size = reply.received - std::min(begin, reply.received);
    std::ranges::copy(std::span(reply.bytes).subspan(begin, std::min(size, long_reply - begin)),
                      record);
    *record_length = static_cast<int>(size);
    return status::ok;
}

}  // namespace
}  // namespace deskreader::cards

using namespace deskreader;
using namespace deskreader::cards;

void* g_hSdtDll = nullptr;
char g_szSdtDllName[260] = "//sdtapi.dll";

int ID_ResetCard(DEVCONTEXT* device, int timeout_ms) {
    return run_alone(reset, device, timeout_ms);
}

int ID_FindCard(DEVCONTEXT* device, int timeout_ms) {
    return run_alone(cards::find, device, timeout_ms);
}

int ID_SelectCard(DEVCONTEXT* device, int timeout_ms) {
    return run_alone(cards::select, device, timeout_ms);
}

int ID_ReadCard(DEVCONTEXT* device, unsigned char* record, int* record_length, int timeout_ms) {
    return read_record(read_blocks, 4, device, record, record_length, timeout_ms);
}

int ID_ReadCard_FP(DEVCONTEXT* device, unsigned char* record, int* record_length, int timeout_ms) {
    return read_record(read_blocks_and_fingerprint, 6, device, record, record_length, timeout_ms);
}

int ID_SetIdBaud(DEVCONTEXT* device, int baud, int timeout_ms) {
    const auto* row = std::ranges::find(baud_codes, baud, &BaudCode::baud);
    if (row == std::end(baud_codes)) return status::invalid_parameter;
    Command command = set_baud;
    command.bytes[1] = row->code;
    Reply reply;
    return run(command, device, timeout_ms, reply);
}

int ID_ChangeSDT(int) {
    return status::ok;
}

void ID_IsTimeOut(const char*, int*) {}
