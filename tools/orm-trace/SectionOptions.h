// The options that name the sections to be written.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/orm-trace/AppendTarget.h"
#include "tools/orm-trace/SectionSource.h"

namespace orm_trace {

class SectionOptions {
public:
    // Returns: the option --section.
    CLI::Option* AddTo(CLI::App& app);

    // Opens every section's data. Unless duplicates are allowed, no two sections may have the same name and version,
    // nor one the same as a section of target, if there is one.
    // Errors: Failure.
    std::vector<SectionSource> Open(const AppendTarget* target) const;

    // Units: bytes, of the data of all sections.
    static std::uint64_t TotalSize(const std::vector<SectionSource>& sources);

private:
    std::vector<std::string> m_texts;
    bool m_allowDuplicate = false;
};

}  // namespace orm_trace
