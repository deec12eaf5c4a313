// The section in which a TDF file has its samples. Private to the library.
#pragma once

#include "tdf/TDFFormat.h"

namespace Orm::Lux::Trace {

inline constexpr char kTraceSection[] = "BinTraceData";
inline constexpr std::uint32_t kTraceVersion = 1;
inline constexpr std::uint32_t kTraceHeaderSize = kFixedHeaderSize + sizeof kTraceSection - 1;  // bytes

inline constexpr std::uint32_t kSampleSize = 8;  // bytes

}  // namespace Orm::Lux::Trace
