#include "reader_commands.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace explain {
namespace {

using enum FrameKind;
using enum Carries;

// More bytes before fewer.
constexpr ReaderCommand commands[] = {
    {ic_frame, "E1..", "power on, contact", answer_to_reset},
    {ic_frame, "D1", "power on, contactless", answer_to_reset},
    {ic_frame, "E2..", "power off, contact"},
    {ic_frame, "D2", "power off, contactless"},
    {ic_frame, "E3..", "APDU, contact", apdu},
    {ic_frame, "D3", "APDU, contactless", apdu},
    {ic_frame, "BB", "set the card's baud rate", baud},
    {ic_frame, "8100", "reader information", text},
    {ic_frame, "F1", "read the serial number", text},
    {ic_frame, "F2", "write the serial number", text},
    {ic_frame, "41", "MIFARE Classic: find", classic_start},
    {ic_frame, "42", "MIFARE Classic: authenticate", classic_key},
    {ic_frame, "43", "MIFARE Classic: read block", classic_read},
    {ic_frame, "44", "MIFARE Classic: write block", classic_write},
    {ic_frame, "45", "MIFARE Classic: read value", classic_value},
    {ic_frame, "46", "MIFARE Classic: write value", classic_value},
    {ic_frame, "47", "MIFARE Classic: increment", classic_value},
    {ic_frame, "48", "MIFARE Classic: decrement", classic_value},
    {ic_frame, "4B", "MIFARE Classic: halt"},
    {union_frame, "F800AABB5544", "reset the reader"},
    {union_frame, "32220000..", "power on, contact", answer_to_reset},
    {union_frame, "32240000", "power on, contactless", answer_to_reset},
    {union_frame, "32250000", "power off, contactless"},
    {union_frame, "32410000", "MIFARE Classic: find", classic_start},
    {union_frame, "3226FF", "APDU, contactless", apdu},
    {union_frame, "3226..", "APDU, contact", apdu},
    {union_frame, "3223..", "power off, contact"},
    {union_frame, "300100", "set the card's baud rate", baud},
    {union_frame, "311100", "reader information", text},
    {union_frame, "3113", "beep", beep},
    {union_frame, "3221", "look for a card", card_state},
    {union_frame, "3225", "MIFARE Classic: halt"},
    {union_frame, "3242", "MIFARE Classic: authenticate", classic_key},
    {union_frame, "3243", "MIFARE Classic: read block", classic_read},
    {union_frame, "3244", "MIFARE Classic: write block", classic_write},
    {union_frame, "3245", "MIFARE Classic: read value", classic_value},
    {union_frame, "3246", "MIFARE Classic: write value", classic_value},
    {union_frame, "3247", "MIFARE Classic: increment", classic_value},
    {union_frame, "3248", "MIFARE Classic: decrement", classic_value},
    {union_frame, "F100", "read the serial number", text},
    {union_frame, "F200", "write the serial number", text},
    {id_frame, "10FF", "identity module: reset"},
    {id_frame, "2001", "identity module: find a card", identity_search},
    {id_frame, "2002", "identity module: select the card", identity_search},
    {id_frame, "3001", "identity module: read text and photo", identity_record},
    {id_frame, "3010", "identity module: read text, photo and fingerprint", identity_record},
    {id_frame, "60", "identity module: set the baud rate", baud},
};

bool matches(const ReaderCommand& command, View body) {
    if (body.size() < command.size()) return false;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const char* digits = command.bytes + 2 * i;
        if (digits[0] == '.') continue;
        if ((digit_value(digits[0]) << 4 | digit_value(digits[1])) != body[i]) return false;
    }
    return true;
}

}  // namespace

std::size_t ReaderCommand::size() const {
    return std::strlen(bytes) / 2;
}

const ReaderCommand* find_command(FrameKind frame, View body) {
    const auto* row = std::ranges::find_if(commands, [&](const ReaderCommand& command) {
        return command.frame == frame && matches(command, body);
    });
    return row == std::end(commands) ? nullptr : row;
}

std::size_t status_size(const Frame& reply) {
    switch (reply.kind) {
        case ic_frame:
            return reply.body_at == 3 ? 0 : 1;
        case union_frame:
            return 2;
        case id_frame:
            return 3;
        case escape:
            return 0;
    }
    return 0;
}

}  // namespace explain
