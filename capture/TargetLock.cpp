#include "capture/TargetLock.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <tuple>
#include <utility>

#include "capture/Error.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

constexpr std::chrono::milliseconds kPause(20);
constexpr int kMaxTries = 1500;  // with the pauses, 30 seconds

FilePtr Open(const std::string& name, TargetLock::Purpose purpose) {
    FilePtr file = OpenForUpdate(name.c_str());
    // What is only replaced may be read-only. Locks of some file systems need a descriptor that writes, hence this order.
    if (!file && purpose == TargetLock::Purpose::kReplacing) file = OpenForReading(name.c_str());
    if (file) return file;
    throw MakeSystemError(purpose == TargetLock::Purpose::kReplacing ? ErrorKind::kFailed : ErrorKind::kInput, name,
                          errno);
}

// Returns: false while another process has the lock. A file system without locks refuses with various errors.
bool Lock(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR);
}

}  // namespace

TargetLock::TargetLock(std::string name, Purpose purpose, const OnWait& onWait) : m_name(std::move(name)) {
    for (int tries = 0; tries < kMaxTries; ++tries) {
        if (!m_file) m_file = Open(m_name, purpose);
        if (!Lock(Descriptor())) {
            if (onWait) onWait();
            std::this_thread::sleep_for(kPause);
        } else if (HasName()) {
            m_path = PathOfOpen(Descriptor(), m_name);
            return;
        } else {
            Close();
        }
    }
    throw Error(ErrorKind::kFailed, m_name, "is being written by another process", ETIMEDOUT);
}

void TargetLock::Close() noexcept {
    flock(Descriptor(), LOCK_UN);
    m_file.reset();
}

bool TargetLock::HasName() const {
    struct stat named {};
    if (stat(m_name.c_str(), &named) != 0) {
        if (errno == ENOENT) return false;
        throw MakeSystemError(ErrorKind::kFailed, m_name, errno);
    }
    struct stat open {};
    fstat(Descriptor(), &open);  // if this fails, the status is all zeros, which no file has
    return std::tie(open.st_dev, open.st_ino) == std::tie(named.st_dev, named.st_ino);
}

std::string PathOfOpen(int descriptor, const std::string& fallback) {
    std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    return access(path.c_str(), F_OK) == 0 ? path : fallback;
}

}  // namespace orm_trace
