#include "cards/apdu.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr std::size_t most_bytes = 256;  // that a short Le can ask for

std::uint16_t with_count(std::uint16_t status, std::size_t count) {
    return static_cast<std::uint16_t>(status | (count & 0xFF));
}

}  // namespace

std::optional<Command> Command::parse(View bytes) {
    if (bytes.size() < 4) return std::nullopt;
    Command command{bytes[0], bytes[1], bytes[2], bytes[3], {}, {}};
    View rest = bytes.subspan(4);
    if (rest.size() > 1) {
        const std::size_t lc = rest[0];
        if (lc == 0 || rest.size() < 1 + lc || rest.size() > 2 + lc) return std::nullopt;
        command.data = rest.subspan(1, lc);
        rest = rest.subspan(1 + lc);
    }
    if (!rest.empty()) command.le = rest[0] == 0 ? most_bytes : rest[0];
    return command;
}

Bytes with_status(Bytes data, std::uint16_t status) {
    data.push_back(static_cast<std::uint8_t>(status >> 8));
    data.push_back(static_cast<std::uint8_t>(status));
    return data;
}

Bytes status_only(std::uint16_t status) {
    return with_status({}, status);
}

Bytes status_of_tries(int left) {
    if (left <= 0) return status_only(sw_pin_blocked);
    return status_only(with_count(sw_tries_left, static_cast<std::size_t>(std::min(left, 15))));
}

void Responder::begin(const Command& command) {
    if (command.ins != ins_get_response) waiting_.clear();
}

Bytes Responder::read(Bytes data, const Command& command) {
    if (!command.le) return answer(std::move(data));
    const bool wrong_length = *command.le > data.size() && data.size() < most_bytes;
    if (by_procedure_bytes_ && wrong_length && !data.empty())
        return status_only(with_count(sw_right_length, data.size()));
    if (*command.le < data.size()) data.resize(*command.le);
    return with_status(std::move(data), sw_success);
}

Bytes Responder::answer(Bytes data, std::uint16_t status) {
    if (!by_procedure_bytes_ || data.empty()) return with_status(std::move(data), status);
    waiting_ = std::move(data);
    return status_only(status == sw_success ? with_count(sw_bytes_waiting, waiting_.size())
                                            : status);
}

Bytes Responder::get_response(const Command& command) {
    if (waiting_.empty()) return status_only(sw_wrong_parameters);
    if (!command.le) return status_only(sw_wrong_length);
    const std::size_t count = std::min(*command.le, waiting_.size());
    const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(count);
    Bytes part(waiting_.begin(), end);
    waiting_.erase(waiting_.begin(), end);
    return with_status(std::move(part), waiting_.empty()
                                            ? sw_success
                                            : with_count(sw_bytes_waiting, waiting_.size()));
}

}  // namespace virtual_reader
