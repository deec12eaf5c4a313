// Keeping other writers away from a file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tdf/FileIO.h"

namespace orm_trace {

// The file that a name leads to, open and locked against others that lock it too. The lock, flock(2), is that of the
// descriptor: it stays when other code of this process opens and closes the file. Where the file system has no locks
// the file is only open.
class TargetLock {
public:
    enum class Purpose { kAppending, kReplacing };

    // Is called every 20 ms of a wait. What it throws ends the wait.
    using OnWait = std::function<void()>;

    // Waits up to 30 seconds for the lock, and starts over if the name then leads to another file.
    // Errors: Error: kInput, or kFailed for one to be replaced, when the file cannot be opened; kFailed when the
    //         wait was too long (ETIMEDOUT), or the name cannot be looked up; those of onWait.
    TargetLock(std::string name, Purpose purpose, const OnWait& onWait = {});
    ~TargetLock() { Close(); }
    TargetLock(const TargetLock&) = delete;
    TargetLock& operator=(const TargetLock&) = delete;

    int Descriptor() const noexcept { return fileno(m_file.get()); }

    // Returns: a path that leads to this file, whatever has the name by now; the name where the system has no such path.
    const std::string& Path() const noexcept { return m_path; }

    // Whether the name still leads to this file. Errors: Error (kFailed).
    bool HasName() const;

private:
    // Also unlocks: a child process that was forked while it was locked has the same lock.
    void Close() noexcept;

    std::string m_name;
    Orm::Lux::Trace::FilePtr m_file;
    std::string m_path;
};

// Returns: a path that leads to an open file; fallback where the system has no such paths.
std::string PathOfOpen(int descriptor, const std::string& fallback);

}  // namespace orm_trace
