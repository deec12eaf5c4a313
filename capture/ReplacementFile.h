// A file that has no name until it is complete.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "capture/InterruptGuard.h"
#include "capture/TargetLock.h"
#include "tdf/FileIO.h"

namespace orm_trace {

// The name of a file, removed with this object, also when a signal ends the process.
class TemporaryName {
public:
    // The file exists. Signals have been blocked since before it was made.
    explicit TemporaryName(std::string path);
    ~TemporaryName();
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;

private:
    std::string m_path;
    InterruptGuard m_guard;
};

// A file that takes the place of its target when it is complete, and disappears otherwise, also when a signal ends the
// process. A file that replaces nothing has no name until then, so that it disappears however the process ends. Where it
// replaces a file, or the file system has no nameless files, it has a hidden name in the target's folder.
class ReplacementFile {
public:
    // Makes the file: with isTdf a TDF file without sections, else an empty one.
    // replace: a regular file of that name may exist.
    // Errors:  Error: kArgument for a TDF file's name without the extension .tdf, kFailed when the file exists and is not
    //          to be replaced (ifExists says so), or cannot be made.
    ReplacementFile(std::string target, bool replace, const char* ifExists, bool isTdf = true);
    // Returns: a path that leads to the file.
    const std::string& Path() const noexcept { return m_path; }

    // Gives the file its name, once its bytes are on the disk, with the permissions of the file that it replaces. That
    // one is locked: a writer that waits for the lock then finds the new file.
    // Errors: those of TargetLock; Error (kFailed).
    void Publish();

private:
    void MakeNameless();
    void MakeHidden();
    mode_t ModeOfTarget() const;
    bool TakeName(bool isFree) const;

    std::string m_target;
    bool m_replace;
    const char* m_ifExists;
    bool m_isTdf;
    std::string m_path;
    Orm::Lux::Trace::FilePtr m_file;
    std::optional<TemporaryName> m_hidden;
};

}  // namespace orm_trace
