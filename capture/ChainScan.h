// Searching for intact sections after a fault.
#pragma once

#include <cstdint>
#include <optional>

#include "capture/InputFile.h"

namespace orm_trace {

// Looks for the first offset, from `from` on, from which a chain of well-formed headers reaches the end of the file
// exactly. Bytes before `trusted` are the data of a section: a chain that begins there counts only if the names of its
// sections there are text.
//
// It goes through these bytes once, backwards, whatever they hold: a header begins such a chain if its section ends at
// the end of the file, or where such a chain begins. Only offsets within the longest section's length are remembered,
// which takes less than 32 MiB for the worst of files, and a hundred bytes a section for others.
// Errors: Error (kFailed).
std::optional<std::uint64_t> FindChainToEnd(const InputFile& file, std::uint64_t from, std::uint64_t trusted);

}  // namespace orm_trace
