// The page that shows a capture.
#pragma once

#include <string>
#include <string_view>

namespace orm_trace {

// Returns: the page, with these elements at the start of its head, and before its script.
std::string PageWith(std::string_view policy, std::string_view capture);

// Returns: the policy of the page as a server sends it, and as a report has it, which loads nothing at all.
std::string ServedPolicy();
std::string ReportPolicy();

}  // namespace orm_trace
