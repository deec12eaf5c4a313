#include "capture/SectionPairs.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "capture/Error.h"
#include "capture/SectionIdentity.h"

namespace orm_trace {

using Orm::Lux::Trace::TDFSection;

namespace {

SectionPairs::Data DataOf(const SectionWalk& walk) {
    return {walk.Section().DataOffset(), walk.Section().DataLength(), walk.DataAvailable()};
}

[[noreturn]] void ThrowChanged(const InputFile& file) {
    throw Error(ErrorKind::kChanged, file.Path(), "was changed while it was being read");
}

}  // namespace

SectionPairs::SectionPairs(const InputFile& a, const InputFile& b, Filter filter)
    : m_a(a), m_b(b), m_filter(std::move(filter)) {
    std::vector<Slot> slots;
    SectionWalk walkA(m_a);
    while (walkA.Next()) {
        if (!m_filter(walkA.Section())) continue;
        slots.push_back({HashOf(walkA.Section()), m_entries.size()});
        m_entries.push_back({walkA.Section().offset, std::nullopt});
    }
    m_faultA = walkA.Fault();
    std::sort(slots.begin(), slots.end(),
              [](const Slot& x, const Slot& y) { return std::pair(x.hash, x.entry) < std::pair(y.hash, y.entry); });

    SectionWalk walkB(m_b);
    while (walkB.Next()) {
        if (!m_filter(walkB.Section())) continue;
        if (Entry* entry = Match(walkB.Section(), slots)) {
            entry->other = DataOf(walkB);
        } else {
            m_onlyInB.push_back(walkB.Section().offset);
        }
    }
    m_faultB = walkB.Fault();
}

// Returns: the first entry that has this name and version, and no pair yet; null if there is none.
SectionPairs::Entry* SectionPairs::Match(const TDFSection& section, std::vector<Slot>& slots) {
    const std::uint64_t hash = HashOf(section);
    const auto first = std::lower_bound(slots.begin(), slots.end(), hash,
                                        [](const Slot& slot, std::uint64_t wanted) { return slot.hash < wanted; });
    if (first == slots.end()) return nullptr;
    for (auto slot = first + static_cast<std::ptrdiff_t>(first->matched); slot != slots.end() && slot->hash == hash;
         ++slot) {
        Entry& entry = m_entries[slot->entry];
        if (entry.other || !IsSameAt(m_a, entry.offset, section)) continue;
        // The slots before this one have pairs in all but rare cases: two names with one hash.
        if (slot == first + static_cast<std::ptrdiff_t>(first->matched)) ++first->matched;
        return &entry;
    }
    return nullptr;
}

void SectionPairs::Visit(const std::function<void(const Pair&)>& visit) const {
    auto entry = m_entries.begin();
    SectionWalk walkA(m_a);
    while (walkA.Next()) {
        if (!m_filter(walkA.Section())) continue;
        if (entry == m_entries.end() || entry->offset != walkA.Section().offset) ThrowChanged(m_a);
        visit({walkA.Section().name, walkA.Section().version, DataOf(walkA), entry->other});
        ++entry;
    }
    if (entry != m_entries.end()) ThrowChanged(m_a);

    auto only = m_onlyInB.begin();
    SectionWalk walkB(m_b);
    while (only != m_onlyInB.end() && walkB.Next()) {
        if (walkB.Section().offset != *only) continue;
        visit({walkB.Section().name, walkB.Section().version, std::nullopt, DataOf(walkB)});
        ++only;
    }
    if (only != m_onlyInB.end()) ThrowChanged(m_b);
}

bool HasSameBytes(const InputFile& a, std::uint64_t offsetA, const InputFile& b, std::uint64_t offsetB,
                  std::uint64_t size, const ProgressCallback& onProgress) {
    constexpr std::uint64_t kChunk = 1 << 16;
    std::vector<char> chunkA(static_cast<std::size_t>(std::min(kChunk, size)));
    std::vector<char> chunkB(chunkA.size());
    for (std::uint64_t at = 0; at < size;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(chunkA.size(), size - at));
        if (a.ReadAt(offsetA + at, chunkA.data(), wanted) < wanted) a.ThrowShorter();
        if (b.ReadAt(offsetB + at, chunkB.data(), wanted) < wanted) b.ThrowShorter();
        if (std::memcmp(chunkA.data(), chunkB.data(), wanted) != 0) return false;
        at += wanted;
        if (onProgress) onProgress(2 * wanted);
    }
    return true;
}

}  // namespace orm_trace
