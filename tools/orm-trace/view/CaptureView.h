// What the page shows of a capture.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "analysis/BlockIndex.h"
#include "analysis/StampTimeline.h"
#include "analysis/WordFilter.h"
#include "capture/SampleFile.h"
#include "tools/orm-trace/options/TimeOptions.h"

namespace orm_trace {

// Answers questions to one capture, as JSON. Numbers of up to 64 bits are strings of digits; counts within a column are
// numbers.
//
// Errors:  of all questions: Error: kInput, kChanged, kFailed when the file is not as it was or cannot be read.
// Threads: any number may ask.
class CaptureView {
public:
    static constexpr std::uint64_t kMaxColumns = 4096;

    // Reads the whole capture once, in several threads, with progress. file and time outlive this.
    // time: the reference of stamps, and the time at 0 ticks if there is one. gap: in ticks; a longer step forward is one.
    // Errors: also std::bad_alloc.
    CaptureView(const InputFile& file, const TimeOptions& time, std::uint64_t gap);

    // Units: samples that can be read.
    std::uint64_t Samples() const noexcept { return m_index->Samples(); }
    // Whether the file has a trace, and what it lacks, as text; empty for all that hosts count.
    bool HasTrace() const noexcept { return m_samples.has_value(); }
    const std::string& Note() const noexcept { return m_note; }

    // Returns: the file, its sections and faults, what its samples are, and the steps of its stamps.
    // path: the file as the page shows it and as commands name it.
    std::string Info(const std::string& path) const;

    // Returns: samples or ticks from `from` up to `to`, in columns of equal width; fewer columns where there are fewer samples
    //          or ticks than columns. REQUIRES: from <= to; from 1 to kMaxColumns columns.
    // Times has a lane for each of the first stretches between steps back.
    std::string Range(std::uint64_t from, std::uint64_t to, std::uint64_t columns) const;
    std::string Times(std::uint64_t from, std::uint64_t to, std::uint64_t columns) const;

    // Returns: words from this sample on.
    std::string WordsFrom(std::uint64_t from, std::uint64_t count) const;

    enum class Direction { kNext, kPrevious };
    // Returns: the first hit from `from` on, or the last one before it, among at most 32 million samples.
    std::string Find(const WordFilter& filter, std::uint64_t from, Direction direction) const;

    // Returns: the steps to stamps from `from` up to `to`.
    enum class StepKind { kGaps, kBack };
    std::string StepsOf(StepKind kind, std::uint64_t from, std::uint64_t to) const;

    // Whether there are stamps, and the ticks of the least and after the greatest one, or the greatest possible ones.
    bool HasStamps() const noexcept { return m_whole.stamps.count != 0; }
    std::uint64_t LeastTicks() const noexcept { return m_whole.stamps.least; }
    std::uint64_t EndTicks() const noexcept { return std::max(m_whole.stamps.greatest, m_whole.stamps.greatest + 1); }

private:
    void Build();
    std::size_t Read(std::uint64_t first, std::span<std::uint64_t> words) const;
    // Errors: Error: kInput, the file became shorter; kChanged, it was written to and has the same size, or the name leads to
    //         another file or to none.
    void RequireWhole() const;
    // Errors: those of Read.
    std::optional<std::uint64_t> LastStampBefore(std::uint64_t sample) const;

    struct FileState {
        std::int64_t size = 0;
        std::int64_t modified = 0;  // nanoseconds since the beginning of 1970
        bool hasName = false;       // the path leads to it
    };
    // Errors: Error (kFailed).
    static FileState StateOf(const InputFile& file);

    const InputFile& m_file;
    FileState m_opened;
    const TimeOptions& m_time;
    std::optional<SampleFile> m_samples;  // none: the file has no trace
    std::string m_note;                   // what differs from a capture that is whole
    std::uint64_t m_missing = 0;          // samples
    BlockIndex::ReadWords m_read;
    std::optional<BlockIndex> m_index;
    std::optional<StampTimeline> m_timeline;
    RangeSummary m_whole;
    mutable std::mutex m_measuring;
};

}  // namespace orm_trace
