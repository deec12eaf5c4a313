#include "capture/ReplacementFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "capture/Error.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

constexpr int kOwnerOnly = 0600;  // until the file is complete

[[noreturn]] void ThrowSystemError(const std::string& path) {
    throw Error(ErrorKind::kFailed, path, std::strerror(errno));
}

// Returns: null for no descriptor, and, with the descriptor closed, where it cannot become a stream.
FilePtr Own(int descriptor) {
    FilePtr stream(descriptor < 0 ? nullptr : fdopen(descriptor, "r+b"));
    if (!stream && descriptor >= 0) close(descriptor);
    return stream;
}

}  // namespace

TemporaryName::TemporaryName(std::string path)
    : m_path(std::move(path)),
      m_guard([](const void* name) noexcept { unlink(static_cast<const TemporaryName*>(name)->m_path.c_str()); },
              this) {}

TemporaryName::~TemporaryName() { unlink(m_path.c_str()); }

ReplacementFile::ReplacementFile(std::string target, bool replace, const char* ifExists, bool isTdf)
    : m_target(std::move(target)), m_replace(replace), m_ifExists(ifExists), m_isTdf(isTdf) {
    ModeOfTarget();
    if (!m_replace) MakeNameless();
    if (!m_file) MakeHidden();
    if (!m_file) ThrowSystemError(m_target);
    if (m_isTdf) std::fwrite(kTDFIdentifier.data(), 1, kTDFIdentifier.size(), m_file.get());
    if (std::fflush(m_file.get()) != 0) ThrowSystemError(m_target);
}

void ReplacementFile::Publish() {
    for (;;) {
        std::optional<TargetLock> replaced;
        struct stat status {};
        if (m_replace && lstat(m_target.c_str(), &status) == 0) {
            replaced.emplace(m_target, TargetLock::Purpose::kReplacing);
        }
        const int descriptor = fileno(m_file.get());
        if (fchmod(descriptor, ModeOfTarget()) != 0 || fsync(descriptor) != 0) ThrowSystemError(m_target);
        if (TakeName(!replaced)) return;
        // A file of that name was made since it was looked for.
        if (errno != EEXIST || !m_replace) ThrowSystemError(m_target);
    }
}

// Leaves the file null where the file system has no nameless files, or the system no paths to them.
void ReplacementFile::MakeNameless() {
    const std::string folder = std::filesystem::path(m_target).parent_path() / ".";
    FilePtr file = Own(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnerOnly));
    if (!file) return;
    m_path = PathOfOpen(fileno(file.get()), "");
    if (!m_path.empty()) m_file = std::move(file);
}

void ReplacementFile::MakeHidden() {
    const std::filesystem::path path(m_target);
    std::string hidden = path.parent_path() / ("." + path.stem().string() + ".XXXXXX.tdf");
    const BlockedSignals blocked;
    const int descriptor = mkostemps(hidden.data(), static_cast<int>(std::strlen(".tdf")), O_CLOEXEC);
    if (descriptor < 0) return;
    m_path = hidden;
    m_hidden.emplace(std::move(hidden));
    m_file = Own(descriptor);
}

// Returns: the permissions that the file has or, as a new one, gets. Errors: Error, when it may not be made.
mode_t ReplacementFile::ModeOfTarget() const {
    if (m_isTdf && !TDFHandler().HasExtension(m_target.c_str(), kTDFExtension)) {
        throw Error(ErrorKind::kArgument, m_target, "TDF file extension must be .tdf.");
    }
    struct stat status {};
    if (lstat(m_target.c_str(), &status) != 0) {
        if (errno != ENOENT) ThrowSystemError(m_target);
        const mode_t mask = umask(0);
        umask(mask);
        return 0666 & ~mask;
    }
    if (!S_ISREG(status.st_mode)) throw Error(ErrorKind::kFailed, m_target, "exists and is not a regular file");
    if (!m_replace) throw Error(ErrorKind::kFailed, m_target, m_ifExists);
    return status.st_mode & 07777;
}

// Returns: false with errno set.
bool ReplacementFile::TakeName(bool isFree) const {
    const char* path = m_path.c_str();
    const char* target = m_target.c_str();
    if (m_hidden) {
        if (renameat2(AT_FDCWD, path, AT_FDCWD, target, isFree ? RENAME_NOREPLACE : 0) == 0) return true;
        if (!isFree || errno != EINVAL) return false;
    }
    // For a nameless file, and where the file system cannot rename without replacing.
    return linkat(AT_FDCWD, path, AT_FDCWD, target, AT_SYMLINK_FOLLOW) == 0;
}

}  // namespace orm_trace
