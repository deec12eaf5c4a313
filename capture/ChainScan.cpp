#include "capture/ChainScan.h"

#include <algorithm>
#include <bitset>
#include <span>
#include <string_view>
#include <unordered_map>

#include "capture/HeaderFilter.h"
#include "capture/HeaderSearch.h"
#include "capture/WordBuffer.h"
#include "tdf/TDFSectionReader.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

constexpr std::uint64_t kChunk = 64 * 1024;  // offsets that are looked at between two reads

// A set of offsets, which are added and forgotten in descending order.
class Offsets {
public:
    void Add(std::uint64_t offset) { m_blocks[offset / kBlock].set(offset % kBlock); }
    bool Has(std::uint64_t offset) const {
        const auto found = m_blocks.find(offset / kBlock);
        return found != m_blocks.end() && found->second.test(offset % kBlock);
    }
    // Forgets those that no section reaches that begins at `end` or before; a chunk of them is enough at each call.
    void ForgetBeyond(std::uint64_t end) {
        const std::uint64_t block = (end + kMaxSectionLength) / kBlock + 1;
        for (std::uint64_t n = block + kChunk / kBlock + 1; n-- > block;) m_blocks.erase(n);
    }

private:
    static constexpr std::uint64_t kBlock = 512;
    std::unordered_map<std::uint64_t, std::bitset<kBlock>> m_blocks;  // those that hold an offset
};

}  // namespace

std::optional<std::uint64_t> FindChainToEnd(const InputFile& file, std::uint64_t from, std::uint64_t trusted) {
    const std::uint64_t size = file.Size();
    if (size > kMaxPosition) return std::nullopt;  // no section ends there
    std::optional<std::uint64_t> first;
    Offsets chains;
    const std::uint64_t most = std::min<std::uint64_t>(kChunk, size - std::min(from, size));
    WordBuffer buffer((most + kFixedHeaderSize + kMaxTextName) / sizeof(std::uint64_t) + 1);
    const std::span<unsigned char> chunk = buffer.Bytes();
    for (std::uint64_t end = size; end > from;) {
        const std::uint64_t begin = std::max(from, (end - 1) / kChunk * kChunk);
        // A header in a hole would have the length 0.
        const bool isHole = file.NextData(begin) >= std::min(size, end + kFixedHeaderSize);
        const std::size_t read = isHole ? 0 : file.ReadAt(begin, chunk.data(), chunk.size());
        chains.ForgetBeyond(end);
        for (auto offset = static_cast<std::size_t>(isHole ? 0 : end - begin); offset > 0;) {
            if (offset % kFilterBlock == 0) offset = SkipBack(chunk.first(read), offset);
            if (offset == 0) break;
            --offset;
            if (read < offset + kFixedHeaderSize) continue;
            const std::uint64_t at = begin + offset;
            const unsigned char* header = chunk.data() + offset;
            const HeaderFields fields = DecodeFields(header);
            if (CheckHeader(fields, at).kind != TDFFaultKind::kNone) continue;
            const std::uint64_t next = at + fields.length;
            if (next != size && !chains.Has(next)) continue;
            // Of a longer name than a text has, one byte more is enough. A file that became shorter can end within the name.
            const std::size_t nameLength = std::min<std::size_t>(fields.nameLength, kMaxTextName + 1);
            if (read - offset - kFixedHeaderSize < nameLength) continue;
            const auto* name = reinterpret_cast<const char*>(header + kFixedHeaderSize);
            if (at < trusted && !IsTextName({name, nameLength})) continue;
            chains.Add(at);
            first = at;
        }
        end = begin;
    }
    return first;
}

}  // namespace orm_trace
