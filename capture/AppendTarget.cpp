#include "capture/AppendTarget.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "capture/Text.h"

namespace orm_trace {

AppendTarget::AppendTarget(const std::string& path, OnLeftover onLeftover, const TargetLock::OnWait& onWait)
    : m_path(path),
      m_onLeftover(std::move(onLeftover)),
      m_lock(path, TargetLock::Purpose::kAppending, onWait),
      m_descriptor(m_lock.Descriptor()),
      m_writer(m_lock.Path(), path),
      m_sizeBefore(m_writer.RequireWholeChain(ErrorKind::kInput)) {
    m_unfinished.emplace([](const void* target) noexcept { static_cast<const AppendTarget*>(target)->Cut(); }, this);
}

AppendTarget::~AppendTarget() {
    if (!m_unfinished || Cut()) return;
    m_onLeftover(
        {ErrorKind::kFailed, m_path,
         "keeps an incomplete section from offset " + OffsetText(m_sizeBefore) + " on: " + std::strerror(errno)});
}

std::uint64_t AppendTarget::Appended() const {
    struct stat status {};
    if (fstat(m_descriptor, &status) != 0) throw MakeSystemError(ErrorKind::kFailed, m_path, errno);
    const auto size = static_cast<std::uint64_t>(status.st_size);
    return size > m_sizeBefore ? size - m_sizeBefore : 0;
}

void AppendTarget::Keep() {
    m_writer.RequireWholeChain(ErrorKind::kFailed);
    if (!m_lock.HasName()) throw Error(ErrorKind::kFailed, m_path, "was replaced while it was being written");
    m_unfinished.reset();
}

// Truncates the file to its old size, unless it is shorter by now. A signal handler calls it too.
// Returns: false with errno set when that fails.
bool AppendTarget::Cut() const noexcept {
    struct stat status {};
    const auto size = static_cast<off_t>(m_sizeBefore);
    if (fstat(m_descriptor, &status) == 0 && status.st_size <= size) return true;
    return ftruncate(m_descriptor, size) == 0;
}

}  // namespace orm_trace
