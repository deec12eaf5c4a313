// What makes two sections the same to a lookup: name and version.
#pragma once

#include <cstdint>

#include "capture/InputFile.h"
#include "tdf/TDFSectionReader.h"

namespace orm_trace {

// Returns: a hash of name and version, the same for one run of the program, and another one for the next.
std::uint64_t HashOf(const Orm::Lux::Trace::TDFSection& section);

// Whether the section at this offset of a file has the same name and version. Errors: Error (kFailed).
bool IsSameAt(const InputFile& file, std::uint64_t offset, const Orm::Lux::Trace::TDFSection& section);

}  // namespace orm_trace
