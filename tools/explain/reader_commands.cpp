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
    {ic, "E1..", "power on, contact", answer_to_reset},
    {ic, "D1", "power on, contactless", answer_to_reset},
    {ic, "E2..", "power off, contact"},
    {ic, "D2", "power off, contactless"},
    {ic, "E3..", "APDU, contact", apdu},
    {ic, "D3", "APDU, contactless", apdu},
    {ic, "BB", "set the card's baud rate", baud},
    {ic, "8100", "reader information", text},
    {ic, "F1", "read the serial number", text},
    {ic, "F2", "write the serial number", text},
    {ic, "41", "MIFARE Classic: find", classic_start},
    {ic, "42", "MIFARE Classic: authenticate", classic_key},
    {ic, "43", "MIFARE Classic: read block", classic_read},
    {ic, "44", "MIFARE Classic: write block", classic_write},
    {ic, "45", "MIFARE Classic: read value", classic_value},
    {ic, "46", "MIFARE Classic: write value", classic_value},
    {ic, "47", "MIFARE Classic: increment", classic_value},
    {ic, "48", "MIFARE Classic: decrement", classic_value},
    {ic, "4B", "MIFARE Classic: halt"},
    {union_, "F800AABB5544", "reset the reader"},
    {union_, "32220000..", "power on, contact", answer_to_reset},
    {union_, "32240000", "power on, contactless", answer_to_reset},
    {union_, "32250000", "power off, contactless"},
    {union_, "32410000", "MIFARE Classic: find", classic_start},
    {union_, "3226FF", "APDU, contactless", apdu},
    {union_, "3226..", "APDU, contact", apdu},
    {union_, "3223..", "power off, contact"},
    {union_, "300100", "set the card's baud rate", baud},
    {union_, "311100", "reader information", text},
    {union_, "3113", "beep", beep},
    {union_, "3221", "look for a card", card_state},
    {union_, "3225", "MIFARE Classic: halt"},
    {union_, "3242", "MIFARE Classic: authenticate", classic_key},
    {union_, "3243", "MIFARE Classic: read block", classic_read},
    {union_, "3244", "MIFARE Classic: write block", classic_write},
    {union_, "3245", "MIFARE Classic: read value", classic_value},
    {union_, "3246", "MIFARE Classic: write value", classic_value},
    {union_, "3247", "MIFARE Classic: increment", classic_value},
    {union_, "3248", "MIFARE Classic: decrement", classic_value},
    {union_, "F100", "read the serial number", text},
    {union_, "F200", "write the serial number", text},
    {id, "10FF", "identity module: reset"},
    {id, "2001", "identity module: find a card", identity_search},
    {id, "2002", "identity module: select the card", identity_search},
    {id, "3001", "identity module: read text and photo", identity_record},
    {id, "3010", "identity module: read text, photo and fingerprint", identity_record},
    {id, "60", "identity module: set the baud rate", baud},
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
        case ic:
            return reply.body_at == 3 ? 0 : 1;
        case union_:
            return 2;
        case id:
            return 3;
        case escape:
            return 0;
    }
    return 0;
}

}  // namespace explain
