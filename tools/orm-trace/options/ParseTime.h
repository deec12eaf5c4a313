// Calendar times as the command line writes them.
#pragma once

#include <optional>
#include <string>

#include "analysis/ExactTime.h"
#include "timestamp/Timestamp.h"

namespace orm_trace {

// Returns: the time that text writes as YYYY-MM-DD HH:MM:SS[.ffffff]; nothing for any other text.
std::optional<Orm::Lux::Trace::uTimestampCD> ParseTime(std::string text);

// Returns: the same as microseconds. Errors: Error (kArgument), about this option.
Microseconds ParseMicroseconds(const char* option, const std::string& text);

}  // namespace orm_trace
