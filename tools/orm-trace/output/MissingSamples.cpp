#include "tools/orm-trace/output/MissingSamples.h"

#include <algorithm>

#include "tools/orm-trace/output/Output.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

ExitCode ReportMissing(const std::string& file, const SamplesRead& samples, const std::string& reason) {
    const std::uint64_t next = samples.first + samples.read;
    if (samples.read == samples.wanted && next <= samples.total) {
        if (!samples.hasGrown) return ExitCode::kOk;
        Report(file, "became longer while it was being read: samples from " + std::to_string(next) + " on are missing");
        return ExitCode::kIncomplete;
    }
    const std::string what = samples.wanted == 0 ? "has no sample " + std::to_string(next)
                                                 : Missing(samples.wanted - samples.read, samples.wanted, "sample");
    const std::string end = "the trace ends before sample " + std::to_string(std::min(next, samples.total));
    Report(file, what + ": " + (reason.empty() ? end : reason));
    return ExitCode::kIncomplete;
}

}  // namespace orm_trace
