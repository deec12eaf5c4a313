#include "capture/InputFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "capture/Error.h"
#include "capture/Text.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

InputFile::InputFile(std::string path) : m_path(std::move(path)), m_stream(OpenForReading(m_path.c_str())) {
    std::uint64_t size = 0;
    if (!m_stream || !MeasureSize(m_stream.get(), size)) throw MakeSystemError(ErrorKind::kInput, m_path, errno);
    m_size = size;
    std::setvbuf(m_stream.get(), nullptr, _IONBF, 0);  // a walk reads ahead by itself
    TDFIdentifier found{};
    const std::size_t read = ReadAt(0, found.data(), found.size());
    if (read == 0 && size >= found.size()) ThrowShorter();
    m_hasIdentifier = read == found.size() && found == kTDFIdentifier;
}

void InputFile::Measure() const { m_size = SizeNow(); }

std::uint64_t InputFile::SizeNow() const {
    std::uint64_t size = 0;
    if (!MeasureSize(m_stream.get(), size)) throw MakeSystemError(ErrorKind::kInput, m_path, errno);
    if (size < m_size) ThrowShorter();
    return size;
}

void InputFile::ThrowShorter() const {
    throw Error(ErrorKind::kInput, m_path, "became shorter while it was being read");
}

bool InputFile::IsNamedTdf() const noexcept { return TDFHandler().HasExtension(m_path.c_str(), kTDFExtension); }

void InputFile::RequireIdentifier() const {
    if (m_hasIdentifier) return;
    throw Error(ErrorKind::kInput, m_path,
                IsNamedTdf() ? "is not a TDF file, though named .tdf: it lacks the identifier" : "is not a TDF file");
}

std::size_t InputFile::ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const {
    errno = 0;
    const std::size_t read = Orm::Lux::Trace::ReadAt(m_stream.get(), offset, buffer, size);
    if (read < size && errno != 0) {
        throw Error(ErrorKind::kFailed, m_path,
                    "cannot be read at offset " + OffsetText(offset + read) + ": " + std::strerror(errno), errno);
    }
    return read;
}

std::uint64_t InputFile::NextData(std::uint64_t offset) const {
    const off_t data = lseek(fileno(m_stream.get()), static_cast<off_t>(offset), SEEK_DATA);
    if (data >= 0) return std::max(static_cast<std::uint64_t>(data), offset);
    if (errno != ENXIO) return offset;
    // So it is for a hole at the end, and also for bytes that the file no longer has.
    SizeNow();
    return std::max(m_size.load(), offset);
}

}  // namespace orm_trace
