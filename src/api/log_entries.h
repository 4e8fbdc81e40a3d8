// One record of a payment card's log as the fields that hosts read: which bytes make which field is
// a table for each kind of log.
#pragma once

#include <cstddef>

#include "api/text_record.h"
#include "cards/bytes.h"

namespace deskreader::api {

enum class LogKind { transactions, loads };

// The entries of a log, back to back.
using LogEntries = TextRecord<4096>;

// Adds one entry whole; a record shorter than the layout reads as zeros behind its end. False, and
// nothing added, when the entry no longer fits.
bool add_log_entry(LogEntries& entries, LogKind kind, cards::Bytes record) noexcept;

}  // namespace deskreader::api
