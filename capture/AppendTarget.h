// A TDF file that sections are appended to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/InterruptGuard.h"
#include "capture/SectionWriter.h"
#include "capture/TargetLock.h"

namespace orm_trace {

// Appends sections to a TDF file, and takes back what was appended unless the work is kept, also when a signal ends the
// process: a file that was whole stays whole. The file is locked: of those that write to it with a lock, one does so at a
// time.
class AppendTarget {
public:
    // Errors: those of TargetLock; Failure (kNotATrace): path is no TDF file, or its chain of sections does not end at
    //         its end, so that what is appended could not be found.
    explicit AppendTarget(const std::string& path);
    ~AppendTarget();
    AppendTarget(const AppendTarget&) = delete;
    AppendTarget& operator=(const AppendTarget&) = delete;

    // Errors: Failure (kFailed): there is such a section already, so that readers would not see another one.
    void RequireNew(const std::string& name, std::uint32_t version) const { m_writer.RequireNew(name, version); }

    // Errors: Failure (kFailed).
    void Append(SectionSource& source) { m_writer.Append(source); }

    // Units: bytes, by which the file has grown. Errors: Failure (kFailed).
    std::uint64_t Appended() const;

    // Ends the work: checks that what was appended can be read.
    // Errors: Failure (kFailed), when the chain of sections does not end at the end of the file, or the file is no longer
    //         the one of that name.
    void Keep();

private:
    bool Cut() const noexcept;

    std::string m_path;
    TargetLock m_lock;
    int m_descriptor;  // of the lock, for the signal handler
    SectionWriter m_writer;
    std::uint64_t m_sizeBefore;
    std::optional<InterruptGuard> m_unfinished;  // empty once the work is kept
};

}  // namespace orm_trace
