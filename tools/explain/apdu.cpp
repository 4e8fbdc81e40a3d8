#include "apdu.h"

namespace explain {
namespace {

constexpr std::size_t header_size = 4;
constexpr std::size_t short_limit = 256;
constexpr std::size_t long_limit = 65536;

std::size_t expected_count(std::size_t written, std::size_t limit) {
    return written == 0 ? limit : written;
}

// With lengths of two bytes behind a zero.
bool split_extended(View command, CommandParts& parts) {
    constexpr std::size_t lengths_at = header_size + 1;
    constexpr std::size_t data_at = lengths_at + 2;
    if (command.size() < data_at || command[header_size] != 0) return false;
    const std::size_t first = word_at(command, lengths_at);
    if (command.size() == data_at) {
        parts.expected = expected_count(first, long_limit);
        return true;
    }
    const std::size_t end = data_at + first;
    if (first == 0 || (command.size() != end && command.size() != end + 2)) return false;
    parts.data_at = data_at;
    parts.data_size = first;
    if (command.size() != end) parts.expected = expected_count(word_at(command, end), long_limit);
    return true;
}

void split_short(View command, CommandParts& parts) {
    const std::size_t said = command[header_size];
    parts.data_at = header_size + 1;
    parts.data_size = command.size() - parts.data_at;
    if (parts.data_size == 0) {
        parts.expected = expected_count(said, short_limit);
    } else if (parts.data_size == said + 1) {
        parts.data_size = said;
        parts.expected = expected_count(command.back(), short_limit);
    } else {
        parts.fits = parts.data_size == said;
    }
}

}  // namespace

std::optional<CommandParts> split_command(View command) {
    if (command.size() < header_size) return std::nullopt;
    CommandParts parts{command[0], command[1], command[2], command[3], header_size, 0, {}, true};
    if (command.size() > header_size && !split_extended(command, parts))
        split_short(command, parts);
    return parts;
}

}  // namespace explain
