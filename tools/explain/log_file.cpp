#include "log_file.h"

#include <algorithm>
#include <charconv>

namespace explain {
namespace {

constexpr std::string_view severities[] = {"Info(", "Error("};
constexpr std::string_view time_shape = "dddd-dd-dd dd:dd:dd";  // d: a digit
constexpr std::string_view end_of_time = "):";

constexpr std::string_view sent_mark = "Send szPackage: ";
constexpr std::string_view sent_raw_mark = "Send Cmd: ";
constexpr std::string_view received_mark = "Read Pack(len=";
constexpr std::string_view end_of_length = "): ";
constexpr std::string_view repeated_marks[] = {"Cmd: ", "PBOC_IcAPDU sz"};

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

bool has_time_shape(std::string_view text) {
    if (text.size() < time_shape.size()) return false;
    return std::ranges::equal(
        text.substr(0, time_shape.size()), time_shape,
        [](char one, char shape) { return shape == 'd' ? is_digit(one) : one == shape; });
}

// What stands before the message, or 0 where none begins.
std::size_t size_of_head(std::string_view text) {
    for (const std::string_view severity : severities) {
        if (!text.starts_with(severity)) continue;
        const std::string_view rest = text.substr(severity.size());
        if (!has_time_shape(rest) || !rest.substr(time_shape.size()).starts_with(end_of_time))
            return 0;
        return severity.size() + time_shape.size() + end_of_time.size();
    }
    return 0;
}

// Up to the next line that begins a message.
std::size_t size_of_message(std::string_view text) {
    for (std::size_t at = 0; (at = text.find('\n', at)) != text.npos;) {
        ++at;
        if (size_of_head(text.substr(at)) > 0) return at;
    }
    return text.size();
}

std::string_view without_line_end(std::string_view text) {
    const std::size_t end = text.find_last_not_of("\r\n");
    return end == text.npos ? std::string_view() : text.substr(0, end + 1);
}

long long number_at(std::string_view text, std::size_t at, std::size_t size) {
    long long number = 0;
    std::from_chars(text.data() + at, text.data() + at + size, number);
    return number;
}

// Days since 1970-01-01 of the Gregorian calendar.
long long days_of(long long year, long long month, long long day) {
    const long long of_march = month > 2 ? month - 3 : month + 9;  // years that begin in March
    const long long years = month > 2 ? year : year - 1;
    constexpr long long before_1970 = 719468;
    return 365 * years + years / 4 - years / 100 + years / 400 + (153 * of_march + 2) / 5 + day -
           1 - before_1970;
}

long long seconds_of(std::string_view time) {
    const long long days =
        days_of(number_at(time, 0, 4), number_at(time, 5, 2), number_at(time, 8, 2));
    return ((days * 24 + number_at(time, 11, 2)) * 60 + number_at(time, 14, 2)) * 60 +
           number_at(time, 17, 2);
}

// Digits up to the first other character, which only a line end may be.
void read_hex(std::string_view text, LogMessage& message) {
    int high = -1;
    for (const char character : text) {
        const int value = digit_value(character);
        if (value < 0) {
            message.damaged = true;
            break;
        }
        if (high >= 0) message.bytes.push_back(static_cast<std::uint8_t>(high << 4 | value));
        high = high >= 0 ? -1 : value;
    }
    if (high >= 0) message.damaged = true;
}

void read_received(std::string_view text, LogMessage& message) {
    const std::size_t end = text.find(end_of_length);
    // Nothing behind the blank: the line end took it.
    const bool empty = end == text.npos;
    const std::string_view digits = text.substr(0, empty ? text.find(')') : end);
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), message.said);
    if (read.ec != std::errc() || read.ptr != digits.data() + digits.size()) message.damaged = true;
    if (!empty) read_hex(text.substr(end + end_of_length.size()), message);
}

void classify(LogMessage& message) {
    const std::string_view text = message.text;
    if (text.starts_with(sent_mark)) {
        message.kind = LogKind::sent;
        read_hex(text.substr(sent_mark.size()), message);
        message.said = message.bytes.size();
    } else if (text.starts_with(received_mark)) {
        message.kind = LogKind::received;
        read_received(text.substr(received_mark.size()), message);
    } else if (text.starts_with(sent_raw_mark)) {
        message.kind = LogKind::sent_raw;
        const std::string_view raw = text.substr(sent_raw_mark.size());
        message.bytes.assign(raw.begin(), raw.end());
        message.said = raw.size();
    } else if (std::ranges::any_of(repeated_marks,
                                   [&](auto mark) { return text.starts_with(mark); })) {
        message.kind = LogKind::repeated;
    }
}

}  // namespace

std::optional<LogMessage> LogFile::next() {
    if (rest_.empty()) return std::nullopt;
    const std::string_view whole = rest_.substr(0, size_of_message(rest_));
    rest_.remove_prefix(whole.size());
    LogMessage message;
    message.line = line_;
    line_ += static_cast<std::size_t>(std::ranges::count(whole, '\n'));
    const std::size_t head = size_of_head(whole);
    message.text = without_line_end(whole.substr(head));
    if (head == 0) return message;
    message.is_error = whole[0] == 'E';
    message.time = whole.substr(head - end_of_time.size() - time_shape.size(), time_shape.size());
    message.seconds = seconds_of(message.time);
    classify(message);
    return message;
}

}  // namespace explain
