#include "tools/orm-trace/HeaderSearch.h"

#include <algorithm>
#include <array>
#include <vector>

#include "tdf/TDFSectionReader.h"
#include "tools/orm-trace/Text.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

constexpr std::uint64_t kPage = 256 * 1024;  // positions that are looked at between two reads
constexpr std::size_t kMinTextName = 2;      // bytes, of a name that stands for itself

constexpr std::uint64_t kEnough = UINT64_MAX;  // a position beyond all others

// Calls visit(at, end) for each well-formed header in [from, to) with a name that stands for itself, where end is that
// of its section. It returns where to go on. It may change `to`.
template <class Visit>
void ForEachHeader(const InputFile& file, std::uint64_t from, const std::uint64_t& to, Visit visit) {
    std::vector<unsigned char> page;
    while (from < to) {
        // A header in a hole would have the length 0.
        const std::uint64_t data = file.NextData(from);
        if (data > from + kFixedHeaderSize) from = data - kFixedHeaderSize;
        if (from >= to) return;
        const std::uint64_t end = from + std::min(kPage, to - from);
        page.resize(static_cast<std::size_t>(end - from) + kFixedHeaderSize + kMaxTextName);
        const std::size_t read = file.ReadAt(from, page.data(), page.size());
        std::uint64_t at = from;
        while (at < std::min(end, to)) {
            const auto offset = static_cast<std::size_t>(at - from);
            if (read < offset + kFixedHeaderSize) return;
            const unsigned char* fields = page.data() + offset;
            const std::size_t nameLength = LoadLittleEndian(fields + 2 * kFieldSize);
            const auto* name = reinterpret_cast<const char*>(fields + kFixedHeaderSize);
            if (nameLength < kMinTextName || nameLength > std::min(kMaxTextName, read - offset - kFixedHeaderSize) ||
                CheckHeader(fields, at).fault != TDFFault::kNone || !IsTextName({name, nameLength})) {
                ++at;
            } else {
                at = visit(at, at + LoadLittleEndian(fields));
            }
        }
        from = at;
    }
}

// What is at a position where a section ends.
struct Next {
    bool isHeader = false;                  // that could be one of a section, though its length may be wild
    std::optional<std::uint64_t> end = {};  // of the section, if the header is well-formed
};

Next ReadNext(const InputFile& file, std::uint64_t at) {
    std::array<unsigned char, kFixedHeaderSize> fields;
    if (file.ReadAt(at, fields.data(), fields.size()) < fields.size()) return {};
    const bool hasName = ReadNamedHeader(file, at).has_value();
    if (CheckHeader(fields.data(), at).fault != TDFFault::kNone) return {hasName};
    const std::uint64_t end = at + LoadLittleEndian(fields.data());
    const std::uint32_t nameLength = LoadLittleEndian(fields.data() + 2 * kFieldSize);
    if (hasName || (nameLength != 0 && nameLength <= kMaxTextName && end <= file.Size())) return {true, end};
    return {};
}

bool FollowsIdentifier(const InputFile& file, std::uint64_t at) {
    TDFIdentifier found{};
    return at >= found.size() && file.ReadAt(at - found.size(), found.data(), found.size()) == found.size() &&
           found == kTDFIdentifier;
}

}  // namespace

bool IsTextName(std::string_view name) {
    const auto isPrintable = [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7F'; };
    return !name.empty() && name.size() <= kMaxTextName && std::all_of(name.begin(), name.end(), isPrintable) &&
           IsUtf8(name);
}

std::optional<NamedHeader> ReadNamedHeader(const InputFile& file, std::uint64_t at) {
    std::array<unsigned char, kFixedHeaderSize + kMaxTextName> bytes;
    const std::size_t read = file.ReadAt(at, bytes.data(), bytes.size());
    if (read < kFixedHeaderSize) return std::nullopt;
    const std::size_t nameLength = LoadLittleEndian(bytes.data() + 2 * kFieldSize);
    if (nameLength > read - kFixedHeaderSize) return std::nullopt;
    const std::string_view name(reinterpret_cast<const char*>(bytes.data()) + kFixedHeaderSize, nameLength);
    if (!IsTextName(name)) return std::nullopt;
    return NamedHeader{LoadLittleEndian(bytes.data()), LoadLittleEndian(bytes.data() + kFieldSize), std::string(name)};
}

std::optional<std::uint64_t> FindSection(const InputFile& file, std::uint64_t from, std::uint64_t bound, bool alone) {
    std::optional<std::uint64_t> found;
    const bool canBeCut = alone && bound == file.Size();
    std::uint64_t to = std::min(bound, kMaxPosition);
    ForEachHeader(file, from, to, [&](std::uint64_t at, std::uint64_t end) {
        if (end > bound && !canBeCut) return at + 1;
        const bool isFollowed = end == bound || (end < bound && ReadNext(file, end).isHeader);
        if (isFollowed || alone) found = at;
        if (!isFollowed && alone) to = std::min(bound, end);
        return isFollowed ? kEnough : at + 1;
    });
    return found;
}

std::optional<std::uint64_t> FindSectionAcross(const InputFile& file, std::uint64_t from, std::uint64_t to) {
    std::optional<std::uint64_t> found;
    std::optional<std::uint64_t> first;  // that shows it if no other header is there
    int headers = 0;
    const std::uint64_t size = file.Size();
    ForEachHeader(file, from, std::min(to, size), [&](std::uint64_t at, std::uint64_t end) {
        // Goes up to what breaks the chain, or beyond `to`.
        const bool isWhole = end <= size;
        bool isFollowed = end == size;
        while (end < size) {
            const Next next = ReadNext(file, end);
            isFollowed = isFollowed || next.isHeader;
            if (!next.end || end > to) break;
            end = *next.end;
        }
        if (FollowsIdentifier(file, at)) return end;
        const bool shows = isWhole && (end > to || to >= size);
        if (shows && isFollowed) {
            found = at;
            return kEnough;
        }
        if (shows) first = at;
        ++headers;
        return isFollowed ? end : at + 1;
    });
    return headers == 1 && !found ? first : found;
}

}  // namespace orm_trace
