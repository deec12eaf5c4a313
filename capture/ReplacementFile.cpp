#include "capture/ReplacementFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "capture/Error.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

constexpr int kOwnerOnly = 0600;  // until the file is complete

[[noreturn]] void ThrowSystemError(const std::string& path) { throw MakeSystemError(ErrorKind::kFailed, path, errno); }

// Returns: a stream for a new file, never with the number of a closed standard stream, which others still write to; null
//          with errno set for no descriptor, and, with the descriptor closed, where it cannot become one.
FilePtr Own(int descriptor) {
    if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        const int standard = std::exchange(descriptor, fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        const int error = errno;
        close(standard);
        errno = error;
        // They may have written to it by then.
        if (descriptor >= 0 && ftruncate(descriptor, 0) == 0) lseek(descriptor, 0, SEEK_SET);
    }
    FilePtr stream(descriptor < 0 ? nullptr : fdopen(descriptor, "r+b"));
    if (!stream && descriptor >= 0) close(descriptor);
    return stream;
}

// Returns: the bits that new files do not get. The call that has them would also change them, for all threads.
mode_t CurrentUmask() {
    constexpr std::string_view kField = "Umask:";
    if (const FilePtr status = OpenForReading("/proc/self/status")) {
        std::array<char, 256> line;
        while (std::fgets(line.data(), static_cast<int>(line.size()), status.get()) != nullptr) {
            const std::string_view text(line.data());
            if (!text.starts_with(kField)) continue;
            return static_cast<mode_t>(std::strtoul(text.substr(kField.size()).data(), nullptr, 8));
        }
    }
    const mode_t mask = umask(077);  // other threads' new files are rather too private for a moment
    umask(mask);
    return mask;
}

}  // namespace

TemporaryName::TemporaryName(std::string path, std::size_t endingLength)
    : m_path(std::move(path)),
      m_guard(
          [](const void* object) noexcept {
              const auto* name = static_cast<const TemporaryName*>(object);
              if (name->m_isMade) unlink(name->m_path.c_str());
          },
          this) {
    // A signal that another thread gets is passed on to this one, where it waits.
    const BlockedSignals blocked;
    const int descriptor = mkostemps(m_path.data(), static_cast<int>(endingLength), O_CLOEXEC);
    m_isMade = descriptor >= 0;
    m_file = Own(descriptor);
}

TemporaryName::~TemporaryName() {
    if (m_isMade) unlink(m_path.c_str());
}

ReplacementFile::ReplacementFile(std::string target, bool replace, const char* ifExists, bool isTdf)
    : m_target(std::move(target)), m_replace(replace), m_ifExists(ifExists), m_isTdf(isTdf) {
    ModeOfTarget();
    if (!m_replace) MakeNameless();
    if (!m_file) MakeHidden();
    if (!m_file) ThrowSystemError(m_target);
    if (m_isTdf) std::fwrite(kTDFIdentifier.data(), 1, kTDFIdentifier.size(), m_file.get());
    if (std::fflush(m_file.get()) != 0) ThrowSystemError(m_target);
}

void ReplacementFile::Publish(const TargetLock::OnWait& onWait) {
    for (;;) {
        std::optional<TargetLock> replaced;
        struct stat status {};
        if (m_replace && lstat(m_target.c_str(), &status) == 0) {
            replaced.emplace(m_target, TargetLock::Purpose::kReplacing, onWait);
        }
        const int descriptor = fileno(m_file.get());
        mode_t mode = ModeOfTarget();
        // What runs as the owner must not do so for another one.
        if (replaced && fchown(descriptor, status.st_uid, status.st_gid) != 0) mode &= 0777;
        if (fchmod(descriptor, mode) != 0 || fsync(descriptor) != 0) ThrowSystemError(m_target);
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
    constexpr std::string_view kEnding = ".tdf", kRandom = ".XXXXXX";
    std::string name = "." + path.stem().string().substr(0, NAME_MAX - 1 - kRandom.size() - kEnding.size());
    m_hidden.emplace(path.parent_path() / name.append(kRandom).append(kEnding), kEnding.size());
    m_file = m_hidden->TakeFile();
    m_path = m_hidden->Path();
}

// Returns: the permissions that the file has or, as a new one, gets. Errors: Error, when it may not be made.
mode_t ReplacementFile::ModeOfTarget() const {
    if (m_isTdf && !TDFHandler().HasExtension(m_target.c_str(), kTDFExtension)) {
        throw Error(ErrorKind::kArgument, m_target, "TDF file extension must be .tdf.");
    }
    struct stat status {};
    if (lstat(m_target.c_str(), &status) != 0) {
        if (errno != ENOENT) ThrowSystemError(m_target);
        return 0666 & ~CurrentUmask();
    }
    if (!S_ISREG(status.st_mode)) throw Error(ErrorKind::kFailed, m_target, "exists and is not a regular file", EEXIST);
    if (!m_replace) throw Error(ErrorKind::kFailed, m_target, m_ifExists, EEXIST);
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
