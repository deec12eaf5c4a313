// Summaries of ranges of a run of words, from an index of its blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "analysis/StampSteps.h"
#include "analysis/Word.h"

namespace orm_trace {

struct RangeSummary {
    std::uint64_t samples = 0;
    std::array<std::uint64_t, kTypes> types{};  // the number of samples, by type
    StampSummary stamps;

    // Adds the range that follows this one. Appending is associative.
    void Append(const RangeSummary& next) noexcept;

    friend bool operator==(const RangeSummary&, const RangeSummary&) = default;
};

// Returns: the summary of these words. reference: of the stamps, in ticks.
RangeSummary Summarize(Words words, std::uint64_t reference) noexcept;

// Summarizes any range of a run from what it keeps of each block, and of groups of blocks. That takes at most 2 % of the
// run's size; a run of less than 4 million samples can take more.
//
// A new index has to be filled with all words of the run, and finished, before it is asked.
// Threads: several may fill different blocks at the same time, and any number may ask a finished index.
class BlockIndex {
public:
    static constexpr std::uint64_t kBlock = 4096;  // samples

    // Reads words of the run from the sample first on. Returns: how many, fewer than there is room for only when the rest
    // cannot be had.
    using ReadWords = std::function<std::size_t(std::uint64_t first, std::span<std::uint64_t> words)>;

    // samples: of the whole run. reference: of its stamps, in ticks. gap: in ticks; a step forward by more ticks is one.
    // Errors: std::bad_alloc.
    BlockIndex(std::uint64_t samples, std::uint64_t reference, std::uint64_t gap = UINT64_MAX);

    // Takes the words from the sample first on, which begins a block. They end with a block or with the run.
    void Fill(std::uint64_t first, Words words) noexcept;
    // Call when all blocks are filled, from one thread. Errors: std::bad_alloc.
    void Finish();

    std::uint64_t Samples() const noexcept { return m_samples; }
    std::uint64_t Reference() const noexcept { return m_reference; }
    std::uint64_t Gap() const noexcept { return m_gap; }
    // Units: bytes.
    std::size_t MemoryUse() const noexcept;

    // Returns: the summary of the samples from begin up to end, or up to the run's end. Where read returns too few words,
    //          the summary ends with the last of them; its number of samples shows that.
    // read:    is called at most twice, for less than a block each time: where the range begins and ends within one.
    // Errors:  std::bad_alloc, and those of read.
    RangeSummary Summarize(std::uint64_t begin, std::uint64_t end, const ReadWords& read) const;

    // The same for a range that begins with a block, and ends with a block or with the run. Needs no words.
    RangeSummary SummarizeBlocks(std::uint64_t begin, std::uint64_t end) const noexcept;

    // Returns: the gaps between the stamps of the block that begins with this sample.
    std::uint64_t GapsInBlock(std::uint64_t first) const noexcept { return m_gaps[first / kBlock]; }

private:
    template <class Count> struct Node {
        StampSummary stamps;
        std::array<Count, kTypes> types{};
    };
    // Each node but those of the blocks covers this many of the level below.
    static constexpr std::uint64_t kFanOut = 16;
    // A node of one more level could have 2^32 samples of one type.
    static constexpr std::size_t kMaxUpperLevels = 4;

    std::uint64_t m_samples;
    std::uint64_t m_reference;
    std::uint64_t m_gap;
    std::vector<Node<std::uint16_t>> m_blocks;
    std::vector<std::uint16_t> m_gaps;                      // of each block
    std::vector<std::vector<Node<std::uint32_t>>> m_upper;  // from the groups of blocks upwards
};

}  // namespace orm_trace
