#include "tdf/TDFSectionReader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "tdf/OpenFile.h"

namespace Orm::Lux::Trace {

TDFSectionReader::Step TDFSectionReader::Next() noexcept {
    if (m_last != Step::kSection) return m_last;

    const std::uint64_t at = m_next;
    if (std::ferror(m_stream)) return Damaged({TDFFault::kReadError, at, 0, 0});
    const unsigned char* header = Header(at, kFixedHeaderSize);
    if (header == nullptr) return EndOfFile(at, kFixedHeaderSize);
    if (const TDFDamage damage = CheckHeader(header, at); damage.fault != TDFFault::kNone) return Damaged(damage);
    const std::uint32_t length = LoadLittleEndian(header);
    const std::uint32_t version = LoadLittleEndian(header + kFieldSize);
    const std::uint32_t nameLength = LoadLittleEndian(header + 2 * kFieldSize);

    const std::uint32_t headerSize = kFixedHeaderSize + nameLength;
    header = Header(at, headerSize);
    if (header == nullptr) return EndOfFile(at, headerSize);

    m_section.offset = static_cast<std::uint32_t>(at);
    m_section.length = length;
    m_section.version = version;
    m_section.name = std::string_view(reinterpret_cast<const char*>(header + kFixedHeaderSize), nameLength);
    m_next = at + length;
    return Step::kSection;
}

bool TDFSectionReader::Find(std::string_view name, std::uint32_t version) noexcept {
    while (Next() == Step::kSection) {
        if (m_section.version == version && m_section.name == name) return true;
    }
    return false;
}

// Returns: the size bytes at position, in the window; null when the file has fewer. Valid until the next call.
const unsigned char* TDFSectionReader::Header(std::uint64_t position, std::size_t size) noexcept {
    const std::uint64_t windowEnd = m_windowPosition + m_windowSize;
    if (position + size > windowEnd) {
        m_chunk = position <= windowEnd + kShortHop ? std::min(2 * m_chunk, kWindowSize) : kFirstChunk;
        m_windowPosition = position;
        errno = 0;
        m_windowSize = ReadAt(m_stream, m_window.data(), std::max(size, m_chunk), position);
        m_hasFailed = m_windowSize < size && errno != 0;
        if (m_windowSize < size) return nullptr;
    }
    return m_window.data() + (position - m_windowPosition);
}

// Classifies a failed header read: clean end, cut header, cut data or read error. headerSize is the size known so far.
TDFSectionReader::Step TDFSectionReader::EndOfFile(std::uint64_t at, std::uint64_t headerSize) noexcept {
    std::uint64_t size = 0;
    if (m_hasFailed || !MeasureSize(m_stream, size)) return Damaged({TDFFault::kReadError, at, 0, 0});
    if (size == at) return m_last = Step::kEnd;
    if (size < at) return Damaged({TDFFault::kDataCut, m_section.offset, m_section.length, size - m_section.offset});
    if (size - at < headerSize) return Damaged({TDFFault::kHeaderCut, at, headerSize, size - at});
    // The file has grown since the read, which is repeated once: its size may also promise more than it holds.
    if (std::exchange(m_repeatedAt, at) != at) return Next();
    return Damaged({TDFFault::kReadError, at, headerSize, size - at});
}

TDFSectionReader::Step TDFSectionReader::Damaged(const TDFDamage& damage) noexcept {
    m_damage = damage;
    return m_last = Step::kDamage;
}

}  // namespace Orm::Lux::Trace
