// The walk over the section chain of a TDF file. Private to the library.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "tdf/TDFFormat.h"

namespace Orm::Lux::Trace {

// One section, as its header states. Positions and lengths are in bytes.
struct TDFSection {
    std::uint32_t offset = 0;  // of its first byte in the file
    std::uint32_t length = 0;  // header included
    std::uint32_t version = 0;
    std::string_view name;  // any bytes; valid until the reader's next step

    std::uint32_t HeaderSize() const noexcept { return kFixedHeaderSize + static_cast<std::uint32_t>(name.size()); }
    std::uint32_t DataOffset() const noexcept { return offset + HeaderSize(); }
    std::uint32_t DataLength() const noexcept { return length - HeaderSize(); }
    std::uint32_t End() const noexcept { return offset + length; }
};

// Why a chain of sections ended before the end of the file.
enum class TDFFaultKind {
    kNone,
    kReadError,  // the stream failed
    kHeaderCut,  // the file ends inside a header: claimed are the bytes of the header that are known to belong to it
    kDataCut,    // the file ends inside the data of the section before: claimed is that section's length
    kLengthTooLong,   // claimed is the length, available the limit
    kLengthTooShort,  // claimed is the length, available the size that the section's own header would have
    kNameTooLong,     // claimed is the length of the name, available the limit
    kBeyondFormat,    // the section would end after the last position that 32 bits can name
};

struct TDFFault {
    TDFFaultKind kind = TDFFaultKind::kNone;
    std::uint64_t offset = 0;     // of the section concerned
    std::uint64_t claimed = 0;    // bytes, as the fault says
    std::uint64_t available = 0;  // bytes: for a cut those from the offset to the end of the file
};

// Returns: how a section with these fields, at this offset of a file, violates the limits of the format.
inline TDFFault CheckHeader(const HeaderFields& fields, std::uint64_t at) noexcept {
    const auto [length, version, nameLength] = fields;
    const std::uint64_t headerSize = std::uint64_t{kFixedHeaderSize} + nameLength;
    if (length > kMaxSectionLength) return {TDFFaultKind::kLengthTooLong, at, length, kMaxSectionLength};
    if (length < headerSize) return {TDFFaultKind::kLengthTooShort, at, length, headerSize};
    if (nameLength > kMaxNameLength) return {TDFFaultKind::kNameTooLong, at, nameLength, kMaxNameLength};
    if (at + length > kMaxPosition)
        return {TDFFaultKind::kBeyondFormat, at, length, kMaxPosition - std::min(at, kMaxPosition)};
    return {};
}

// Visits the sections of an open file in order. Each step ends in one of three ways: a section, the clean end of the
// file, or a fault; after the last two every further step ends in the same way. A section whose data the end of the
// file cuts is returned like any other; the next step reports the fault.
//
// The reader reads by offset into its own window: while sections are short it reads ever larger chunks and
// takes several headers from each; after long data it reads little more than one header. The cost of a step therefore
// does not depend on the length of the data. Nothing is allocated.
//
// Errors:    nothing throws.
// Ownership: the stream belongs to the caller, who must not use it while the reader is in use. Its position afterwards
//            is unspecified.
class TDFSectionReader {
public:
    enum class Step { kSection, kEnd, kFault };

    // The first section is looked for at start.
    TDFSectionReader(std::FILE* stream, std::uint64_t start) noexcept
        : m_stream(stream), m_next(start), m_windowOffset(start) {}

    Step Next() noexcept;

    // Steps to the first section with this name, byte for byte, and version. Returns: whether it was found.
    bool Find(std::string_view name, std::uint32_t version) noexcept;

    // Valid after a step that gave a section, until the next one.
    const TDFSection& Section() const noexcept { return m_section; }
    // Valid after a step that ended in a fault.
    const TDFFault& Fault() const noexcept { return m_fault; }

private:
    static constexpr std::size_t kWindowSize = 16 * 1024;  // on the stack of the host's threads
    static constexpr std::size_t kFirstChunk = 64;         // after a long hop: a header with a name of ordinary length
    static constexpr std::size_t kShortHop = 4096;         // beyond the window, that says that sections are short
    static_assert(kWindowSize >= kFixedHeaderSize + kMaxNameLength, "every header fits");

    const unsigned char* Header(std::uint64_t offset, std::size_t size) noexcept;
    bool ReadWindow(std::uint64_t offset, std::size_t size) noexcept;
    Step EndOfFile(std::uint64_t at, std::uint64_t headerSize) noexcept;
    Step EndIn(const TDFFault& fault) noexcept;

    std::FILE* m_stream;
    std::uint64_t m_next;          // where the next section begins
    std::uint64_t m_windowOffset;  // of the window's first byte in the file
    std::size_t m_windowSize = 0;  // bytes that it holds
    std::size_t m_chunk = kFirstChunk;
    bool m_hasFailed = false;                 // the last read of the window, other than by the end of the file
    std::uint64_t m_repeatedAt = UINT64_MAX;  // the section whose header was read again, in a file that grows
    Step m_last = Step::kSection;
    TDFSection m_section;
    TDFFault m_fault;
    std::array<unsigned char, kWindowSize> m_window;  // not initialised: only what was read is looked at
};

}  // namespace Orm::Lux::Trace
