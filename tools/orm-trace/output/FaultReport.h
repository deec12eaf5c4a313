// Telling what is wrong with a file: on standard error and, where there is one, in the document.
#pragma once

#include <string>

#include "tools/orm-trace/output/Json.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

inline constexpr const char* kOnBoundary = "ends on a section boundary";

// Returns: number, offset, version, name, length, and where the data is; a section of a document.
Json SectionJson(std::uint64_t number, const Orm::Lux::Trace::TDFSection& section);

// Reports the damage that has ended a walk, if any; the document gets "faults" and "bytes_behind".
// Returns: kOk or kNotATrace.
ExitCode ReportDamage(const std::string& path, const SectionWalk& walk, JsonWriter* json);

// Returns: a fault of a document.
Json FaultJson(const Fault& fault);

}  // namespace orm_trace
