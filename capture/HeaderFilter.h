// A quick way past bytes at which no header begins, for searches that look at every byte of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "tdf/TDFFormat.h"

namespace orm_trace {

inline constexpr std::size_t kFilterBlock = 64;  // offsets

// Returns: whether a well-formed header begins at none of kFilterBlock offsets, of which `at` is the first.
// REQUIRES: the bytes of a fixed header from each of them on.
inline bool BeginsNoHeader(const unsigned char* at) noexcept {
    // The upper half of the field for the name's length is zero: the limit is less than 2^16.
    static_assert(Orm::Lux::Trace::kMaxNameLength <= UINT16_MAX);
    const unsigned char* const half = at + Orm::Lux::Trace::kFixedHeaderSize - 2;
    unsigned char mayBegin = 0;
    for (std::size_t n = 0; n < kFilterBlock; ++n) {  // without a branch, so that it becomes vector operations
        mayBegin |= static_cast<unsigned char>((half[n] | half[n + 1]) == 0);
    }
    return mayBegin == 0;
}

// Both go over the whole blocks from, or up to, a multiple of kFilterBlock that is an offset of the bytes, at which no
// header begins. They return the offset where they end, which is another multiple.
inline std::size_t SkipForward(std::span<const unsigned char> bytes, std::size_t offset) noexcept {
    constexpr std::size_t kNeeded = kFilterBlock - 1 + Orm::Lux::Trace::kFixedHeaderSize;
    while (offset + kNeeded <= bytes.size() && BeginsNoHeader(&bytes[offset])) offset += kFilterBlock;
    return offset;
}

inline std::size_t SkipBack(std::span<const unsigned char> bytes, std::size_t offset) noexcept {
    if (offset + Orm::Lux::Trace::kFixedHeaderSize > bytes.size() + 1) return offset;
    while (offset > 0 && BeginsNoHeader(&bytes[offset - kFilterBlock])) offset -= kFilterBlock;
    return offset;
}

}  // namespace orm_trace
