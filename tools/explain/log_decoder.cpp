#include "log_decoder.h"

#include <algorithm>
#include <charconv>

namespace explain {
namespace {

constexpr std::string_view result_mark = "ret = ";

// " (-4005 card absent ...)" behind a result that has a meaning.
std::string with_result(std::string text, const std::function<std::string(int)>& meaning_of) {
    const std::size_t at = text.find(result_mark);
    if (at == text.npos || !meaning_of) return text;
    const char* begin = text.data() + at + result_mark.size();
    int number = 0;
    const auto read = std::from_chars(begin, text.data() + text.size(), number);
    if (read.ec != std::errc() || number >= 0) return text;
    const std::string meaning = meaning_of(number);
    if (meaning.empty()) return text;
    return text.insert(static_cast<std::size_t>(read.ptr - text.data()), " (" + meaning + ")");
}

bool is_nothing(View bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

View as_view(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

LogDecoder::LogDecoder(std::string_view text, LogOptions options)
    : file_(text), options_(std::move(options)) {
    counts_.lines = static_cast<std::size_t>(std::ranges::count(text, '\n'));
    if (!text.empty() && text.back() != '\n') ++counts_.lines;
}

std::string LogDecoder::own_words(const LogMessage& message) {
    const std::string text =
        options_.unmasked ? std::string(message.text) : mask_.text(message.text);
    return with_result(shown_text(as_view(text)), options_.meaning_of);
}

void LogDecoder::decode_traffic(Direction direction, const LogMessage& message, LogEvent& event) {
    const bool received = direction == Direction::from_reader;
    if (received && is_nothing(message.bytes)) {
        // A failed read is logged as zeros.
        event.title = "no answer";
        event.note = {.meaning = event.title, .problem = true};
        return;
    }
    event.answered = received;
    const Bytes bytes = options_.unmasked ? message.bytes : mask_.wire(direction, message.bytes);
    const auto frame = find_frame(bytes);
    if (!frame) {
        event.title = "no frame";
        event.note = {.bytes = hex(bytes), .meaning = event.title, .problem = !received};
        return;
    }
    event.title = frame_title(direction, *frame, context_);
    event.note = explain_frame(direction, *frame, context_);
    if (frame->begin > 0) {
        event.note.add({.name = "before the frame",
                        .bytes = hex(part(View(bytes), 0, frame->begin)),
                        .problem = true});
    }
}

LogEvent LogDecoder::decoded(const LogMessage& message) {
    LogEvent event{
        message.kind, message.is_error, message.time, message.seconds, message.line, {}, {}, false};
    switch (message.kind) {
        case LogKind::sent:
        case LogKind::sent_raw:
            decode_traffic(Direction::to_reader, message, event);
            break;
        case LogKind::received:
            decode_traffic(Direction::from_reader, message, event);
            break;
        case LogKind::repeated:
        case LogKind::other:
            event.title = own_words(message);
            break;
    }
    if (message.said > message.bytes.size() && event.answered) {
        event.note.add_problem("the log has " + std::to_string(message.bytes.size()) + " of " +
                               byte_count(message.said));
    }
    if (message.damaged) event.note.add_problem("the line is damaged");
    return event;
}

void LogDecoder::count(const LogMessage& message, const LogEvent& event) {
    if (message.damaged) ++counts_.damaged;
    switch (event.kind) {
        case LogKind::sent:
            ++counts_.sent;
            ++counts_.unanswered;
            waits_ = false;
            break;
        case LogKind::sent_raw:
            ++counts_.sent;
            waits_ = true;
            break;
        case LogKind::received:
            if (waits_) ++counts_.unanswered;
            waits_ = false;
            if (!event.answered) break;
            ++counts_.answered;
            if (counts_.unanswered > 0) --counts_.unanswered;
            break;
        case LogKind::other:
            ++counts_.other;
            break;
        case LogKind::repeated:
            break;
    }
}

std::optional<LogEvent> LogDecoder::next() {
    const auto message = file_.next();
    if (!message) return std::nullopt;
    LogEvent event = decoded(*message);
    count(*message, event);
    return event;
}

}  // namespace explain
