#include "capture/ChainScan.h"

#include <algorithm>
#include <bitset>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tdf/TDFSectionReader.h"
#include "capture/HeaderSearch.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

constexpr std::uint64_t kPage = 256 * 1024;  // positions that are looked at between two reads

// Positions, which are added and forgotten downwards.
class Positions {
public:
    void Add(std::uint64_t position) { m_blocks[position / kBlock].set(position % kBlock); }
    bool Has(std::uint64_t position) const {
        const auto found = m_blocks.find(position / kBlock);
        return found != m_blocks.end() && found->second.test(position % kBlock);
    }
    // Forgets those up to a page further than any section that begins at `end` or before can reach.
    void ForgetBeyond(std::uint64_t end) {
        const std::uint64_t block = (end + kMaxSectionLength) / kBlock + 1;
        for (std::uint64_t n = block + kPage / kBlock + 1; n-- > block;) m_blocks.erase(n);
    }

private:
    static constexpr std::uint64_t kBlock = 512;
    std::unordered_map<std::uint64_t, std::bitset<kBlock>> m_blocks;  // those that hold a position
};

}  // namespace

std::optional<std::uint64_t> FindChainToEnd(const InputFile& file, std::uint64_t from, std::uint64_t trusted) {
    const std::uint64_t size = file.Size();
    if (size > kMaxPosition) return std::nullopt;  // no section ends there
    std::optional<std::uint64_t> first;
    Positions chains;
    const std::uint64_t pageSize = std::min<std::uint64_t>(kPage, size - std::min(from, size));
    std::vector<unsigned char> page(pageSize + kFixedHeaderSize + kMaxTextName);
    for (std::uint64_t end = size; end > from;) {
        const std::uint64_t begin = end - std::min(pageSize, end - from);
        // A header in a hole would have the length 0.
        const bool isHole = file.NextData(begin) >= std::min(size, end + kFixedHeaderSize);
        const std::size_t read = isHole ? 0 : file.ReadAt(begin, page.data(), page.size());
        chains.ForgetBeyond(end);
        for (std::uint64_t at = isHole ? begin : end; at-- > begin;) {
            const auto offset = static_cast<std::size_t>(at - begin);
            if (read < offset + kFixedHeaderSize) continue;
            const unsigned char* fields = page.data() + offset;
            if (CheckHeader(fields, at).fault != TDFFaultKind::kNone) continue;
            const std::uint64_t next = at + LoadLittleEndian(fields);
            if (next != size && !chains.Has(next)) continue;
            const auto* name = reinterpret_cast<const char*>(fields + kFixedHeaderSize);
            const std::size_t nameLength = LoadLittleEndian(fields + 2 * kFieldSize);
            const std::size_t nameRead = std::min(nameLength, read - offset - kFixedHeaderSize);
            if (at < trusted && !(nameRead == nameLength && IsTextName({name, nameRead}))) continue;
            chains.Add(at);
            first = at;
        }
        end = begin;
    }
    return first;
}

}  // namespace orm_trace
