#include "tdf/TDFSectionReader.h"

#include <algorithm>
#include <cstring>

#include "tdf/OpenFile.h"

namespace Orm::Lux::Trace {

TDFSectionReader::Step TDFSectionReader::Next() noexcept {
    if (m_last != Step::kSection) return m_last;

    const std::uint64_t at = m_next;
    if (std::ferror(m_stream)) return Damaged({TDFFault::kReadError, at, 0, 0});
    if (!SkipTo(at) || !Fill(kFixedHeaderSize)) return EndOfFile(at);
    const unsigned char* header = m_window.data() + m_begin;
    if (const TDFDamage damage = CheckHeader(header, at); damage.fault != TDFFault::kNone) return Damaged(damage);
    const std::uint32_t length = LoadLittleEndian(header);
    const std::uint32_t version = LoadLittleEndian(header + kFieldSize);
    const std::uint32_t nameLength = LoadLittleEndian(header + 2 * kFieldSize);
    const std::uint32_t headerSize = kFixedHeaderSize + nameLength;
    if (!Fill(headerSize)) return EndOfFile(at);

    m_section.offset = static_cast<std::uint32_t>(at);
    m_section.length = length;
    m_section.version = version;
    const unsigned char* name = m_window.data() + m_begin + kFixedHeaderSize;
    m_section.name = std::string_view(reinterpret_cast<const char*>(name), nameLength);
    m_begin += headerSize;
    m_next = at + length;
    return Step::kSection;
}

bool TDFSectionReader::Find(std::string_view name, std::uint32_t version) noexcept {
    while (Next() == Step::kSection) {
        if (m_section.version == version && m_section.name == name) return true;
    }
    return false;
}

// Makes position the first byte of the window. Returns: false when the stream cannot be moved there.
bool TDFSectionReader::SkipTo(std::uint64_t position) noexcept {
    const std::uint64_t hop = position - (m_read - Buffered());
    if (hop <= Buffered()) {
        m_begin += static_cast<std::size_t>(hop);
        return true;
    }
    if (hop <= Buffered() + kReadOnLimit && Fill(static_cast<std::size_t>(hop))) {
        m_begin += static_cast<std::size_t>(hop);
        return true;
    }
    // What was not wanted for itself may have failed.
    std::clearerr(m_stream);
    m_begin = m_end = 0;
    m_piece = kFirstPiece;
    m_read = position;
    return fseeko(m_stream, static_cast<off_t>(position), SEEK_SET) == 0;
}

// Makes the window hold at least needed bytes, and a piece more where it reads. Returns: false when the file has fewer.
bool TDFSectionReader::Fill(std::size_t needed) noexcept {
    if (Buffered() >= needed) return true;
    std::memmove(m_window.data(), m_window.data() + m_begin, Buffered());
    m_end = Buffered();
    m_begin = 0;
    const std::size_t wanted = std::min(std::max(needed, m_piece), kWindowSize) - m_end;
    const std::size_t got = std::fread(m_window.data() + m_end, 1, wanted, m_stream);
    m_end += got;
    m_read += got;
    m_piece = std::min(2 * m_piece, kWindowSize);
    if (m_end < needed) return false;
    if (std::ferror(m_stream)) std::clearerr(m_stream);  // only what was read ahead has failed
    return true;
}

// What it means that no whole header could be had at this position.
TDFSectionReader::Step TDFSectionReader::EndOfFile(std::uint64_t at) noexcept {
    std::uint64_t size = 0;
    if (std::ferror(m_stream) || !SeekToSize(m_stream, size)) return Damaged({TDFFault::kReadError, at, 0, 0});
    if (size == at) return m_last = Step::kEnd;
    if (size < at) return Damaged({TDFFault::kDataCut, m_section.offset, m_section.length, size - m_section.offset});

    std::uint64_t headerSize = kFixedHeaderSize;
    if (Buffered() >= kFixedHeaderSize) headerSize += LoadLittleEndian(m_window.data() + m_begin + 2 * kFieldSize);
    const TDFFault fault = size - at < headerSize ? TDFFault::kHeaderCut : TDFFault::kReadError;
    return Damaged({fault, at, headerSize, size - at});
}

TDFSectionReader::Step TDFSectionReader::Damaged(const TDFDamage& damage) noexcept {
    m_damage = damage;
    return m_last = Step::kDamage;
}

}  // namespace Orm::Lux::Trace
