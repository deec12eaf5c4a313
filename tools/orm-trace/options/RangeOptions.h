// The options that choose a range of samples.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "capture/SampleFile.h"
#include "tools/orm-trace/options/TimeOptions.h"

namespace orm_trace {

// Samples from first on. Both numbers are as asked for: the capture may have fewer.
struct SampleRange {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    bool isOpen = false;  // up to the last sample, whichever that is
};

class RangeOptions {
public:
    // Adds --from and --count, and --from-time and --to-time, which need --zero.
    void AddTo(CLI::App& app);

    // Called once, when the options are known. Errors: Error (kArgument).
    void Prepare();

    bool IsByTime() const noexcept { return m_fromTime || m_toTime; }

    // Returns: what is asked for of a capture that has total samples. REQUIRES: the range is not by time.
    SampleRange Of(std::uint64_t total) const noexcept;

    // Returns: what is asked for of a capture. A range by time begins at the first stamp that is not before --from-time, and
    //          ends before the first one after that which is after --to-time, with times in whole microseconds, as they are
    //          printed. The capture is read to find them, with progress if that is wanted.
    // Errors:  Error: kFailed when no stamp is in the range by time, or the file cannot be read; kInput when it became
    //          shorter.
    SampleRange Of(const SampleFile& file, const TimeOptions& time, bool showsProgress = true) const;

private:
    std::uint64_t m_from = 0;
    std::optional<std::uint64_t> m_count;
    std::optional<std::string> m_fromText;
    std::optional<std::string> m_toText;
    std::optional<Microseconds> m_fromTime;
    std::optional<Microseconds> m_toTime;
};

}  // namespace orm_trace
