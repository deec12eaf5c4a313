#include "analysis/StampTimeline.h"

#include <algorithm>
#include <array>

namespace orm_trace {
namespace {

constexpr std::uint64_t kBlock = BlockIndex::kBlock;

using Block = std::array<std::uint64_t, kBlock>;

// Returns: the words of a run from begin up to end, which are of one block, as far as they can be read.
Words ReadBlock(Block& block, std::uint64_t begin, std::uint64_t end, const BlockIndex::ReadWords& read) {
    const std::span<std::uint64_t> words(block.data(), static_cast<std::size_t>(end - begin));
    return words.first(read(begin, words));
}

// onBlock(collector) is called after each block.
template <class OnBlock>
Steps Collect(const BlockIndex& index, std::uint64_t begin, std::uint64_t end, std::size_t limit,
              const BlockIndex::ReadWords& read, OnBlock onBlock) {
    StepCollector collector(index.Gap(), limit);
    const std::uint64_t reference = index.Reference();
    Block block;
    end = std::min(end, index.Samples());
    while (begin < end) {
        const std::uint64_t next = std::min(end, (begin / kBlock + 1) * kBlock);
        const bool isWhole = begin % kBlock == 0 && (next % kBlock == 0 || next == index.Samples());
        if (!isWhole || !collector.TakeAll(index.SummarizeBlocks(begin, next).stamps, index.GapsInBlock(begin))) {
            const Words words = ReadBlock(block, begin, next, read);
            for (std::size_t n = 0; n < words.size(); ++n) {
                if (IsStamp(words[n])) collector.Take(begin + n, TicksOf(words[n], reference));
            }
        }
        onBlock(collector);
        begin = next;
    }
    return collector.Collected();
}

}  // namespace

StampTimeline::StampTimeline(const BlockIndex& index, std::size_t limit, const ReadWords& read) : m_index(index) {
    m_last.reserve(static_cast<std::size_t>((index.Samples() + kBlock - 1) / kBlock));
    m_all = Collect(index, 0, index.Samples(), limit, read,
                    [&](const StepCollector& collector) { m_last.push_back(collector.Last()); });
    // The ends of stretches: the stamps around each step back.
    const StampSummary stamps = index.SummarizeBlocks(0, index.Samples()).stamps;
    Stretch stretch{0, index.Samples(), stamps.first, stamps.last};
    for (const StampStep& step : m_all.back.first) {
        Block block;
        const std::uint64_t begin = step.sample / kBlock * kBlock;
        const Words words = ReadBlock(block, begin, step.sample + 1, read);
        if (words.size() <= step.sample - begin) return;  // the file became shorter
        const std::uint64_t least = TicksOf(words.back(), index.Reference());
        m_stretches.push_back({stretch.begin, step.sample, stretch.least, least + step.ticks});
        stretch = {step.sample, index.Samples(), least, stamps.last};
    }
    if (m_all.back.count == m_all.back.first.size() && m_stretches.size() < limit) m_stretches.push_back(stretch);
}

Steps StampTimeline::StepsOf(std::uint64_t begin, std::uint64_t end, std::size_t limit, const ReadWords& read) const {
    return Collect(m_index, begin, end, limit, read, [](const StepCollector&) {});
}

std::uint64_t StampTimeline::Find(const Stretch& stretch, std::uint64_t ticks, const ReadWords& read) const {
    if (ticks <= stretch.least) return stretch.begin;
    if (ticks > stretch.greatest) return stretch.end;
    const std::uint64_t number = BlockOf(stretch, stretch.begin, ticks);
    const std::uint64_t begin = std::max(stretch.begin, number * kBlock);
    Block block;
    const Words words = ReadBlock(block, begin, std::min(stretch.end, (number + 1) * kBlock), read);
    for (std::size_t n = 0; n < words.size(); ++n) {
        if (IsStamp(words[n]) && TicksOf(words[n], m_index.Reference()) >= ticks) return begin + n;
    }
    return std::min(stretch.end, begin + words.size());
}

// Returns: the first block from the one of `begin` on that has a stamp of the stretch at these ticks or later, or its last
//          block: of that, the next stretch may have the last stamp.
std::uint64_t StampTimeline::BlockOf(const Stretch& stretch, std::uint64_t begin, std::uint64_t ticks) const {
    const auto blockAt = [&](std::uint64_t sample) {
        return m_last.begin() + static_cast<std::ptrdiff_t>(sample / kBlock);
    };
    return static_cast<std::uint64_t>(std::lower_bound(blockAt(begin), blockAt(stretch.end - 1), ticks) -
                                      m_last.begin());
}

std::vector<TimeColumn> StampTimeline::Columns(const Stretch& stretch, const std::vector<std::uint64_t>& edges,
                                               const ReadWords& read) const {
    std::vector<TimeColumn> columns(edges.size());
    Block block;
    Words words;                       // of the block that was read last
    std::uint64_t first = UINT64_MAX;  // sample
    const auto load = [&](std::uint64_t sample) {
        const std::uint64_t begin = sample / kBlock * kBlock;
        if (begin == first) return;
        words = ReadBlock(block, begin, std::min(begin + kBlock, m_index.Samples()), read);
        first = begin;
    };
    const auto count = [&](TimeColumn& column, std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t n = begin - first; n < end - first && n < words.size(); ++n)
            ++column.types[TypeOf(words[n])];
    };
    std::uint64_t sample = Find(stretch, edges.front(), read);
    columns.front().begin = sample;
    for (std::size_t n = 0; n + 1 < edges.size(); ++n) {
        const std::uint64_t ticks = edges[n + 1];
        TimeColumn& column = columns[n];
        if (sample < stretch.end && ticks > stretch.least) {
            // The rest of this block, whole blocks, and a part of the block with the edge.
            const std::uint64_t last = BlockOf(stretch, sample, ticks) * kBlock;
            if (sample < last && sample % kBlock != 0) {
                load(sample);
                count(column, sample, first + kBlock);
                sample = first + kBlock;
            }
            if (sample < last) {
                const RangeSummary whole = m_index.SummarizeBlocks(sample, last);
                for (std::size_t type = 0; type < kTypes; ++type) column.types[type] += whole.types[type];
                sample = last;
            }
            load(sample);
            std::uint64_t end = sample;
            for (; end < std::min(stretch.end, first + words.size()); ++end) {
                const std::uint64_t word = words[end - first];
                if (IsStamp(word) && TicksOf(word, m_index.Reference()) >= ticks) break;
            }
            count(column, sample, end);
            sample = end;
        }
        columns[n + 1].begin = sample;
    }
    return columns;
}

}  // namespace orm_trace
