#include "capture/SectionIdentity.h"

#include <functional>
#include <string>
#include <string_view>

namespace orm_trace {

using namespace Orm::Lux::Trace;

std::uint64_t HashOf(const TDFSection& section) noexcept {
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // over all bits
    const std::uint64_t hash = std::hash<std::string_view>()(section.name) ^ (section.version + 1) * kSpread;
    return (hash ^ hash >> 29) * kSpread;
}

bool IsSameAt(const InputFile& file, std::uint64_t offset, const TDFSection& section) {
    std::string header(section.HeaderSize(), '\0');
    if (file.ReadAt(offset, header.data(), header.size()) < header.size()) return false;
    const HeaderFields fields = DecodeFields(reinterpret_cast<const unsigned char*>(header.data()));
    return fields.version == section.version && fields.nameLength == section.name.size() &&
           std::string_view(header).substr(kFixedHeaderSize) == section.name;
}

}  // namespace orm_trace
