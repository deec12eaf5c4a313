// Counting what a run of words holds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "analysis/StampSteps.h"
#include "analysis/Word.h"

namespace orm_trace {

// Neighbouring words that are equal.
struct EqualRun {
    std::uint64_t word = 0;
    std::uint64_t first = 0;  // index of its first sample
    std::uint64_t count = 0;
};

// Takes a run of words, in parts of any size, and keeps totals.
//
// Errors:  std::bad_alloc, for the lists of steps.
class Statistics {
public:
    struct Settings {
        std::uint64_t reference = 0;          // of the stamps, in ticks
        std::uint64_t gap = kTicksPerSecond;  // a step forward by more ticks is a gap
        std::size_t limit = 1000;             // steps that each list keeps
    };

    // first: the index of the run's first sample.
    Statistics(std::uint64_t first, const Settings& settings);

    // The next words of the run.
    void Add(Words words);

    std::uint64_t Samples() const noexcept { return m_samples; }
    // By type.
    const std::array<std::uint64_t, kTypes>& Types() const noexcept { return m_types; }
    const StampTotals& Stamps() const noexcept { return m_stamps; }
    const StampSteps& StepsBack() const noexcept { return m_steps.Collected().back; }
    const StampSteps& Gaps() const noexcept { return m_steps.Collected().gaps; }
    // The first of the longest ones. Its count is 0 while there are no words.
    const EqualRun& LongestRun() const noexcept { return m_longest; }

private:
    void AddBlock(Words block);
    void AddStamps(Words block, std::span<const std::uint16_t> indexes);
    void AddRuns(Words block);

    Settings m_settings;
    std::uint64_t m_first;
    std::uint64_t m_samples = 0;
    std::array<std::uint64_t, kTypes> m_types{};
    StampSummary m_stamps;
    StepCollector m_steps;
    EqualRun m_current;
    EqualRun m_longest;
};

}  // namespace orm_trace
