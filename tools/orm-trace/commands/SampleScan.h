// Going through a range of a capture's samples.
#pragma once

#include <algorithm>
#include <cstdint>

#include "analysis/Word.h"
#include "capture/SampleFile.h"
#include "capture/WordBuffer.h"
#include "tools/orm-trace/options/RangeOptions.h"
#include "tools/orm-trace/output/MissingSamples.h"
#include "tools/orm-trace/output/Output.h"
#include "tools/orm-trace/output/ProgressBar.h"

namespace orm_trace {

// Calls visit(words, first) with one part of the range after the other, until it returns false or the file ends. Ends early
// when nothing comes out of the output any more. Shows progress if that is wanted. Returns: what was asked for and read; if visit ends the scan, nothing more counts as asked for.
// Errors:  Error, and those of visit.
template <class Visit>
SamplesRead ScanSamples(const SampleFile& file, const SampleRange& range, const Output& out, bool showsProgress,
                        Visit visit) {
    constexpr std::size_t kChunk = 16 * 1024;  // words, 128 KiB
    SamplesRead samples{range.first, range.count, 0, file.Count()};
    const std::uint64_t available = file.Count() - std::min(file.Count(), samples.first);
    WordBuffer buffer(static_cast<std::size_t>(std::min<std::uint64_t>({kChunk, samples.wanted, available})));
    const std::span<std::uint64_t> chunk = buffer.Words();
    ProgressBar bar(std::min(samples.wanted, available) * sizeof(std::uint64_t), showsProgress);
    while (samples.read < samples.wanted && !chunk.empty()) {
        out.RequireUse();
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), samples.wanted - samples.read));
        const std::size_t got = file.Read(samples.first + samples.read, chunk.first(wanted));
        samples.read += got;
        if (!visit(Words(chunk.data(), got), samples.first + samples.read - got)) {
            samples.wanted = samples.read;
            return samples;
        }
        bar.Advance(got * sizeof(std::uint64_t));
        if (got < wanted) break;
    }
    samples.hasGrown = range.isOpen && samples.read == samples.wanted && file.HasGrown();
    return samples;
}

}  // namespace orm_trace
