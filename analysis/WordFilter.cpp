#include "analysis/WordFilter.h"

#include <algorithm>

#include "analysis/Processor.h"

namespace orm_trace {
namespace {

// A loop that the compiler turns into vector code.
ORM_ALWAYS_INLINE std::uint64_t CountEqual(const std::uint64_t* words, std::size_t size, std::uint64_t value,
                                           std::uint64_t mask) noexcept {
    std::uint64_t count = 0;
    for (std::size_t n = 0; n < size; ++n) count += (words[n] & mask) == value;
    return count;
}

ORM_TARGET_AVX2 std::uint64_t CountEqualAvx2(const std::uint64_t* words, std::size_t size, std::uint64_t value,
                                             std::uint64_t mask) noexcept {
    return CountEqual(words, size, value, mask);
}

std::uint64_t CountEqualAnywhere(const std::uint64_t* words, std::size_t size, std::uint64_t value,
                                 std::uint64_t mask) noexcept {
    return CountEqual(words, size, value, mask);
}

const auto g_countEqual = HasAvx2() ? CountEqualAvx2 : CountEqualAnywhere;

}  // namespace

WordFilter WordFilter::Masked(std::uint64_t value, std::uint64_t mask) noexcept {
    WordFilter filter;
    filter.m_value = value & mask;
    filter.m_mask = mask;
    return filter;
}

WordFilter WordFilter::OfTypes(const std::array<bool, kTypes>& types) noexcept {
    if (std::count(types.begin(), types.end(), true) == 1) {
        const auto type = static_cast<std::uint64_t>(std::find(types.begin(), types.end(), true) - types.begin());
        return Masked(type << kTypeShift, ~kCountMask);
    }
    WordFilter filter;
    filter.m_isMasked = false;
    filter.m_types = types;
    return filter;
}

std::size_t WordFilter::Next(Words words, std::size_t from) const noexcept {
    // Words that are searched at once for whether there is a hit: few at first, since hits may be close to each other.
    constexpr std::size_t kFirstChunk = 16;
    constexpr std::size_t kLargestChunk = 256;
    std::size_t at = from;
    for (std::size_t chunk = kFirstChunk; m_isMasked && at < words.size(); chunk = std::min(2 * chunk, kLargestChunk)) {
        const std::size_t size = std::min(chunk, words.size() - at);
        if (g_countEqual(words.data() + at, size, m_value, m_mask) != 0) break;
        at += size;
    }
    while (at < words.size() && !IsHit(words[at])) ++at;
    return at;
}

std::uint64_t WordFilter::Count(Words words) const noexcept {
    if (m_isMasked) return g_countEqual(words.data(), words.size(), m_value, m_mask);
    std::uint64_t count = 0;
    for (const std::uint64_t word : words) count += m_types[TypeOf(word)];
    return count;
}

}  // namespace orm_trace
