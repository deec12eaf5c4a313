// The stamps of a run of words, and the steps between neighbouring ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
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

struct Steps {
    StampSteps gaps;
    StampSteps back;
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

// The stamps of a range, and the steps between neighbouring ones.
struct StampSummary : StampTotals {
    std::uint64_t stepsBack = 0;     // stamps that are smaller than the one before them
    std::uint64_t greatestStep = 0;  // forward, in ticks; 0 when there is none

    // Adds the stamps that follow, and the step to the first of them.
    void Append(const StampSummary& next) noexcept;

    friend bool operator==(const StampSummary&, const StampSummary&) = default;
};

struct BlockStamps {
    StampSummary summary;
    std::uint16_t gaps = 0;  // between these stamps
};

// Returns: the stamps of a block, which are its words at these indexes.
// reference: of the stamps, in ticks. gap: in ticks; a step forward by more ticks is one.
BlockStamps SummarizeStamps(Words block, std::span<const std::uint16_t> indexes, std::uint64_t reference,
                            std::uint64_t gap) noexcept;

// Collects the steps of a run, from stamp to stamp or from block to block.
//
// Errors:  std::bad_alloc, for the lists.
class StepCollector {
public:
    // gap: in ticks; a step forward by more ticks is one. limit: of each list.
    StepCollector(std::uint64_t gap, std::size_t limit) : m_gap(gap), m_limit(limit) {}

    // Takes the next stamp.
    void Take(std::uint64_t sample, std::uint64_t ticks);
    // Takes the stamps that follow, if none of their steps is to be listed. Returns: whether it did. If not, take them one
    // by one. gaps: between these stamps.
    bool TakeAll(const StampSummary& stamps, std::uint64_t gaps);

    const Steps& Collected() const noexcept { return m_steps; }
    // Returns: the ticks of the last stamp, 0 without one.
    std::uint64_t Last() const noexcept { return m_last.value_or(0); }

private:
    bool HasRoom(const StampSteps& steps) const noexcept { return steps.first.size() < m_limit; }
    void Add(StampSteps& steps, const StampStep& step) const;

    std::uint64_t m_gap;
    std::size_t m_limit;
    std::optional<std::uint64_t> m_last;  // ticks
    Steps m_steps;
};

}  // namespace orm_trace
