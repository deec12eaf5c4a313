// Counting what a run of words holds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/Word.h"

namespace orm_trace {

// A step between two neighbouring stamps.
struct StampStep {
    std::uint64_t sample = 0;  // index of the later stamp
    std::uint64_t ticks = 0;   // size of the step
};

// Steps of one kind: how many, and the first ones.
struct StampSteps {
    std::uint64_t count = 0;
    std::vector<StampStep> first;
};

struct StampTotals {
    std::uint64_t count = 0;
    // Ticks; without meaning while the count is 0.
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint64_t least = UINT64_MAX;
    std::uint64_t greatest = 0;

    friend bool operator==(const StampTotals&, const StampTotals&) = default;
};

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
    const StampSteps& StepsBack() const noexcept { return m_stepsBack; }
    const StampSteps& Gaps() const noexcept { return m_gaps; }
    // The first of the longest ones. Its count is 0 while there are no words.
    const EqualRun& LongestRun() const noexcept { return m_longest; }

private:
    void AddBlock(Words block);
    void AddStamps(Words block, std::span<const std::uint16_t> indexes);
    void AddRuns(Words block);
    void AddStep(StampSteps& steps, const StampStep& step) const;

    Settings m_settings;
    std::uint64_t m_first;
    std::uint64_t m_samples = 0;
    std::array<std::uint64_t, kTypes> m_types{};
    StampTotals m_stamps;
    StampSteps m_stepsBack;
    StampSteps m_gaps;
    EqualRun m_current;
    EqualRun m_longest;
};

}  // namespace orm_trace
