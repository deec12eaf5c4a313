// The samples of a trace, page by page.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/SampleFile.h"
#include "tdf/TraceSection.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/output/ExitCode.h"

namespace orm_trace {

using Orm::Lux::Trace::kSampleSize;

// Pages through a run of samples with a driver, and says how many of them are missing.
class TraceSamples {
public:
    struct Page {
        std::uint64_t first;  // index of its first sample
        const unsigned long* samples;
        std::size_t count;
    };

    // Loads the trace. Errors: Error.
    TraceSamples(Driver& driver, std::string file);

    // Returns: the samples in the file, of which the driver may serve fewer: it counts bytes in 32 bits.
    std::uint64_t Total() const noexcept { return m_total; }

    // Chooses the run: count samples from first on, which may be beyond the last one. isOpen: all that there are from first
    // on. Called once, before Next.
    void Require(std::uint64_t first, std::uint64_t count, bool isOpen);

    // Returns: the next page, valid until the next call; nothing after the last one. A run without samples is read too, so
    //          that a file that cannot be read at all is reported. Errors: Error.
    std::optional<Page> Next();

    // Returns: kOk, or kIncomplete when samples are missing or the run begins beyond the last one, which is reported. That
    //          the file has more samples by now is reported where it can be seen.
    ExitCode Finish() const;

private:
    bool HasGrown() const;

    Driver& m_driver;
    std::string m_file;
    std::uint64_t m_served;
    std::uint64_t m_total;
    std::uint64_t m_wanted = 0;
    std::uint64_t m_next = 0;  // sample
    std::uint64_t m_end = 0;   // end of the available part of the run
    std::uint64_t m_read = 0;
    bool m_isOpen = false;
    bool m_ended = false;
    // The file, opened again, to see whether it grows.
    std::optional<InputFile> m_input;
    std::optional<SampleFile> m_samples;
    std::vector<unsigned long> m_page;
};

}  // namespace orm_trace
