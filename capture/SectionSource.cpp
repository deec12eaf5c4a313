#include "capture/SectionSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "capture/Error.h"
#include "capture/Text.h"
#include "tdf/TDFFormat.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

// Opened by its number: it may have no name, and its offset may not be 0.
FilePtr OpenStandardInput() {
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    if (flags >= 0 && (flags & O_ACCMODE) == O_WRONLY) {  // also the stand-in for a closed one
        errno = EBADF;
        return nullptr;
    }
    const int descriptor = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (descriptor < 0) return nullptr;
    FilePtr stream(fdopen(descriptor, "rb"));
    if (!stream) close(descriptor);
    return stream;
}

}  // namespace

SectionSource::SectionSource(std::string name, std::uint32_t version, std::string path)
    : m_name(std::move(name)),
      m_version(version),
      m_path(std::move(path)),
      m_isStandardInput(m_path == "-" || m_path == "/dev/stdin") {
    if (m_isStandardInput) m_path = "standard input";
    if (m_name.find('\0') != m_name.npos) {
        throw Error(ErrorKind::kArgument, SectionLabel(m_name, m_version),
                    "has a zero byte in its name, which no lookup finds");
    }
    if (m_name.size() > kMaxNameLength) {
        throw Error(ErrorKind::kFailed, m_path,
                    "the section's name has " + std::to_string(m_name.size()) + " bytes, readers find names of up to " +
                        std::to_string(kMaxNameLength));
    }
}

SectionSource::SectionSource(std::string name, std::uint32_t version, std::string label, std::uint64_t size,
                             ReadData read)
    : SectionSource(std::move(name), version, std::move(label)) {
    m_isStandardInput = false;
    m_size = size;
    m_read = std::move(read);
    RequireLength(true);
}

void SectionSource::Open() {
    if (m_read) return;
    m_data = m_isStandardInput ? OpenStandardInput() : FilePtr(std::fopen(m_path.c_str(), "rbe"));
    struct stat status {};
    if (!m_data || fstat(fileno(m_data.get()), &status) != 0) {
        throw MakeSystemError(ErrorKind::kInput, m_path, errno);
    }
    if (S_ISDIR(status.st_mode)) throw MakeSystemError(ErrorKind::kInput, m_path, EISDIR);
    const bool isMeasured = S_ISREG(status.st_mode) && status.st_size != 0 && !m_isStandardInput;
    m_size = isMeasured ? static_cast<std::uint64_t>(status.st_size) : CopyData();
    RequireLength(isMeasured);
}

void SectionSource::RequireLength(bool isMeasured) const {
    const std::uint64_t length = kFixedHeaderSize + m_name.size() + m_size;
    if (length > kMaxSectionLength) {
        throw Error(ErrorKind::kFailed, m_path,
                    "makes a section of " + std::to_string(length) + (isMeasured ? " bytes" : " bytes or more") +
                        ", readers find sections of up to " + std::to_string(kMaxSectionLength));
    }
}

// Reads data that cannot be measured to its end: the length of a section must be known before anything is written. A
// regular file of size 0 may be one that the system generates while it is read, as in /proc.
// Returns: the bytes read; it stops once the section would be too long.
std::uint64_t SectionSource::CopyData() {
    FilePtr copy(std::tmpfile());
    const auto check = [&](bool succeeded) {
        if (succeeded) return;
        throw Error(ErrorKind::kFailed, m_path, std::string("cannot be copied: ") + std::strerror(errno), errno);
    };
    check(copy != nullptr);
    std::array<char, 64 * 1024> buffer;
    std::uint64_t size = 0;
    while (const std::size_t got = size > kMaxSectionLength ? 0 : Read(buffer.data(), buffer.size())) {
        check(std::fwrite(buffer.data(), 1, got, copy.get()) == got);
        size += got;
    }
    check(std::fflush(copy.get()) == 0);
    std::rewind(copy.get());
    m_data = std::move(copy);
    return size;
}

std::size_t SectionSource::Read(char* buffer, std::size_t size) {
    if (m_read) return m_read(buffer, size);
    const std::size_t got = std::fread(buffer, 1, size, m_data.get());
    if (std::ferror(m_data.get())) throw MakeSystemError(ErrorKind::kFailed, m_path, errno);
    return got;
}

}  // namespace orm_trace
