#include "analysis/BlockIndex.h"

#include <algorithm>

#include "analysis/BlockCounts.h"

namespace orm_trace {
namespace {

// Adds what a node, or a summary, holds of the words that follow. Both have the members stamps and types.
template <class To, class From> void AppendCounts(To& to, const From& next) noexcept {
    for (std::size_t type = 0; type < kTypes; ++type) to.types[type] += next.types[type];
    to.stamps.Append(next.stamps);
}

constexpr std::uint64_t GroupsOf(std::uint64_t count, std::uint64_t size) noexcept {
    return count / size + (count % size != 0);
}

}  // namespace

void RangeSummary::Append(const RangeSummary& next) noexcept {
    samples += next.samples;
    AppendCounts(*this, next);
}

RangeSummary Summarize(Words words, std::uint64_t reference) noexcept {
    RangeSummary summary;
    summary.samples = words.size();
    while (!words.empty()) {
        const Words block = words.first(std::min(kBlockWords, words.size()));
        const BlockCounts counts(block);
        for (std::size_t type = 0; type < kTypes; ++type) summary.types[type] += counts.Types()[type];
        summary.stamps.Append(SummarizeStamps(block, counts.Stamps(), reference, UINT64_MAX).summary);
        words = words.subspan(block.size());
    }
    return summary;
}

BlockIndex::BlockIndex(std::uint64_t samples, std::uint64_t reference, std::uint64_t gap)
    : m_samples(samples),
      m_reference(reference),
      m_gap(gap),
      m_blocks(GroupsOf(samples, kBlock)),
      m_gaps(m_blocks.size()) {}

void BlockIndex::Fill(std::uint64_t first, Words words) noexcept {
    static_assert(kBlock == kBlockWords);
    for (std::uint64_t at = first / kBlock; !words.empty(); ++at) {
        const Words block = words.first(std::min(kBlockWords, words.size()));
        const BlockCounts counts(block);
        m_blocks[at].types = counts.Types();
        const BlockStamps stamps = SummarizeStamps(block, counts.Stamps(), m_reference, m_gap);
        m_blocks[at].stamps = stamps.summary;
        m_gaps[at] = stamps.gaps;
        words = words.subspan(block.size());
    }
}

void BlockIndex::Finish() {
    m_upper.clear();
    m_upper.reserve(kMaxUpperLevels);  // so that the level below stays in place while one is added
    const auto addLevel = [&](const auto& below) {
        auto& level = m_upper.emplace_back(GroupsOf(below.size(), kFanOut));
        for (std::size_t n = 0; n < below.size(); ++n) AppendCounts(level[n / kFanOut], below[n]);
    };
    if (m_blocks.size() > 1) addLevel(m_blocks);
    while (!m_upper.empty() && m_upper.back().size() > 1 && m_upper.size() < kMaxUpperLevels) addLevel(m_upper.back());
}

std::size_t BlockIndex::MemoryUse() const noexcept {
    std::size_t bytes = sizeof *this + m_blocks.capacity() * sizeof m_blocks[0] + m_gaps.capacity() * sizeof m_gaps[0] +
                        m_upper.capacity() * sizeof m_upper[0];
    for (const auto& level : m_upper) bytes += level.capacity() * sizeof level[0];
    return bytes;
}

RangeSummary BlockIndex::Summarize(std::uint64_t begin, std::uint64_t end, const ReadWords& read) const {
    end = std::min(end, m_samples);
    begin = std::min(begin, end);
    // Whole blocks, between words of at most two others.
    const std::uint64_t wholeBegin = std::min(end, GroupsOf(begin, kBlock) * kBlock);
    const std::uint64_t wholeEnd = end == m_samples ? end : std::max(wholeBegin, end / kBlock * kBlock);

    std::vector<std::uint64_t> words;
    const auto summarizeWords = [&](std::uint64_t from, std::uint64_t to) {
        words.resize(to - from);
        if (!words.empty()) words.resize(read(from, words));
        return orm_trace::Summarize(words, m_reference);
    };
    RangeSummary summary = summarizeWords(begin, wholeBegin);
    if (summary.samples < wholeBegin - begin) return summary;
    summary.Append(SummarizeBlocks(wholeBegin, wholeEnd));
    summary.Append(summarizeWords(wholeEnd, end));
    return summary;
}

RangeSummary BlockIndex::SummarizeBlocks(std::uint64_t begin, std::uint64_t end) const noexcept {
    RangeSummary summary;
    end = std::min(end, m_samples);
    if (begin >= end) return summary;
    summary.samples = end - begin;
    const std::uint64_t endBlock = GroupsOf(end, kBlock);
    for (std::uint64_t at = begin / kBlock; at < endBlock;) {
        // The highest level with a node that begins here and does not reach beyond the range.
        std::size_t level = 0;
        std::uint64_t size = 1;  // blocks of a node
        while (level < m_upper.size() && at % (size * kFanOut) == 0 &&
               std::min<std::uint64_t>(at + size * kFanOut, m_blocks.size()) <= endBlock) {
            size *= kFanOut;
            ++level;
        }
        if (level == 0) {
            AppendCounts(summary, m_blocks[at]);
        } else {
            AppendCounts(summary, m_upper[level - 1][at / size]);
        }
        at += size;
    }
    return summary;
}

}  // namespace orm_trace
