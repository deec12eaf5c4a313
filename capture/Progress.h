// Saying how far a long operation has come.
#pragma once

#include <cstdint>
#include <functional>

namespace orm_trace {

// Called by the operation, in its thread, with the bytes that were done since the call before.
using ProgressCallback = std::function<void(std::uint64_t bytes)>;

}  // namespace orm_trace
