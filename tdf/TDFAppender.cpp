#include "tdf/TDFAppender.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <tuple>
#include <utility>

#include "tdf/CorvaErrors.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFSectionReader.h"

namespace Orm::Lux::Trace {
namespace {

bool WriteLength(std::FILE* stream, std::uint64_t offset, std::uint32_t length) noexcept {
    const Field bytes = StoreLittleEndian(length);
    return WriteAt(stream, offset, bytes.data(), bytes.size()) == bytes.size();
}

// Whether this offset has a header with a printable name, whatever its length field holds: a failed append may leave
// one, and a damaged length must not cost the section. True also if the header cannot be read.
bool HasPrintableName(std::FILE* stream, std::uint64_t offset) noexcept {
    FixedHeader fields{};
    errno = 0;
    if (ReadAt(stream, offset, fields.data(), fields.size()) < fields.size()) return errno != 0;
    const std::uint32_t length = DecodeFields(fields.data()).nameLength;
    std::array<char, kMaxNameLength> name;
    if (length == 0 || length > name.size()) return false;
    if (ReadAt(stream, offset + fields.size(), name.data(), length) < length) return errno != 0;
    return std::all_of(name.begin(), name.begin() + length, [](char c) { return c >= ' ' && c <= '~'; });
}

bool Cut(std::FILE* stream, std::uint64_t size) noexcept {
    int result = 0;
    do result = ftruncate(fileno(stream), static_cast<off_t>(size));
    while (result != 0 && errno == EINTR);
    return result == 0;
}

// Whether a section begins at this offset of a file of this size: one that readers follow, one that only exceeds their
// limits, or one whose length is damaged. Other leftovers of a failed append do not count as a section.
bool HasSectionAt(std::FILE* stream, std::uint64_t offset, std::uint64_t size) noexcept {
    TDFSectionReader reader(stream, offset);
    if (reader.Next() == TDFSectionReader::Step::kSection) return true;
    const TDFFault& fault = reader.Fault();
    switch (fault.kind) {
        case TDFFaultKind::kLengthTooLong:
        case TDFFaultKind::kNameTooLong:
            if (fault.offset + fault.claimed <= size) return true;
            break;
        case TDFFaultKind::kReadError: return true;
        default: break;
    }
    return HasPrintableName(stream, offset);
}

// Whether the chain of sections leads into the middle of a section at this offset.
bool IsWithinSection(std::FILE* stream, std::uint64_t offset) noexcept {
    TDFSectionReader reader(stream, kTDFIdentifier.size());
    while (reader.Next() == TDFSectionReader::Step::kSection && reader.Section().offset < offset) {
        if (offset < reader.Section().End()) return true;
    }
    return false;
}

}  // namespace

TDFAppender::TDFAppender(const char* path) noexcept
    : m_path(path), m_stream(OpenForUpdate(path)), m_isWritable(m_stream != nullptr) {
    if (!m_stream) m_stream = OpenForReading(path);
    if (!m_stream) m_error = errno;
}

bool TDFAppender::IsTDF() const {
    struct stat status {};
    if (!IsOpen()) {
        if (m_error == ENOENT || m_error == ENOTDIR) return false;
        Require(stat(m_path, &status) == 0 && !S_ISREG(status.st_mode), kBadFileToSave);
        return false;
    }
    if (fstat(fileno(m_stream.get()), &status) == 0 && !S_ISREG(status.st_mode)) return false;
    const TDFFile::Answer isTDF = TDFFile(m_stream.get()).HasIdentifier();
    Require(isTDF != TDFFile::Answer::kUnreadable, kBadFileToSave);
    return isTDF == TDFFile::Answer::kYes;
}

// If fstat or stat fails, the status is all zeros, which no file has.
bool TDFAppender::IsSameFile(std::FILE* stream) const noexcept {
    struct stat other {};
    fstat(fileno(stream), &other);
    return IsThisFile(other);
}

bool TDFAppender::IsNamed() const noexcept {
    struct stat named {};
    stat(m_path, &named);
    return IsThisFile(named);
}

bool TDFAppender::IsThisFile(const struct stat& other) const noexcept {
    struct stat own {};
    fstat(fileno(m_stream.get()), &own);
    return std::tie(own.st_dev, own.st_ino) == std::tie(other.st_dev, other.st_ino);
}

void TDFAppender::RequireWritable() const { Require(m_isWritable, kCannotOpen); }

void TDFAppender::RequireRoom(std::uint64_t length) const {
    RequireWritable();
    TDFSectionReader reader(m_stream.get(), kTDFIdentifier.size());
    while (reader.Next() == TDFSectionReader::Step::kSection) continue;
    Require(reader.Fault().kind != TDFFaultKind::kReadError, kBadFileToSave);
    Require(reader.Fault().kind == TDFFaultKind::kNone,
            "TDF file is damaged: a section appended to it could not be found.");
    std::uint64_t size = 0;
    Require(MeasureSize(m_stream.get(), size), kBadFileToSave);
    Require(size + length <= kMaxPosition, kTooLarge);
}

void TDFAppender::AppendHeader(const char* name, std::uint32_t version, unsigned int& headerOffset) {
    RequireWritable();
    const std::size_t nameLength = name != nullptr ? std::strlen(name) : 0;
    const std::uint64_t headerSize = kFixedHeaderSize + std::uint64_t{nameLength};
    std::uint64_t offset = 0;
    Require(MeasureSize(m_stream.get(), offset), kHeaderWriteError);
    Require(offset + headerSize <= kMaxPosition, kTooLarge);
    headerOffset = static_cast<unsigned int>(offset);

    // Until the header is complete its length is 0, which no reader follows.
    const FixedHeader fields = StoreHeader(0, version, static_cast<std::uint32_t>(nameLength));
    const std::size_t written = WriteAt(m_stream.get(), offset, fields.data(), fields.size());
    Require(written >= kFieldSize, kHeaderWriteError);
    Require(written == fields.size() && WriteAt(m_stream.get(), offset + fields.size(), name, nameLength) == nameLength,
            "Write error -  TDF section name and version.");
    Require(WriteLength(m_stream.get(), offset, static_cast<std::uint32_t>(headerSize)), kHeaderSizeWriteError);
    m_begun = headerOffset;
}

void TDFAppender::AppendData(unsigned int headerOffset, const void* data, unsigned int elementSize,
                             unsigned int elementCount, unsigned int& sectionLength) {
    constexpr const char* kDataWriteError = "Write I/O error - unable to write section data.";
    RequireWritable();
    std::uint64_t size = 0;
    FixedHeader header{};
    const std::size_t read = ReadAt(m_stream.get(), headerOffset, header.data(), header.size());
    Require(MeasureSize(m_stream.get(), size) && read >= kFieldSize,
            "Write I/O error - unable to determine section length.");
    const HeaderFields fields = DecodeFields(header.data());
    const std::uint32_t length = fields.length;
    const std::uint64_t end = std::uint64_t{headerOffset} + length;
    Require(read == header.size() && end <= size, kBadOffset);
    Require(length >= std::uint64_t{kFixedHeaderSize} + fields.nameLength, kBadOffset);
    // Data may look like a header.
    Require(headerOffset == m_begun || !IsWithinSection(m_stream.get(), headerOffset), kBadOffset);
    Require(end == size || !HasSectionAt(m_stream.get(), end, size),
            "Section to save data to is followed by another section.");
    const std::uint64_t added = std::uint64_t{elementSize} * elementCount;
    Require(added <= kMaxPosition && end + added <= kMaxPosition, kTooLarge);
    Require(elementSize != 0 || elementCount == 0, kDataWriteError);

    Require(WriteAt(m_stream.get(), end, data, added) == added, kDataWriteError);
    // Leftovers of a failed append after the section are cut off: the chain ends at the end of the file.
    if (added != 0 && end + added < size) {
        Require(Cut(m_stream.get(), end + added), "Write error - section data corrupted.");
    }
    const std::uint32_t newLength = length + static_cast<std::uint32_t>(added);
    sectionLength = newLength;
    Require(WriteLength(m_stream.get(), headerOffset, newLength), kHeaderSizeWriteError);
}

void TDFAppender::Close() { Require(CloseChecked(std::move(m_stream)), kHeaderSizeWriteError); }

}  // namespace Orm::Lux::Trace
