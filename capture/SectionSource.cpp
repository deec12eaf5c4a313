#include "capture/SectionSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tdf/TDFFormat.h"
#include "tools/orm-trace/output/Failure.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/options/SectionName.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

// Opened by its number: what it is may be nothing that has a name, and may not stand at its beginning.
FilePtr OpenStandardInput() {
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    if (flags >= 0 && (flags & O_ACCMODE) == O_WRONLY) {  // also what stands in for one that is closed
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

SectionSource::SectionSource(const std::string& text) {
    const std::size_t at = text.find('@');
    const std::size_t colon = text.substr(0, at).rfind(':');
    const auto version =
        at != text.npos && colon != text.npos ? ParseNumber(text.substr(colon + 1, at - colon - 1)) : std::nullopt;
    if (!version || *version > UINT32_MAX || at + 1 == text.size()) {
        throw Failure(ExitCode::kUsage, text, "is not of the form NAME:VERSION@FILE");
    }
    m_name = SectionName(text.substr(0, colon));
    if (m_name.find('\0') != m_name.npos) {
        throw Failure(ExitCode::kUsage, text, "has a zero byte in its name, which no lookup finds");
    }
    m_version = static_cast<std::uint32_t>(*version);
    m_path = text.substr(at + 1);
    if (m_name.size() > kMaxNameLength) {
        throw Failure(ExitCode::kFailed, m_path,
                      "the section's name has " + std::to_string(m_name.size()) +
                          " bytes, readers find names of up to " + std::to_string(kMaxNameLength));
    }
    m_isStandardInput = m_path == "-" || m_path == "/dev/stdin";
    if (m_isStandardInput) m_path = "standard input";
}

std::string SectionSource::Label() const { return SectionLabel(m_name, m_version); }

void SectionSource::Open() {
    m_data = m_isStandardInput ? OpenStandardInput() : FilePtr(std::fopen(m_path.c_str(), "rbe"));
    struct stat status {};
    if (!m_data || fstat(fileno(m_data.get()), &status) != 0) {
        throw Failure(ExitCode::kNotATrace, m_path, std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) throw Failure(ExitCode::kNotATrace, m_path, std::strerror(EISDIR));
    const bool isMeasured = S_ISREG(status.st_mode) && status.st_size != 0 && !m_isStandardInput;
    m_size = isMeasured ? static_cast<std::uint64_t>(status.st_size) : CopyData();
    const std::uint64_t length = kFixedHeaderSize + m_name.size() + m_size;
    if (length > kMaxSectionLength) {
        throw Failure(ExitCode::kFailed, m_path,
                      "makes a section of " + std::to_string(length) + (isMeasured ? " bytes" : " bytes or more") +
                          ", readers find sections of up to " + std::to_string(kMaxSectionLength));
    }
}

// Reads what cannot be measured to its end: how long a section is must be known before anything is written. A regular
// file without a size may be one that the system makes while it is read.
// Returns: the bytes read, no more than tell that the section would be too long.
std::uint64_t SectionSource::CopyData() {
    FilePtr copy(std::tmpfile());
    const auto check = [&](bool succeeded) {
        if (succeeded) return;
        throw Failure(ExitCode::kFailed, m_path, std::string("cannot be copied: ") + std::strerror(errno));
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
    const std::size_t got = std::fread(buffer, 1, size, m_data.get());
    if (std::ferror(m_data.get())) throw Failure(ExitCode::kFailed, m_path, std::strerror(errno));
    return got;
}

}  // namespace orm_trace
