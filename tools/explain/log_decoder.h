// A log as what happened: what went out, what came back, and the library's own words between.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "frame_notes.h"
#include "log_file.h"
#include "mask.h"
#include "note.h"

namespace explain {

struct LogEvent {
    LogKind kind = LogKind::other;
    bool is_error = false;
    std::string time;
    std::optional<long long> seconds;
    std::size_t line = 0;
    std::string title;      // one line of it
    Note note;              // of traffic
    bool answered = false;  // something came
};

struct LogCounts {
    std::size_t lines = 0;
    std::size_t sent = 0;
    std::size_t answered = 0;
    std::size_t damaged = 0;  // traffic that is no whole hexadecimal text
    std::size_t other = 0;
};

struct LogOptions {
    bool unmasked = false;
    // What a result number says, in words; called for "ret = N".
    std::function<std::string(int)> meaning_of;
};

class LogDecoder {
  public:
    LogDecoder(std::string_view text, LogOptions options);

    std::optional<LogEvent> next();
    const LogCounts& counts() const { return counts_; }

  private:
    LogEvent decoded(const LogMessage& message);
    void decode_traffic(Direction direction, const LogMessage& message, LogEvent& event);
    std::string own_words(const LogMessage& message);

    LogFile file_;
    LogOptions options_;
    Mask mask_;
    TrafficContext context_;
    LogCounts counts_;
};

}  // namespace explain
