#include "analysis/WordFilter.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <array>

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

// Stores the indexes of hits from the index n on, each with first added, without a branch, since none could predict where
// hits are.
template <class IsHit>
std::size_t CollectFrom(std::size_t n, Words words, std::uint64_t first, std::uint64_t* hits, IsHit isHit) noexcept {
    std::size_t count = 0;
    for (; n < words.size(); ++n) {
        hits[count] = first + n;
        count += isHit(words[n]);
    }
    return count;
}

#if defined(__x86_64__)
// For each set of four words, as bits, how the 32-bit halves of their indexes move so that those of the set come first.
constexpr auto kMoves = [] {
    std::array<std::array<std::int32_t, 8>, 16> moves{};
    for (std::size_t set = 0; set < moves.size(); ++set) {
        std::size_t to = 0;
        for (std::int32_t word = 0; word < 4; ++word) {
            if ((set >> word & 1) == 0) continue;
            moves[set][to++] = 2 * word;
            moves[set][to++] = 2 * word + 1;
        }
    }
    return moves;
}();

constexpr std::uintptr_t kCacheLine = 64;  // bytes
constexpr std::uintptr_t kAhead = 256 * kCacheLine;

// The same for the words that equal value in the bits of the mask. Stores four indexes at once, of which those after the
// hits are overwritten later; there are never more indexes than words before the next ones, so that they have room.
ORM_TARGET_AVX2 std::size_t CollectEqualAvx2(Words words, std::uint64_t value, std::uint64_t mask, std::uint64_t first,
                                             std::uint64_t* hits) noexcept {
    const __m256i wanted = _mm256_set1_epi64x(static_cast<long long>(value));
    const __m256i bits = _mm256_set1_epi64x(static_cast<long long>(mask));
    const __m256i four = _mm256_set1_epi64x(4);
    const __m256i sixteen = _mm256_set1_epi64x(16);
    const auto compare = [&](std::size_t at) ORM_TARGET_AVX2 {
        const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words.data() + at));
        return _mm256_cmpeq_epi64(_mm256_and_si256(block, bits), wanted);
    };
    __m256i indexes =
        _mm256_add_epi64(_mm256_set1_epi64x(static_cast<long long>(first)), _mm256_set_epi64x(3, 2, 1, 0));
    std::size_t count = 0;
    std::size_t n = 0;
    const auto collect = [&](const __m256i& equal) ORM_TARGET_AVX2 {
        const auto set = static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(equal)));
        const __m256i moves = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kMoves[set].data()));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(hits + count), _mm256_permutevar8x32_epi32(indexes, moves));
        count += static_cast<std::size_t>(__builtin_popcount(set));
        indexes = _mm256_add_epi64(indexes, four);
    };
    for (; n + 16 <= words.size(); n += 16) {
        // Further ahead than the processor does by itself. Beyond the last word it reads nothing.
        const auto ahead = reinterpret_cast<std::uintptr_t>(words.data() + n) + kAhead;
        _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<const char*>(ahead + kCacheLine), _MM_HINT_T0);
        const __m256i a = compare(n), b = compare(n + 4), c = compare(n + 8), d = compare(n + 12);
        const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (_mm256_testz_si256(any, any)) {
            indexes = _mm256_add_epi64(indexes, sixteen);
            continue;
        }
        collect(a);
        collect(b);
        collect(c);
        collect(d);
    }
    return count +
           CollectFrom(n, words, first, hits + count, [=](std::uint64_t word) { return (word & mask) == value; });
}
#endif

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

std::size_t WordFilter::Collect(Words words, std::uint64_t first, std::uint64_t* hits) const noexcept {
    if (!m_isMasked) {
        return CollectFrom(0, words, first, hits, [this](std::uint64_t word) { return m_types[TypeOf(word)]; });
    }
#if defined(__x86_64__)
    if (HasAvx2()) return CollectEqualAvx2(words, m_value, m_mask, first, hits);
#endif
    return CollectFrom(0, words, first, hits, [this](std::uint64_t word) { return (word & m_mask) == m_value; });
}

std::uint64_t WordFilter::Count(Words words) const noexcept {
    if (m_isMasked) return g_countEqual(words.data(), words.size(), m_value, m_mask);
    std::uint64_t count = 0;
    for (const std::uint64_t word : words) count += m_types[TypeOf(word)];
    return count;
}

}  // namespace orm_trace
