#include "analysis/Statistics.h"

#include <algorithm>

#include "analysis/BlockCounts.h"
#include "analysis/Processor.h"

namespace orm_trace {
namespace {

// Whether any word equals the one after it. The compiler turns it into vector code.
ORM_ALWAYS_INLINE bool HasEqualNeighbours(Words words) noexcept {
    std::uint64_t equal = 0;
    for (std::size_t n = 1; n < words.size(); ++n) equal += words[n] == words[n - 1];
    return equal != 0;
}

ORM_TARGET_AVX2 bool HasEqualNeighboursAvx2(Words words) noexcept { return HasEqualNeighbours(words); }

bool HasEqualNeighboursAnywhere(Words words) noexcept { return HasEqualNeighbours(words); }

const auto g_hasEqualNeighbours = HasAvx2() ? HasEqualNeighboursAvx2 : HasEqualNeighboursAnywhere;

}  // namespace

Statistics::Statistics(std::uint64_t first, const Settings& settings)
    : m_settings(settings), m_first(first), m_steps(settings.gap, settings.limit) {}

void Statistics::Add(Words words) {
    while (!words.empty()) {
        const Words block = words.first(std::min(kBlockWords, words.size()));
        AddBlock(block);
        words = words.subspan(block.size());
    }
}

void Statistics::AddBlock(Words block) {
    AddRuns(block);
    const BlockCounts counts(block);
    for (std::size_t type = 0; type < kTypes; ++type) m_types[type] += counts.Types()[type];
    AddStamps(block, counts.Stamps());
    m_samples += block.size();
}

// Takes the words of a block at these indexes, which are stamps.
void Statistics::AddStamps(Words block, std::span<const std::uint16_t> indexes) {
    const BlockStamps stamps = SummarizeStamps(block, indexes, m_settings.reference, m_settings.gap);
    m_stamps.Append(stamps.summary);
    if (m_steps.TakeAll(stamps.summary, stamps.gaps)) return;
    for (const std::uint16_t n : indexes) {
        m_steps.Take(m_first + m_samples + n, TicksOf(block[n], m_settings.reference));
    }
}

void Statistics::AddRuns(Words block) {
    const std::uint64_t first = m_first + m_samples;
    const bool continues = m_current.count != 0 && block.front() == m_current.word;
    // A block of different words changes nothing once a run of one word is known.
    if (!continues && m_longest.count != 0 && !g_hasEqualNeighbours(block)) {
        m_current = {block.back(), first + block.size() - 1, 1};
        return;
    }
    for (std::size_t n = 0; n < block.size(); ++n) {
        if (m_current.count != 0 && block[n] == m_current.word) {
            ++m_current.count;
        } else {
            m_current = {block[n], first + n, 1};
        }
        if (m_current.count > m_longest.count) m_longest = m_current;
    }
}

}  // namespace orm_trace
