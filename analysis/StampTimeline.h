// Where the stamps of a run step, and which of its samples belong to a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/BlockIndex.h"
#include "analysis/StampSteps.h"

namespace orm_trace {

// Samples between two steps back: its stamps never decrease.
struct Stretch {
    std::uint64_t begin = 0;  // the first sample
    std::uint64_t end = 0;    // after the last one
    // Ticks of the first and the last stamp; without meaning in a run without stamps.
    std::uint64_t least = 0;
    std::uint64_t greatest = 0;
};

// Samples between two edges of time, as counts by type.
struct TimeColumn {
    std::uint64_t begin = 0;  // the first sample
    std::array<std::uint64_t, kTypes> types{};
};

// Finds steps and times with an index of the run's blocks. Reads only blocks that have what is looked for: of steps, those
// for which a list has room.
//
// Threads: any number may ask a timeline.
class StampTimeline {
public:
    using ReadWords = BlockIndex::ReadWords;

    // index: finished; outlives this. limit: of each list that this keeps.
    // Errors: std::bad_alloc, and those of read.
    StampTimeline(const BlockIndex& index, std::size_t limit, const ReadWords& read);

    // The steps of the whole run.
    const Steps& All() const noexcept { return m_all; }
    // The first stretches of the run, in its order. There is one more than steps back.
    const std::vector<Stretch>& Stretches() const noexcept { return m_stretches; }

    // Returns: the steps to stamps from the sample begin up to end; the step to the first stamp is not one of them, unless
    //          begin is 0. Errors: as the constructor.
    Steps StepsOf(std::uint64_t begin, std::uint64_t end, std::size_t limit, const ReadWords& read) const;

    // Returns: the first sample of a stretch, from its begin on, that is at these ticks or later: a stamp is at its ticks,
    //          another sample where the stamp before it is. stretch.end if all are earlier. Errors: as the constructor.
    std::uint64_t Find(const Stretch& stretch, std::uint64_t ticks, const ReadWords& read) const;

    // Returns: the samples of a stretch between each of these edges and the next one; the last column begins where the last
    //          edge is, and has no samples. Each block is read at most once. edges: ticks, in order; at least one.
    // Errors:  as the constructor.
    std::vector<TimeColumn> Columns(const Stretch& stretch, const std::vector<std::uint64_t>& edges,
                                    const ReadWords& read) const;

private:
    std::uint64_t BlockOf(const Stretch& stretch, std::uint64_t begin, std::uint64_t ticks) const;

    const BlockIndex& m_index;
    std::vector<std::uint64_t> m_last;  // for each block, ticks of the last stamp up to its end, 0 without one
    Steps m_all;
    std::vector<Stretch> m_stretches;
};

}  // namespace orm_trace
