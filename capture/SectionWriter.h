// Writing sections to the end of a TDF file.
#pragma once

#include <cstdint>
#include <string>

#include "tools/orm-trace/output/Failure.h"
#include "capture/SectionSource.h"

namespace orm_trace {

class SectionWriter {
public:
    // The file is that which path leads to; messages call it by its name.
    SectionWriter(std::string path, std::string name);

    // Returns: the size of the file, which its chain of sections fills.
    // Errors:  Failure with this code: it is not a TDF file, or the chain does not end at its end, so that what is appended
    //          could not be found.
    std::uint64_t RequireWholeChain(ExitCode code) const;

    // Errors: Failure (kFailed): there is such a section already, so that readers would not see another one.
    void RequireNew(const std::string& name, std::uint32_t version) const;

    // Errors: Failure (kFailed). What was written until then stays.
    void Append(SectionSource& source) const;

private:
    bool HasSection(const std::string& name, std::uint32_t version) const;

    std::string m_path;
    std::string m_name;
};

}  // namespace orm_trace
