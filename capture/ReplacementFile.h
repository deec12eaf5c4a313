// A file that has no name until it is complete.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "capture/InterruptGuard.h"
#include "capture/TargetLock.h"
#include "tdf/FileIO.h"

namespace orm_trace {

// A file of a new name, which is removed with this object, also when a signal ends the process.
class TemporaryName {
public:
    // Makes the file, for its owner only. path: has XXXXXX before its ending, of this length, for what makes it new.
    TemporaryName(std::string path, std::size_t endingLength);
    ~TemporaryName();
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;

    // Returns: the open file, which the caller owns; null, with errno set, when it could not be made.
    Orm::Lux::Trace::FilePtr TakeFile() noexcept { return std::move(m_file); }
    const std::string& Path() const noexcept { return m_path; }

private:
    std::string m_path;
    bool m_isMade = false;
    Orm::Lux::Trace::FilePtr m_file;
    InterruptGuard m_guard;  // from before the file is made
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

    // Gives the file its name, once its bytes are on the disk, with the permissions of the file that it replaces and,
    // where that is permitted, its owner. That one is locked: a writer that waits for the lock then finds the new file.
    // Errors: those of TargetLock; Error (kFailed).
    void Publish(const TargetLock::OnWait& onWait = {});

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
