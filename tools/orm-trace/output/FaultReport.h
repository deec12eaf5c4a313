// Reporting what is wrong with a file, on standard error and in a document.
#pragma once

#include <optional>
#include <string>

#include "capture/Origin.h"
#include "capture/SectionWalk.h"
#include "tools/orm-trace/output/ExitCode.h"
#include "tools/orm-trace/output/Json.h"

namespace orm_trace {

// Returns: how a walk ended, as text.
const char* EndText(const SectionWalk& walk);

// Returns: a section of a document: index, offset, length, version, name, and where the data is.
Json SectionJson(std::uint64_t index, const Orm::Lux::Trace::TDFSection& section);

// Returns: the origin of samples, of a document.
Json OriginJson(const Origin& origin);

// Returns: a fault of a document.
Json FaultJson(const LocatedFault& fault);

// Adds "faults" and "trailing_bytes" to the object that is open. REQUIRES: the walk has ended.
void AddFaults(JsonWriter& json, const SectionWalk& walk);

// Reports the fault that ended a walk, if any. Returns: kOk or kNotATrace.
ExitCode ReportFault(const std::string& path, const SectionWalk& walk);
// The same, without a word on what follows.
ExitCode ReportFault(const std::string& path, const std::optional<LocatedFault>& fault);

}  // namespace orm_trace
