#include "capture/Duplicates.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace orm_trace {

std::optional<std::uint32_t> Duplicates::Find(const Orm::Lux::Trace::TDFSection& section) {
    if (2 * m_used >= m_slots.size()) Grow();
    const auto hash = static_cast<std::uint32_t>(Hash(section) >> 32);
    for (std::size_t n = hash;; ++n) {
        Slot& slot = m_slots[n % m_slots.size()];
        if (slot.offset == 0) {
            slot = {hash, section.offset};
            ++m_used;
            return std::nullopt;
        }
        if (slot.hash == hash && IsSame(slot.offset, section)) return slot.offset;
    }
}

std::uint64_t Duplicates::Hash(const Orm::Lux::Trace::TDFSection& section) noexcept {
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // over all bits
    const std::uint64_t hash = std::hash<std::string_view>()(section.name) ^ (section.version + 1) * kSpread;
    return (hash ^ hash >> 29) * kSpread;
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

bool Duplicates::IsSame(std::uint32_t offset, const Orm::Lux::Trace::TDFSection& section) const {
    using namespace Orm::Lux::Trace;
    std::string header(section.HeaderSize(), '\0');
    if (m_file.ReadAt(offset, header.data(), header.size()) < header.size()) return false;
    const HeaderFields fields = DecodeFields(reinterpret_cast<const unsigned char*>(header.data()));
    return fields.version == section.version && fields.nameLength == section.name.size() &&
           std::string_view(header).substr(kFixedHeaderSize) == section.name;
}

}  // namespace orm_trace
