// Reporting that a capture has fewer samples than were asked for.
#pragma once

#include <cstdint>
#include <string>

#include "tools/orm-trace/output/ExitCode.h"

namespace orm_trace {

// A run of samples that was asked for, and what was read of it.
struct SamplesRead {
    std::uint64_t first = 0;
    std::uint64_t wanted = 0;
    std::uint64_t read = 0;
    std::uint64_t total = 0;  // samples of the capture
    bool hasGrown = false;    // the capture has more by now, and all were asked for
};

// Reports what is missing, with the reason, by default that the trace ends or has grown. Returns: kOk if nothing is, or
// kIncomplete.
ExitCode ReportMissing(const std::string& file, const SamplesRead& samples, const std::string& reason = "");

}  // namespace orm_trace
