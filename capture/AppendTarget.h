// A TDF file that sections are appended to.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "capture/InterruptGuard.h"
#include "capture/SectionWriter.h"
#include "capture/TargetLock.h"

namespace orm_trace {

// Appends sections to a TDF file. Unless Keep was called, the file is truncated to its old size in the end, also when a
// signal ends the process: a file that was whole stays whole. The file is locked: writers that lock it write in turn.
class AppendTarget {
public:
    // What a destructor cannot throw: the file could not be truncated.
    using OnLeftover = std::function<void(const Error&)>;

    // Errors: those of TargetLock; Error (kInput): path is not a TDF file, or its chain of sections does not end at its
    //         end, so that what is appended could not be found.
    AppendTarget(const std::string& path, OnLeftover onLeftover, const TargetLock::OnWait& onWait = {});
    ~AppendTarget();
    AppendTarget(const AppendTarget&) = delete;
    AppendTarget& operator=(const AppendTarget&) = delete;

    const std::string& Path() const noexcept { return m_path; }

    // Returns: whether the file has such a section, so that readers would not see another one.
    bool Has(const std::string& name, std::uint32_t version) const { return m_writer.HasSection(name, version); }

    // Errors: Error (kFailed).
    void Append(SectionSource& source, const ProgressCallback& onProgress = {}) { m_writer.Append(source, onProgress); }

    // Units: bytes, by which the file has grown. Errors: Error (kFailed).
    std::uint64_t Appended() const;

    // Ends the work: checks that what was appended can be read.
    // Errors: Error (kFailed), when the chain of sections does not end at the end of the file, or the file is no longer
    //         the one of that name.
    void Keep();

private:
    bool Cut() const noexcept;

    std::string m_path;
    OnLeftover m_onLeftover;
    TargetLock m_lock;
    int m_descriptor;  // of the lock, for the signal handler
    SectionWriter m_writer;
    std::uint64_t m_sizeBefore;
    std::optional<InterruptGuard> m_unfinished;  // empty once the work is kept
};

}  // namespace orm_trace
