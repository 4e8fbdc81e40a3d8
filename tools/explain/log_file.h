// The library's log, taken apart into its messages: "Info(2026-11-21 09:30:00):..." each, written
// as they come, so a message may hold any byte and more than one line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "bytes.h"

namespace explain {

enum class LogKind {
    sent,      // "Send szPackage: " and a frame
    sent_raw,  // "Send Cmd: " and an escape command as it is
    received,  // "Read Pack(len=N): " and what came
    repeated,  // "Cmd: " and "PBOC_IcAPDU sz": what a frame beside them holds too
    other,
};

struct LogMessage {
    LogKind kind = LogKind::other;
    bool is_error = false;
    std::string time;                  // "2026-11-21 09:30:00", empty for text before any message
    std::optional<long long> seconds;  // of the time, from any beginning
    std::string_view text;             // behind the time, without the line end
    Bytes bytes;                       // of traffic
    std::size_t said = 0;              // how many bytes came, of which the log has the first
    bool damaged = false;              // no whole hexadecimal text
    std::size_t line = 0;              // on which it begins, from 1
};

class LogFile {
  public:
    explicit LogFile(std::string_view text) : rest_(text) {}

    std::optional<LogMessage> next();

  private:
    std::string_view rest_;
    std::size_t line_ = 1;
};

}  // namespace explain
