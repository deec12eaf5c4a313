// Appending sections to a TDF file.
#pragma once

#include <cstdint>
#include <string>

#include "capture/Error.h"
#include "capture/Progress.h"
#include "capture/SectionSource.h"

namespace orm_trace {

class SectionWriter {
public:
    // path leads to the file; messages call it by the name.
    SectionWriter(std::string path, std::string name);

    // Returns: the size of the file, which its chain of sections fills.
    // Errors:  Error of this kind: it is not a TDF file, or the chain does not end at its end, so that what is appended
    //          could not be found.
    std::uint64_t RequireWholeChain(ErrorKind kind) const;

    // Returns: whether the file has such a section, so that readers would not see another one.
    bool HasSection(const std::string& name, std::uint32_t version) const;

    // Whether the section can be found is checked by RequireWholeChain, once for all that are appended.
    // Errors: Error (kFailed), and kInput where the source became shorter. What was written before stays.
    void Append(SectionSource& source, const ProgressCallback& onProgress = {}) const;

private:
    std::string m_path;
    std::string m_name;
};

}  // namespace orm_trace
