// The sections of a file, and what ends their chain before the end of the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "capture/InputFile.h"
#include "tdf/TDFSectionReader.h"

namespace orm_trace {

// A fault, with the section that it concerns.
struct LocatedFault : Orm::Lux::Trace::TDFFault {
    std::uint64_t index = 0;          // of the section, counted from 0
    std::optional<std::string> name;  // where it can be read

    // Returns: a name for the kind of fault, for programs.
    const char* KindName() const noexcept;
    // Returns: for example: section 7 "name" at offset 0x1A40: length 4096 exceeds the 112 bytes left
    std::string Message() const;
};

// Visits the sections of a file in order, as lookups do, and counts them.
class SectionWalk {
public:
    explicit SectionWalk(const InputFile& file, std::uint64_t start = Orm::Lux::Trace::kTDFIdentifier.size());

    // Returns: false after the last section. Errors: Error (kInput): the file became shorter.
    bool Next();

    // Valid until the next step.
    const Orm::Lux::Trace::TDFSection& Section() const noexcept { return m_reader.Section(); }
    std::uint64_t Index() const noexcept { return m_count - 1; }
    // Units: bytes, of the section's data that the file has.
    std::uint64_t DataAvailable() const noexcept;

    // Valid after the last section.
    std::uint64_t Count() const noexcept { return m_count; }
    const std::optional<LocatedFault>& Fault() const noexcept { return m_fault; }
    // Units: bytes between the last section and the end of the file.
    std::uint64_t TrailingBytes() const noexcept;

private:
    const InputFile& m_file;
    Orm::Lux::Trace::TDFSectionReader m_reader;
    std::uint64_t m_end;  // of the section, or where the first one is looked for
    std::uint64_t m_count = 0;
    std::optional<LocatedFault> m_fault;
};

}  // namespace orm_trace
