// How the driver reads samples: by position, with a read-ahead for runs.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "driver/TalvoraFileChannelDriver.h"
#include "tdf/FileIO.h"
#include "tdf/TraceSection.h"

namespace Orm::Lux::Trace {

// Reads bytes without using the stream's position. A run that continues the one before is served from the read-ahead.
// Any other discards it, so that changes to the file are seen, and goes straight to the file. Everything is read by
// offset, because a child process shares the stream's file offset and may move it.
// Returns: the bytes read: fewer than size at the end of the file, with errno unchanged, or if reading fails, with
//          errno set.
std::size_t TalvoraFileChannelDriver::ReadAhead(std::uint64_t position, std::size_t size, char* out) noexcept {
    const bool continues = position == m_nextPosition;
    if (!continues) m_aheadSize = 0;
    std::size_t done = 0;
    if (position >= m_aheadPosition && position < m_aheadPosition + m_aheadSize) {
        const std::size_t at = position - m_aheadPosition;
        done = std::min(size, m_aheadSize - at);
        std::memcpy(out, m_ahead.data() + at, done);
    }
    const std::size_t left = size - done;
    if (left != 0 && (!continues || left >= m_ahead.size())) {
        done += ReadAt(m_file, position + done, out + done, left);
    } else if (left != 0) {
        m_aheadPosition = position + done;
        m_aheadSize = ReadAt(m_file, m_aheadPosition, m_ahead.data(), m_ahead.size());
        const std::size_t got = std::min(left, m_aheadSize);
        std::memcpy(out + done, m_ahead.data(), got);
        done += got;
    }
    m_nextPosition = position + done;
    return done;
}

// Returns: the number of whole samples read. After a failed read the stream tries again, because it keeps the error.
std::size_t TalvoraFileChannelDriver::ReadSamples(unsigned int position, unsigned int count, unsigned long* buffer) {
    if (m_file != nullptr && buffer != nullptr && count != 0) {
        errno = 0;
        const std::size_t size = std::size_t{kSampleSize} * count;
        const std::size_t got = ReadAhead(position, size, reinterpret_cast<char*>(buffer));
        if (got == size || errno == 0) return got / kSampleSize;
    }
    if (m_file == nullptr || std::fseek(m_file, static_cast<long>(position), SEEK_SET) != 0) {
        FailReading("failed fseek");
    }
    return buffer != nullptr ? std::fread(buffer, kSampleSize, count, m_file) : 0;
}

}  // namespace Orm::Lux::Trace
