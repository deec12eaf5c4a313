// What of a TDF file can be recovered.
#pragma once

#include <cstdint>
#include <optional>

#include "tools/orm-trace/InputFile.h"
#include "tools/orm-trace/SectionWalk.h"

namespace orm_trace {

// Looks through a file, and then visits what it has found, as often as wanted.
//
// The sections that lookups see come first; the last of them may have another length than it says:
//
//   the end of the file cuts it               up to the end of the file
//   a section found by scan begins within it  up to that section
//   with withTail, nothing is found behind it, though there are bytes    up to the end of the file
//
// Behind it come the sections that the scan has found. Those bytes of the file that are in no section are the gap.
class Salvage {
public:
    enum class State { kIntact, kCut, kShortened, kExtended, kFoundByScan };

    struct Item {
        Orm::Lux::Trace::TDFSection section;  // as its header tells; the name is valid until the next step
        std::uint32_t length = 0;             // that it gets, header included
        State state = State::kIntact;
    };

    // Errors: Failure (kFailed).
    Salvage(const InputFile& file, bool withTail);

    // Calls visit(item) for each section. Errors: those of visit.
    template <class Visit> void ForEach(Visit visit) const {
        SectionWalk walk(m_file);
        Item item;
        while (walk.Count() < m_count && walk.Next()) {
            item.section = walk.Section();
            const bool isLast = walk.Count() == m_count;
            item.length = isLast ? m_lastLength : item.section.length;
            item.state = isLast ? m_lastState : State::kIntact;
            visit(item);
        }
        if (!m_chain) return;
        SectionWalk found(m_file, *m_chain);
        item.state = State::kFoundByScan;
        while (found.Next()) {
            item.section = found.Section();
            item.length = item.section.length;
            visit(item);
        }
    }

    // What is damaged, if anything is; a wrong identifier is no fault of a section.
    const std::optional<Fault>& Damage() const noexcept { return m_damage; }
    bool IsWhole() const noexcept { return m_file.HasIdentifier() && !m_damage; }
    bool IsEmpty() const noexcept { return m_count == 0 && !m_chain; }

    // The gap [GapBegin, GapEnd); without sections found by scan behind it, it is a tail.
    std::uint64_t GapBegin() const noexcept { return m_gapBegin; }
    std::uint64_t GapEnd() const noexcept { return m_gapEnd; }
    bool HasTail() const noexcept { return !m_chain && m_gapBegin < m_gapEnd; }
    // Whether the last section stays one that readers find when it gets the tail.
    bool CanTakeTail() const noexcept;

private:
    void Survey(SectionWalk& walk);

    const InputFile& m_file;
    std::optional<Fault> m_damage;
    std::uint64_t m_count = 0;  // of the sections that lookups see
    Orm::Lux::Trace::TDFSection m_last;
    std::uint64_t m_lastData = 0;    // position
    std::uint32_t m_lastLength = 0;  // that it gets
    State m_lastState = State::kIntact;
    std::optional<std::uint64_t> m_chain;  // where the sections found by scan begin
    std::uint64_t m_gapBegin = 0;
    std::uint64_t m_gapEnd = 0;
};

}  // namespace orm_trace
