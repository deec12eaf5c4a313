#include "capture/Duplicates.h"

#include <utility>

namespace orm_trace {

std::optional<std::uint32_t> Duplicates::Find(const Orm::Lux::Trace::TDFSection& section) {
    if (2 * m_used >= m_slots.size()) Grow();
    const auto hash = static_cast<std::uint32_t>(HashOf(section) >> 32);
    for (std::size_t n = hash;; ++n) {
        Slot& slot = m_slots[n % m_slots.size()];
        if (slot.offset == 0) {
            slot = {hash, section.offset};
            ++m_used;
            return std::nullopt;
        }
        if (slot.hash == hash && IsSameAt(m_file, slot.offset, section)) return slot.offset;
    }
}

void Duplicates::Grow() {
    std::vector<Slot> slots(2 * m_slots.size());
    for (const Slot& slot : m_slots) {
        if (slot.offset == 0) continue;
        std::size_t n = slot.hash;
        while (slots[n % slots.size()].offset != 0) ++n;
        slots[n % slots.size()] = slot;
    }
    m_slots = std::move(slots);
}

}  // namespace orm_trace
