#include "tools/orm-trace/SectionSource.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tdf/TDFFormat.h"
#include "tools/orm-trace/Failure.h"
#include "tools/orm-trace/ParseNumber.h"
#include "tools/orm-trace/SectionName.h"
#include "tools/orm-trace/Text.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

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
    OpenData();
    const std::uint64_t length = kFixedHeaderSize + m_name.size() + m_size;
    if (length > kMaxSectionLength) {
        throw Failure(ExitCode::kFailed, m_path,
                      "makes a section of " + std::to_string(length) + " bytes, readers find sections of up to " +
                          std::to_string(kMaxSectionLength));
    }
}

std::string SectionSource::Label() const { return SectionLabel(m_name, m_version); }

// What cannot be measured is copied first: how long a section is must be known before anything is written.
void SectionSource::OpenData() {
    const bool isStandardInput = m_path == "-";
    if (isStandardInput) m_path = "standard input";
    FilePtr input(isStandardInput ? std::fopen("/dev/stdin", "rbe") : std::fopen(m_path.c_str(), "rbe"));
    struct stat status {};
    if (input && fstat(fileno(input.get()), &status) == 0 && S_ISDIR(status.st_mode)) {
        input.reset();
        errno = EISDIR;
    }
    if (!input) throw Failure(ExitCode::kNotATrace, m_path, std::strerror(errno));
    m_data = std::move(input);
    if (!isStandardInput && MeasureSize(m_data.get(), m_size)) {
        std::rewind(m_data.get());
        return;
    }
    std::rewind(m_data.get());
    FilePtr copy(std::tmpfile());
    std::array<char, 64 * 1024> buffer;
    m_size = 0;
    while (const std::size_t got = Read(buffer.data(), buffer.size())) {
        if (!copy || std::fwrite(buffer.data(), 1, got, copy.get()) != got) {
            throw Failure(ExitCode::kFailed, m_path, std::string("cannot be copied: ") + std::strerror(errno));
        }
        m_size += got;
        if (m_size > kMaxSectionLength) break;  // refused in any case
    }
    if (copy) std::rewind(copy.get());
    m_data = std::move(copy);
}

std::size_t SectionSource::Read(char* buffer, std::size_t size) {
    if (!m_data) return 0;
    const std::size_t got = std::fread(buffer, 1, size, m_data.get());
    if (std::ferror(m_data.get())) throw Failure(ExitCode::kFailed, m_path, std::strerror(errno));
    return got;
}

}  // namespace orm_trace
