#include "analysis/StampSteps.h"

#include <algorithm>

namespace orm_trace {

void StampSummary::Append(const StampSummary& next) noexcept {
    if (next.count == 0) return;
    if (count == 0) {
        *this = next;
        return;
    }
    const bool isBack = next.first < last;
    stepsBack += next.stepsBack + isBack;
    greatestStep = std::max({greatestStep, next.greatestStep, isBack ? 0 : next.first - last});
    count += next.count;
    last = next.last;
    least = std::min(least, next.least);
    greatest = std::max(greatest, next.greatest);
}

BlockStamps SummarizeStamps(Words block, std::span<const std::uint16_t> indexes, std::uint64_t reference,
                            std::uint64_t gap) noexcept {
    BlockStamps stamps;
    if (indexes.empty()) return stamps;
    StampSummary summary;
    summary.count = indexes.size();
    summary.first = summary.last = TicksOf(block[indexes.front()], reference);
    std::size_t gaps = 0;
    for (const std::uint16_t n : indexes) {
        const std::uint64_t ticks = TicksOf(block[n], reference);
        // Without a branch, which stamps in no order would mislead.
        const std::uint64_t isBack = ticks < summary.last;
        const std::uint64_t forward = (ticks - summary.last) & (isBack - 1);
        summary.stepsBack += isBack;
        summary.greatestStep = std::max(summary.greatestStep, forward);
        gaps += forward > gap;
        summary.last = ticks;
        summary.least = std::min(summary.least, ticks);
        summary.greatest = std::max(summary.greatest, ticks);
    }
    stamps.summary = summary;
    stamps.gaps = static_cast<std::uint16_t>(gaps);
    return stamps;
}

void StepCollector::Take(std::uint64_t sample, std::uint64_t ticks) {
    if (m_last && ticks < *m_last) {
        Add(m_steps.back, {sample, *m_last - ticks});
    } else if (m_last && ticks - *m_last > m_gap) {
        Add(m_steps.gaps, {sample, ticks - *m_last});
    }
    m_last = ticks;
}

bool StepCollector::TakeAll(const StampSummary& stamps, std::uint64_t gaps) {
    if (stamps.count == 0) return true;
    const bool isBack = m_last && stamps.first < *m_last;
    const std::uint64_t back = stamps.stepsBack + isBack;
    if (m_last && !isBack) gaps += stamps.first - *m_last > m_gap;
    if (back != 0 && HasRoom(m_steps.back)) return false;
    if (gaps != 0 && HasRoom(m_steps.gaps)) return false;
    m_steps.back.count += back;
    m_steps.gaps.count += gaps;
    m_last = stamps.last;
    return true;
}

void StepCollector::Add(StampSteps& steps, const StampStep& step) const {
    if (HasRoom(steps)) steps.first.push_back(step);
    ++steps.count;
}

}  // namespace orm_trace
