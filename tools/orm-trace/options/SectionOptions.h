// The options that name the sections to be written.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "capture/AppendTarget.h"
#include "capture/SectionSource.h"

namespace orm_trace {

// Returns: the section that a text of the form NAME:VERSION@FILE describes. The first @ ends the section, its last :
//          begins the version; in the name, \xHH is a byte and \\ a backslash.
// Errors:  Error: kArgument for a text of another form, and those of SectionSource.
SectionSource ParseSection(const std::string& text);

// Errors: Error (kFailed): target has such a section, so that readers would not see another one.
void RequireNew(const AppendTarget& target, const std::string& name, std::uint32_t version);

class SectionOptions {
public:
    // Returns: the option --section.
    CLI::Option* AddTo(CLI::App& app);

    // Opens every section's data, and reads what standard input gives. Unless duplicates are allowed, no two sections may
    // have the same name and version. Errors: Error.
    std::vector<SectionSource> Open() const;

    // Errors: Error (kFailed): duplicates are not allowed, and target has a section of the same name and version.
    void RequireNew(const std::vector<SectionSource>& sources, const AppendTarget& target) const;

    // Units: bytes, of the data of all sections.
    static std::uint64_t TotalSize(const std::vector<SectionSource>& sources);

private:
    std::vector<std::string> m_texts;
    bool m_allowDuplicate = false;
};

}  // namespace orm_trace
