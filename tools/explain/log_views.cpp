#include "log_views.h"

#include <algorithm>

namespace explain {
namespace {

bool is_sent(const LogEvent& event) {
    return event.kind == LogKind::sent || event.kind == LogKind::sent_raw;
}

const char* direction_of(const LogEvent& event) {
    return is_sent(event) ? "to_reader" : "from_reader";
}

bool is_traffic(const LogEvent& event) {
    return is_sent(event) || event.kind == LogKind::received;
}

cJSON* event_object(const LogEvent& event) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddNumberToObject(object, "line", static_cast<double>(event.line));
    if (!event.time.empty()) cJSON_AddStringToObject(object, "time", event.time.c_str());
    if (is_traffic(event)) {
        cJSON_AddStringToObject(object, "direction", direction_of(event));
        cJSON_AddStringToObject(object, "title", event.title.c_str());
        cJSON_AddItemToObject(object, "frame", as_json(event.note));
    } else {
        cJSON_AddStringToObject(object, "severity", event.is_error ? "error" : "information");
        cJSON_AddStringToObject(object, "text", event.title.c_str());
    }
    return object;
}

std::string event_text(const LogEvent& event, bool coloured) {
    const std::string time = event.time.empty() ? std::string() : event.time + "  ";
    if (!is_traffic(event)) {
        const Colour colour = event.is_error ? Colour::problem : Colour::quiet;
        return painted(time, Colour::quiet, coloured) + "  " +
               painted(event.title, colour, coloured);
    }
    const bool bad = event.kind == LogKind::received && !event.answered;
    const Colour colour = bad ? Colour::problem : is_sent(event) ? Colour::sent : Colour::received;
    std::string text = painted(time, Colour::quiet, coloured) +
                       painted((is_sent(event) ? "> " : "< ") + event.title, colour, coloured);
    if (!bad) text += "\n" + as_text(event.note, coloured, 2);
    if (text.back() == '\n') text.pop_back();
    return text;
}

// What was sent, and what came of it.
struct Exchange {
    LogEvent sent;
    std::string answer = "nothing was read";
    std::optional<long long> answered_at{};
    bool good = false;
};

std::optional<long long> between(std::optional<long long> begin, std::optional<long long> end) {
    if (!begin || !end) return std::nullopt;
    return std::max(0LL, *end - *begin);
}

std::string seconds_text(std::optional<long long> seconds, const char* sign) {
    return seconds ? sign + std::to_string(*seconds) + " s" : "";
}

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) text.insert(0, width - text.size(), ' ');
    return text;
}

class Timeline {
  public:
    Timeline(bool coloured, const LogSink& sink) : coloured_(coloured), sink_(sink) {}

    void take(const LogEvent& event) {
        if (is_sent(event)) {
            finish();
            open_ = Exchange{.sent = event};
        } else if (event.kind == LogKind::received && open_) {
            open_->answer = event.title;
            open_->answered_at = event.seconds;
            open_->good = event.answered;
            finish();
        }
    }

    void finish() {
        if (!open_) return;
        const auto gap = between(before_, open_->sent.seconds);
        const auto took = between(open_->sent.seconds, open_->answered_at);
        sink_(object(gap, took), line(gap, took));
        before_ = open_->answered_at ? open_->answered_at : open_->sent.seconds;
        open_.reset();
    }

  private:
    cJSON* object(std::optional<long long> gap, std::optional<long long> took) const {
        cJSON* object = cJSON_CreateObject();
        cJSON_AddNumberToObject(object, "line", static_cast<double>(open_->sent.line));
        cJSON_AddStringToObject(object, "time", open_->sent.time.c_str());
        if (gap) cJSON_AddNumberToObject(object, "gap_s", static_cast<double>(*gap));
        if (took) cJSON_AddNumberToObject(object, "took_s", static_cast<double>(*took));
        cJSON_AddStringToObject(object, "sent", open_->sent.title.c_str());
        cJSON_AddStringToObject(object, "answer", open_->answer.c_str());
        cJSON_AddBoolToObject(object, "answered", open_->good);
        return object;
    }

    std::string line(std::optional<long long> gap, std::optional<long long> took) const {
        constexpr std::size_t gap_width = 8;
        constexpr std::size_t took_width = 6;
        return painted(open_->sent.time, Colour::quiet, coloured_) +
               padded(seconds_text(gap, "+"), gap_width) +
               padded(seconds_text(took, ""), took_width) + "  " +
               painted(open_->sent.title, Colour::sent, coloured_) + "  ->  " +
               painted(open_->answer, open_->good ? Colour::received : Colour::problem, coloured_);
    }

    bool coloured_;
    const LogSink& sink_;
    std::optional<Exchange> open_;
    std::optional<long long> before_;
};

std::string counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

// What a frame repeats is left out.
void view_messages(LogDecoder& decoder, bool coloured, const LogSink& sink) {
    while (const auto event = decoder.next()) {
        if (event->kind == LogKind::repeated) continue;
        sink(event_object(*event), event_text(*event, coloured));
    }
}

void view_timeline(LogDecoder& decoder, bool coloured, const LogSink& sink) {
    Timeline timeline(coloured, sink);
    while (const auto event = decoder.next())
        timeline.take(*event);
    timeline.finish();
}

std::string summary(const LogCounts& counts) {
    const std::size_t missing = counts.sent - std::min(counts.sent, counts.answered);
    return counted(counts.lines, "line") + ": " + counted(counts.sent, "command") + ", " +
           std::to_string(missing) + " without an answer, " +
           counted(counts.other, "other message") + ", " + std::to_string(counts.damaged) +
           " damaged";
}

}  // namespace explain
