// The page as one file that needs no server.
#pragma once

#include <cstdint>
#include <string>

#include "tools/orm-trace/view/CaptureView.h"

namespace orm_trace {

// Samples whose words a report holds; none if both are equal.
struct ReportWords {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
};

// Returns: the page with what it shows of a capture: the aggregates, with as many columns as a file of reasonable size has
//          room for, and these words. name: of the file, as the page shows it.
// Errors:  those of CaptureView.
std::string ReportText(const CaptureView& view, const std::string& name, const ReportWords& words);

}  // namespace orm_trace
