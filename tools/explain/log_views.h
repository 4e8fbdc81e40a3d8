// A decoded log as people and programs read it.
#pragma once

#include <functional>
#include <string>

#include <cJSON.h>

#include "log_decoder.h"

namespace explain {

// Where the lines go: a line for people, and its object for programs, which takes it over.
using LogSink = std::function<void(cJSON* object, const std::string& line)>;

// Every message in order, what went over the wire with all its parts.
void view_messages(LogDecoder& decoder, bool coloured, const LogSink& sink);

// An exchange a line: when it was sent, how long after the one before, how long it took.
void view_timeline(LogDecoder& decoder, bool coloured, const LogSink& sink);

std::string summary(const LogCounts& counts);

}  // namespace explain
