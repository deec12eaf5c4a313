#include "capture/ByteCopy.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "capture/Error.h"

namespace orm_trace {
namespace {

bool IsZero(const char* bytes, std::size_t size) {
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

}  // namespace

void ByteCopy::Write(const void* bytes, std::size_t size) {
    for (const char* from = static_cast<const char*>(bytes); size != 0;) {
        const std::size_t part = std::min(size, kChunk - m_used);
        std::memcpy(m_chunk.data() + m_used, from, part);
        m_used += part;
        from += part;
        size -= part;
        if (m_used == kChunk) Flush();
    }
}

void ByteCopy::Copy(const InputFile& from, std::uint64_t begin, std::uint64_t end) {
    while (begin < end) {
        if (m_used == 0) {  // whole blocks of a hole
            const std::uint64_t hole = std::min(from.NextData(begin), end) - begin;
            Pass(hole / kBlock * kBlock);
            begin += hole / kBlock * kBlock;
        }
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk - m_used, end - begin));
        const std::size_t got = from.ReadAt(begin, m_chunk.data() + m_used, size);
        if (got < size) from.ThrowShorter();
        m_used += got;
        begin += got;
        if (m_used == kChunk) Flush();
    }
}

void ByteCopy::Finish() {
    const std::uint64_t size = Size();
    Flush();
    if (ftruncate(m_descriptor, static_cast<off_t>(size)) != 0) {
        throw MakeSystemError(ErrorKind::kFailed, m_name, errno);
    }
}

// Afterwards the chunk is empty. Only the last one of a file is not full.
void ByteCopy::Flush() {
    for (std::size_t begin = 0; begin < m_used;) {
        std::size_t end = begin;
        for (std::size_t size = 0; end < m_used; end += size) {
            size = std::min(kBlock, m_used - end);
            if (IsZero(m_chunk.data() + end, size)) break;
        }
        WriteAt(m_begin + begin, m_chunk.data() + begin, end - begin);
        begin = std::min(end + kBlock, m_used);
    }
    Pass(m_used);
    m_used = 0;
}

// Goes on after bytes that are written, or are a hole.
void ByteCopy::Pass(std::uint64_t size) {
    m_begin += size;
    if (m_onProgress) m_onProgress(size);
}

void ByteCopy::WriteAt(std::uint64_t offset, const char* bytes, std::size_t size) {
    while (size != 0) {
        const ssize_t done = pwrite(m_descriptor, bytes, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) throw MakeSystemError(ErrorKind::kFailed, m_name, done == 0 ? ENOSPC : errno);
        offset += static_cast<std::uint64_t>(done);
        bytes += done;
        size -= static_cast<std::size_t>(done);
    }
}

}  // namespace orm_trace
