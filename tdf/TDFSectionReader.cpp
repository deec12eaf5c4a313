#include "tdf/TDFSectionReader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "tdf/FileIO.h"

namespace Orm::Lux::Trace {

// Returns: the size bytes at this offset, in the window; null when the file has fewer. Valid until the next call.
inline const unsigned char* TDFSectionReader::Header(std::uint64_t offset, std::size_t size) noexcept {
    if (offset + size > m_windowOffset + m_windowSize && !ReadWindow(offset, size)) return nullptr;
    return m_window.data() + (offset - m_windowOffset);
}

TDFSectionReader::Step TDFSectionReader::Next() noexcept {
    if (m_last != Step::kSection) return m_last;

    const std::uint64_t at = m_next;
    const unsigned char* header = Header(at, kFixedHeaderSize);
    if (header == nullptr) return EndOfFile(at, kFixedHeaderSize);
    const HeaderFields fields = DecodeFields(header);
    if (const TDFFault fault = CheckHeader(fields, at); fault.kind != TDFFaultKind::kNone) return EndIn(fault);

    const std::uint32_t headerSize = kFixedHeaderSize + fields.nameLength;
    header = Header(at, headerSize);
    if (header == nullptr) return EndOfFile(at, headerSize);

    m_section.offset = static_cast<std::uint32_t>(at);
    m_section.length = fields.length;
    m_section.version = fields.version;
    m_section.name = std::string_view(reinterpret_cast<const char*>(header + kFixedHeaderSize), fields.nameLength);
    m_next = at + fields.length;
    return Step::kSection;
}

bool TDFSectionReader::Find(std::string_view name, std::uint32_t version) noexcept {
    // Names that are numbered differ first in their last byte.
    const auto lastByte = [](std::string_view text) { return text.empty() ? '\0' : text.back(); };
    while (Next() == Step::kSection) {
        const std::string_view found = m_section.name;
        if (m_section.version == version && lastByte(found) == lastByte(name) && found == name) return true;
    }
    return false;
}

// Returns: whether size bytes from this offset on, which is not before the window's, were read.
bool TDFSectionReader::ReadWindow(std::uint64_t offset, std::size_t size) noexcept {
    const std::uint64_t windowEnd = m_windowOffset + m_windowSize;
    m_chunk = offset <= windowEnd + kShortHop ? std::min(2 * m_chunk, kWindowSize) : kFirstChunk;
    m_windowOffset = offset;
    errno = 0;
    m_windowSize = std::ferror(m_stream) ? 0 : ReadAt(m_stream, offset, m_window.data(), std::max(size, m_chunk));
    m_hasFailed = m_windowSize < size && (std::ferror(m_stream) || errno != 0);
    return m_windowSize >= size;
}

// Classifies a failed header read: clean end, cut header, cut data or read error. headerSize is the size known so far.
TDFSectionReader::Step TDFSectionReader::EndOfFile(std::uint64_t at, std::uint64_t headerSize) noexcept {
    std::uint64_t size = 0;
    if (m_hasFailed || !MeasureSize(m_stream, size)) return EndIn({TDFFaultKind::kReadError, at, 0, 0});
    if (size == at) return m_last = Step::kEnd;
    if (size < at) return EndIn({TDFFaultKind::kDataCut, m_section.offset, m_section.length, size - m_section.offset});
    if (size - at < headerSize) return EndIn({TDFFaultKind::kHeaderCut, at, headerSize, size - at});
    // The file has grown since the read. The read is repeated only once: the size may be larger than what can be read.
    if (std::exchange(m_repeatedAt, at) != at) return Next();
    return EndIn({TDFFaultKind::kReadError, at, headerSize, size - at});
}

TDFSectionReader::Step TDFSectionReader::EndIn(const TDFFault& fault) noexcept {
    m_fault = fault;
    return m_last = Step::kFault;
}

}  // namespace Orm::Lux::Trace
