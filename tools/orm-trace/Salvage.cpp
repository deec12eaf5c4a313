#include "tools/orm-trace/Salvage.h"

#include <algorithm>

#include "tools/orm-trace/ChainScan.h"
#include "tools/orm-trace/Failure.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

Salvage::Salvage(const InputFile& file, bool withTail) : m_file(file) {
    std::uint64_t end = 0;  // of what lookups see
    std::uint64_t scanFrom = 0;
    if (file.HasIdentifier()) {
        SectionWalk walk(file);
        Survey(walk);
        end = m_count != 0 ? m_last.End() : kTDFIdentifier.size();
        scanFrom = m_count != 0 ? m_lastData : end;
    }
    if (IsWhole()) return;

    const std::uint64_t size = file.Size();
    const std::uint64_t trusted = std::min(end, size);
    m_chain = FindChainToEnd(file, scanFrom, trusted);
    m_gapBegin = trusted;
    m_gapEnd = m_chain.value_or(size);
    const auto setLast = [this](std::uint64_t to, State state) {
        m_lastLength = static_cast<std::uint32_t>(to - m_last.offset);
        m_lastState = state;
        m_gapBegin = m_gapEnd = to;
    };
    if (m_chain && *m_chain < trusted) {
        setLast(*m_chain, State::kShortened);
    } else if (end > size) {
        setLast(size, State::kCut);
    } else if (withTail && m_count != 0 && HasTail()) {
        if (!CanTakeTail()) {
            throw Failure(ExitCode::kFailed, file.Path(), "with the tail its last section would exceed 128 MiB");
        }
        setLast(size, State::kExtended);
    }
}

bool Salvage::CanTakeTail() const noexcept {
    return HasTail() && m_count != 0 && m_gapEnd - m_last.offset <= kMaxSectionLength && m_gapEnd <= kMaxPosition;
}

void Salvage::Survey(SectionWalk& walk) {
    while (walk.Next()) {
        m_last = walk.Section();
        m_lastData = m_last.DataPosition();
    }
    m_count = walk.Count();
    m_damage = walk.Damage();
    m_lastLength = m_last.length;
}

}  // namespace orm_trace
