#include "capture/Salvage.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "capture/ChainScan.h"
#include "capture/Error.h"
#include "capture/HeaderSearch.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

// One way through the file. A section is shown once its end is known, which is when sections after it were found.
class Salvage::Pass {
public:
    Pass(Salvage& salvage, Visitor& visitor)
        : m_salvage(salvage), m_file(salvage.m_file), m_visitor(visitor), m_search(m_file) {}

    Totals Run() {
        std::uint64_t at = kTDFIdentifier.size();
        m_isTdf = m_file.HasIdentifier() || m_search.ReadNamed(at);
        if (m_file.HasIdentifier()) {
            m_totals.recovered = at;
        } else {
            m_isFound = true;
            at = FindNext(0, 0);
            AddGap(0, at);
        }
        for (bool isFirst = m_file.HasIdentifier(); isFirst || at < m_file.Size(); isFirst = false) at = Follow(at);
        ShowAll();
        return m_totals;
    }

private:
    static constexpr std::size_t kMaxKnown = 1024;  // without one of them, the scan only has to find it again

    // A section that is not shown yet.
    struct Kept {
        Item item;  // its name is elsewhere: this object moves
        std::string name;

        TDFSection Section() const {
            TDFSection section = item.section;
            section.name = name;
            return section;
        }
        void SetEnd(std::uint64_t end, State state) {
            item.length = static_cast<std::uint32_t>(end - item.section.offset);
            item.state = state;
        }
    };

    static bool EndsAsItSays(const Kept& kept) {
        return kept.item.state == State::kIntact || kept.item.state == State::kFoundByScan;
    }

    // Follows the chain from a section on. Returns: where to go on after what ends it.
    std::uint64_t Follow(std::uint64_t start) {
        SectionWalk walk(m_file, start);
        while (walk.Next()) {
            const TDFSection& section = walk.Section();
            Begin(section, section.length, m_isFound ? State::kFoundByScan : State::kIntact);
            // After a fault a section may end within another one that is known.
            const std::uint64_t bound = Bound(std::uint64_t{section.offset} + 1);
            if (m_isFound && bound < m_file.Size() && section.End() > bound) return EndBefore(bound);
        }
        if (!walk.Fault()) return m_file.Size();
        LocatedFault fault = *walk.Fault();
        const bool isCut = fault.kind == TDFFaultKind::kDataCut;
        fault.index = m_totals.sections + (m_before ? 1 : 0) + (m_last && !isCut ? 1 : 0);
        if (fault.kind == TDFFaultKind::kReadError) {
            throw Error(ErrorKind::kFailed, m_file.Path(), fault.Message());
        }
        ++m_totals.faults;
        m_visitor.OnFault(fault);
        m_isFound = true;
        if (const auto known = FindBeforeLast(isCut ? m_file.Size() : fault.offset)) return EndBefore(*known);
        if (isCut) return EndCutSection();
        const std::uint64_t at = fault.offset;
        const auto header = m_search.ReadNamed(at);
        const bool isInFormat = header && at + kFixedHeaderSize + header->name.size() < kMaxPosition;
        return isInFormat ? Rebuild(at, *header) : PassGarbage(at);
    }

    // The file ends within the last section, if its length is true.
    std::uint64_t EndCutSection() {
        const std::uint64_t size = m_file.Size();
        if (const auto known = FindWithinLast(size)) return EndBefore(*known);
        const std::uint64_t at = m_last->item.section.offset;
        // Bytes before a header can make one of it whose name is not text, and has the true header in it.
        const auto found = IsTextName(m_last->name) ? std::nullopt : m_search.Find(at + 1, size, true);
        if (found && *found < m_last->Section().DataOffset()) {
            m_last = std::exchange(m_before, std::nullopt);
            return GoOn(at, *found);
        }
        m_last->SetEnd(size, State::kCut);
        return size;
    }

    // A header with a name, but without a usable length.
    std::uint64_t Rebuild(std::uint64_t at, const NamedHeader& header) {
        const TDFSection section{static_cast<std::uint32_t>(at), header.length, header.version, header.name};
        const std::uint64_t next = FindNext(section.DataOffset(), section.DataOffset());
        const std::uint64_t end = std::min({next, at + kMaxSectionLength, kMaxPosition});
        Begin(section, static_cast<std::uint32_t>(end - at), State::kRebuilt);
        AddGap(end, next);
        return next;
    }

    // What follows the last section, if any, cannot be a header.
    std::uint64_t PassGarbage(std::uint64_t at) {
        const bool endsAsItSays = m_last && EndsAsItSays(*m_last);
        if (const auto known = endsAsItSays ? FindWithinLast(at) : std::nullopt) return EndBefore(*known);
        return GoOn(at, FindNext(at + 1, at));
    }

    // The last section cannot end where its header states, since another one is known to begin before that.
    std::uint64_t EndBefore(std::uint64_t known) {
        const std::uint64_t at = m_last->item.section.offset;
        const std::uint64_t next = m_search.Find(at + 1, known, true).value_or(known);
        if (next < m_last->Section().DataOffset()) {  // what was taken for its header is not one
            m_last = std::exchange(m_before, std::nullopt);
            return PassGarbage(at);
        }
        m_last->SetEnd(next, State::kShortened);
        return next;
    }

    // What a wrong length leads to may look like a header, but its name is hardly text.
    // Returns: a section which shows that the last but one does not end where the last one, which is dropped then, begins.
    // fault: where the chain ends after the last one.
    std::optional<std::uint64_t> FindBeforeLast(std::uint64_t fault) {
        if (!m_before || !EndsAsItSays(*m_before) || !IsTextName(m_before->name) || IsTextName(m_last->name)) return {};
        const auto chain = Chain(m_before->item.section.offset + 1, fault);
        if (!chain || *chain >= m_last->item.section.offset) return std::nullopt;
        m_last = std::exchange(m_before, std::nullopt);
        return chain;
    }

    // Returns: a section which shows that the last one, whose header claims the bytes before `to`, does not end there.
    std::optional<std::uint64_t> FindWithinLast(std::uint64_t to) {
        const std::uint64_t from = m_last->item.section.offset + 1;
        if (const auto chain = Chain(from, to); chain && *chain < to) return chain;
        const auto found = m_search.FindAcross(from, to);
        if (found) m_known.push_back(*found);
        if (m_known.size() > kMaxKnown) m_known.erase(m_known.begin());
        return found;
    }

    // Adds bytes that are in no section to the one before them, if asked to. Returns: their end.
    std::uint64_t GoOn(std::uint64_t begin, std::uint64_t end) {
        if (m_salvage.m_withTail && m_last && IsRoomFor(end)) {
            m_last->SetEnd(end, State::kExtended);
        } else {
            AddGap(begin, end);
        }
        return end;
    }

    // Returns: where the next section after a fault is, or the end of the file.
    std::uint64_t FindNext(std::uint64_t from, std::uint64_t trusted) {
        Chain(from, trusted);
        const std::uint64_t bound = Bound(from);
        return m_search.Find(from, bound, m_isTdf || m_last || m_totals.sections != 0).value_or(bound);
    }

    std::optional<std::uint64_t> Chain(std::uint64_t from, std::uint64_t trusted) {
        auto& [file, withTail, isScanned, chain] = m_salvage;
        if (!isScanned) chain = FindChainToEnd(m_file, from, std::min(trusted, m_file.Size()));
        isScanned = true;
        return chain;
    }

    // Returns: where the first section from an offset on begins that is already known, or the end of the file.
    std::uint64_t Bound(std::uint64_t from) {
        while (!m_known.empty() && m_known.back() < from) m_known.pop_back();
        if (!m_known.empty()) return m_known.back();
        return m_salvage.m_chain && *m_salvage.m_chain >= from ? *m_salvage.m_chain : m_file.Size();
    }

    bool IsRoomFor(std::uint64_t end) const {
        return end - m_last->item.section.offset <= kMaxSectionLength && end <= kMaxPosition;
    }

    void Begin(const TDFSection& section, std::uint32_t length, State state) {
        if (m_before) Show(*m_before);
        std::swap(m_before, m_last);
        if (!m_last) m_last.emplace();
        m_last->item = {section, length, state};
        m_last->name = section.name;
    }

    void ShowAll() {
        for (auto* each : {&m_before, &m_last}) {
            if (*each) Show(**each);
            each->reset();
        }
    }

    void Show(const Kept& kept) {
        ++m_totals.sections;
        m_totals.recovered += kept.item.length;
        m_visitor.OnSection({kept.Section(), kept.item.length, kept.item.state});
    }

    void AddGap(std::uint64_t begin, std::uint64_t end) {
        if (begin == end) return;
        Gap gap{begin, end, Gap::Tail::kNoSection};
        if (m_last) gap.tail = IsRoomFor(end) ? Gap::Tail::kOffered : Gap::Tail::kTooLong;
        ShowAll();
        if (m_totals.gaps++ == 0) m_totals.firstGap = begin;
        m_totals.lastGapEnd = end;
        m_totals.unrecovered += end - begin;
        m_visitor.OnGap(gap);
    }

    Salvage& m_salvage;
    const InputFile& m_file;
    Visitor& m_visitor;
    HeaderSearch m_search;
    Totals m_totals;
    bool m_isTdf = false;                // by the identifier, or by the header after it
    bool m_isFound = false;              // a fault was passed
    std::vector<std::uint64_t> m_known;  // where sections begin that were found across the ends of others, nearest last
    std::optional<Kept> m_last;          // whose end may change
    std::optional<Kept> m_before;        // which becomes the last one again if that one is dropped
};

Salvage::Totals Salvage::Visit(Visitor& visitor) { return Pass(*this, visitor).Run(); }

}  // namespace orm_trace
