// The option value NAME[:VERSION], which chooses sections.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "capture/Text.h"
#include "tdf/TDFSectionReader.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/options/SectionName.h"

namespace orm_trace {

struct SectionPattern {
    std::string name;
    std::optional<std::uint64_t> version;  // none: any

    // Errors: Error (kArgument).
    static SectionPattern Parse(const std::string& text) {
        const std::size_t colon = text.rfind(':');
        const auto number = colon != text.npos ? ParseNumber(text.substr(colon + 1)) : std::nullopt;
        return {SectionName(number ? text.substr(0, colon) : text), number};
    }

    bool Fits(std::string_view sectionName, std::uint32_t sectionVersion) const {
        return sectionName == name && (!version || sectionVersion == *version);
    }
    bool Fits(const Orm::Lux::Trace::TDFSection& section) const { return Fits(section.name, section.version); }
    std::string Label() const { return "section " + SectionLabel(name, version); }
};

}  // namespace orm_trace
