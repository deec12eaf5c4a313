#include "tools/orm-trace/Duplicates.h"

#include <functional>
#include <string_view>

namespace orm_trace {

std::optional<std::uint32_t> Duplicates::Find(const Orm::Lux::Trace::TDFSection& section) {
    constexpr std::size_t kSpread = 0x9E3779B97F4A7C15;  // over all bits
    const std::size_t hash = std::hash<std::string_view>()(section.name) ^ (section.version + 1) * kSpread;
    if (const auto found = m_offsets.find(hash); found != m_offsets.end()) {
        return IsSame(found->second, section) ? std::optional(found->second) : std::nullopt;
    }
    m_isFull = m_offsets.size() == kLimit;
    if (!m_isFull) m_offsets.emplace(hash, section.offset);
    return std::nullopt;
}

bool Duplicates::IsSame(std::uint32_t offset, const Orm::Lux::Trace::TDFSection& section) const {
    using namespace Orm::Lux::Trace;
    std::string header(section.HeaderSize(), '\0');
    if (m_file.ReadAt(offset, header.data(), header.size()) < header.size()) return false;
    const auto* fields = reinterpret_cast<const unsigned char*>(header.data());
    return LoadLittleEndian(fields + kFieldSize) == section.version &&
           LoadLittleEndian(fields + 2 * kFieldSize) == section.name.size() &&
           std::string_view(header).substr(kFixedHeaderSize) == section.name;
}

}  // namespace orm_trace
