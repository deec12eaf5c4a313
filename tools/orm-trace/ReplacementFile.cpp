#include "tools/orm-trace/ReplacementFile.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"
#include "tools/orm-trace/Failure.h"

namespace orm_trace {
namespace {

[[noreturn]] void ThrowSystemError(const std::string& path) {
    throw Failure(ExitCode::kFailed, path, std::strerror(errno));
}

// What a signal that ends the tool must not leave behind. There is one replacement at a time.
std::array<char, PATH_MAX> g_unfinished;

void RemoveUnfinished(int signal) {
    unlink(g_unfinished.data());
    raise(signal);  // the default action is in place again
}

void RemoveAtSignals(const std::string& path) {
    path.copy(g_unfinished.data(), g_unfinished.size() - 1);
    struct sigaction action {};
    action.sa_handler = RemoveUnfinished;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

}  // namespace

ReplacementFile::ReplacementFile(std::string target, bool replace, const char* ifExists, bool isTdf)
    : m_target(std::move(target)), m_replace(replace), m_isTdf(isTdf), m_mode(ModeOfTarget(ifExists)) {
    const std::filesystem::path path(m_target);
    m_path = path.parent_path() / ("." + path.stem().string() + ".XXXXXX.tdf");
    const int descriptor = mkostemps(m_path.data(), static_cast<int>(std::strlen(".tdf")), O_CLOEXEC);
    if (descriptor < 0) ThrowSystemError(m_target);
    close(descriptor);
    RemoveAtSignals(m_path);
}

ReplacementFile::~ReplacementFile() {
    if (!m_path.empty()) unlink(m_path.c_str());
}

void ReplacementFile::Publish() {
    const int descriptor = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool stored = descriptor >= 0 && fchmod(descriptor, m_mode) == 0 && fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    errno = error;
    const unsigned flags = m_replace ? 0 : RENAME_NOREPLACE;
    if (!stored || renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_target.c_str(), flags) != 0) {
        ThrowSystemError(m_target);
    }
    m_path.clear();
}

// Returns: the permissions that the file has or, as a new one, gets.
mode_t ReplacementFile::ModeOfTarget(const char* ifExists) const {
    using Orm::Lux::Trace::TDFHandler;
    if (m_isTdf && !TDFHandler().HasExtension(m_target.c_str(), Orm::Lux::Trace::kTDFExtension)) {
        throw Failure(ExitCode::kUsage, m_target, "TDF file extension must be .tdf.");
    }
    struct stat status {};
    if (lstat(m_target.c_str(), &status) != 0) {
        if (errno != ENOENT) ThrowSystemError(m_target);
        const mode_t mask = umask(0);
        umask(mask);
        return 0666 & ~mask;
    }
    if (!S_ISREG(status.st_mode)) throw Failure(ExitCode::kFailed, m_target, "exists and is no regular file");
    if (!m_replace) throw Failure(ExitCode::kFailed, m_target, ifExists);
    return status.st_mode & 07777;
}

}  // namespace orm_trace
