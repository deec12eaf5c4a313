#include "capture/HeaderSearch.h"

#include <algorithm>

#include "capture/HeaderFilter.h"
#include "capture/Text.h"
#include "tdf/TDFSectionReader.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;
using Bytes = std::span<const unsigned char>;

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::size_t kLargestHeader = kFixedHeaderSize + kMaxTextName;  // of a section with a text as its name
constexpr std::size_t kMinTextName = 2;                                  // bytes, of a name that stands for itself
constexpr std::uint64_t kEnough = UINT64_MAX;                            // an offset beyond all others

// Returns: the name that follows the fixed fields, empty when it is not text, or not all of it is in the bytes.
std::string_view TextNameOf(Bytes header) {
    const std::size_t length = DecodeFields(header.data()).nameLength;
    if (length > std::min(kMaxTextName, header.size() - kFixedHeaderSize)) return {};
    const std::string_view name(reinterpret_cast<const char*>(header.data()) + kFixedHeaderSize, length);
    return IsTextName(name) ? name : std::string_view();
}

}  // namespace

bool IsTextName(std::string_view name) {
    const auto isPrintable = [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7F'; };
    return !name.empty() && name.size() <= kMaxTextName && std::all_of(name.begin(), name.end(), isPrintable) &&
           IsUtf8(name);
}

std::optional<NamedHeader> HeaderSearch::ReadNamed(std::uint64_t at) {
    const Bytes header = Look(at, kLargestHeader);
    const std::string_view name = header.size() < kFixedHeaderSize ? std::string_view() : TextNameOf(header);
    if (name.empty()) return std::nullopt;
    const HeaderFields fields = DecodeFields(header.data());
    return NamedHeader{fields.length, fields.version, std::string(name)};
}

std::optional<std::uint64_t> HeaderSearch::Find(std::uint64_t from, std::uint64_t bound, bool isSingle) {
    std::optional<std::uint64_t> found;
    int headers = 0;
    std::uint64_t to = std::min(bound, kMaxPosition);
    ForEach(from, to, [&](std::uint64_t at, std::uint64_t end) {
        if (end == bound || (end < bound && ReadNext(end).isHeader)) {
            found = at;
            return kEnough;
        }
        // It may be a single one, unless the next one lies within it. One that the end of the file cuts is the first.
        const bool isCut = end > bound && bound == m_file.Size();
        const bool mayBe = isSingle && (end < bound || (isCut && headers == 0));
        found = mayBe ? std::optional(at) : std::nullopt;
        to = std::min({bound, kMaxPosition, mayBe ? end : bound});
        ++headers;
        return at + 1;
    });
    return found;
}

std::optional<std::uint64_t> HeaderSearch::FindAcross(std::uint64_t from, std::uint64_t to) {
    std::optional<std::uint64_t> found;
    std::optional<std::uint64_t> first;  // that shows it if no other header is there
    int headers = 0;
    const std::uint64_t size = m_file.Size();
    ForEach(from, std::min(to, size), [&](std::uint64_t at, std::uint64_t end) {
        // Goes on to what breaks the chain, or beyond `to`.
        const bool isWhole = end <= size;
        bool isFollowed = end == size;
        while (end < size) {
            const Next next = ReadNext(end);
            isFollowed = isFollowed || next.isHeader;
            if (!next.end || end > to) break;
            end = *next.end;
        }
        if (FollowsIdentifier(at)) return end;
        const bool shows = isWhole && (end > to || to >= size);
        if (shows && isFollowed) {
            found = at;
            return kEnough;
        }
        if (shows) first = at;
        ++headers;
        return isFollowed ? end : at + 1;
    });
    if (headers == 1 && !found) return first;
    return found;
}

// Calls visit(at, end) for each well-formed header in [from, to) with a name of two bytes or more, where end is that
// of its section. It returns where to go on. It may change `to`.
template <class Visit> void HeaderSearch::ForEach(std::uint64_t from, const std::uint64_t& to, Visit visit) {
    for (std::uint64_t at = from; at < to;) {
        const Bytes chunk = Scan(at);
        if (chunk.size() < kFixedHeaderSize) return;
        const std::uint64_t begin = m_chunkBegin + static_cast<std::uint64_t>(chunk.data() - m_chunk.data());
        at = std::max(at, begin);
        // The last bytes of a chunk are looked at with the next one, if one follows.
        const bool isLast = m_chunkSize < kChunk;
        const std::uint64_t end = begin + chunk.size() - (isLast ? kFixedHeaderSize - 1 : kLargestHeader - 1);
        while (at < std::min(end, to)) {
            const Bytes header = chunk.subspan(static_cast<std::size_t>(at - begin));
            if ((at - begin) % kFilterBlock == 0) {
                if (const std::size_t skipped = SkipForward(header, 0); skipped > 0) {
                    at += skipped;
                    continue;
                }
            }
            const HeaderFields fields = DecodeFields(header.data());
            const bool hasNameLength = fields.nameLength >= kMinTextName && fields.nameLength <= kMaxTextName;
            if (!hasNameLength || CheckHeader(fields, at).kind != TDFFaultKind::kNone || TextNameOf(header).empty()) {
                ++at;
            } else {
                at = visit(at, at + fields.length);
            }
        }
        if (isLast) return;
    }
}

HeaderSearch::Next HeaderSearch::ReadNext(std::uint64_t at) {
    const Bytes header = Look(at, kLargestHeader);
    if (header.size() < kFixedHeaderSize) return {};
    const bool hasName = !TextNameOf(header).empty();
    const HeaderFields fields = DecodeFields(header.data());
    if (CheckHeader(fields, at).kind != TDFFaultKind::kNone) return {hasName};
    const std::uint64_t end = at + fields.length;
    const bool hasNameLength = fields.nameLength != 0 && fields.nameLength <= kMaxTextName;
    if (hasName || (hasNameLength && end <= m_file.Size())) return {true, end};
    return {};
}

bool HeaderSearch::FollowsIdentifier(std::uint64_t at) {
    const Bytes before = Look(at - kTDFIdentifier.size(), kTDFIdentifier.size());
    return std::equal(before.begin(), before.end(), kTDFIdentifier.begin(), kTDFIdentifier.end());
}

// Returns: the bytes of the chunk from this offset on, or from the next offset where a header may begin: in a hole its
// length would be 0.
Bytes HeaderSearch::Scan(std::uint64_t at) {
    if (at < m_chunkBegin || at + kLargestHeader > m_chunkBegin + m_chunkSize) {
        const std::uint64_t data = m_file.NextData(at);
        m_chunkBegin = data > at + kFixedHeaderSize ? data - kFixedHeaderSize : at;
        m_chunk.resize(kChunk);
        m_chunkSize = m_file.ReadAt(m_chunkBegin, m_chunk.data(), kChunk);
        at = m_chunkBegin;
    }
    return Bytes(m_chunk.data(), m_chunkSize).subspan(static_cast<std::size_t>(at - m_chunkBegin));
}

// Returns: up to size bytes from this offset on, fewer only at the end of the file. Valid until the next call.
Bytes HeaderSearch::Look(std::uint64_t at, std::size_t size) {
    if (at >= m_chunkBegin && at + size <= m_chunkBegin + m_chunkSize) {
        return {m_chunk.data() + (at - m_chunkBegin), size};
    }
    m_header.resize(size);
    return {m_header.data(), m_file.ReadAt(at, m_header.data(), size)};
}

}  // namespace orm_trace
