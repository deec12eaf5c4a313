// A TDF file that sections are appended to.
#pragma once

#include <cstdint>
#include <string>

#include "tools/orm-trace/SectionSource.h"

namespace orm_trace {

// Appends sections to a TDF file, and takes back what it has appended unless the work is kept: a file that was whole
// stays whole. Nobody else writes to the file meanwhile.
class AppendTarget {
public:
    // Errors: Failure (kNotATrace): path is no TDF file, or its chain of sections does not end at its end, so that what
    //         is appended could not be found.
    explicit AppendTarget(std::string path);
    ~AppendTarget();
    AppendTarget(const AppendTarget&) = delete;
    AppendTarget& operator=(const AppendTarget&) = delete;

    // Errors: Failure (kFailed): there is such a section already, so that readers would not see another one.
    void RequireNew(const std::string& name, std::uint32_t version) const;

    // Errors: Failure (kFailed).
    void Append(SectionSource& source);

    // Units: bytes, by which the file has grown.
    std::uint64_t Appended() const;

    // Ends the work: checks that what was appended can be read.
    // Errors: Failure (kFailed), when the chain of sections does not end at the end of the file.
    void Keep();

private:
    std::string m_path;
    std::uint64_t m_sizeBefore;
    bool m_kept = false;
};

}  // namespace orm_trace
