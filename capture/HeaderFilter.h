// A quick way past bytes at which no header begins, for searches that look at every byte of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tdf/TDFFormat.h"

namespace orm_trace {

inline constexpr std::size_t kFilterStep = 8;                                                         // offsets
inline constexpr std::size_t kFilterReach = kFilterStep - 1 + Orm::Lux::Trace::kFixedHeaderSize;  // bytes

// Returns: whether a well-formed header begins at none of kFilterStep offsets, of which `at` is the first.
// REQUIRES: kFilterReach bytes.
inline bool BeginsNoHeader(const unsigned char* at) noexcept {
    // The upper half of the field for the name's length is zero: the limit is less than 2^16.
    static_assert(Orm::Lux::Trace::kMaxNameLength <= UINT16_MAX);
    constexpr std::size_t kHalf = Orm::Lux::Trace::kFixedHeaderSize - 2;
    std::uint64_t third, fourth;  // bytes of that field, at each of the offsets
    std::memcpy(&third, at + kHalf, kFilterStep);
    std::memcpy(&fourth, at + kHalf + 1, kFilterStep);
    const std::uint64_t either = third | fourth;
    constexpr std::uint64_t kOnes = 0x0101010101010101, kHighBits = 0x8080808080808080;
    return ((either - kOnes) & ~either & kHighBits) == 0;  // no byte of it is zero
}

}  // namespace orm_trace
