// The sections of a file, and what ends their chain before the end of the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tdf/TDFSectionReader.h"
#include "capture/InputFile.h"

namespace orm_trace {

// A damage, with the section that it concerns.
struct Fault {
    Orm::Lux::Trace::TDFFault damage;
    std::uint64_t section = 0;        // its number, counted from 0
    std::optional<std::string> name;  // where it can be read

    // Returns: a name for the kind of damage, for programs.
    const char* Kind() const noexcept;
    // Returns: for example: section 7 "name" at offset 0x1A40: length 4096 exceeds the 112 bytes left
    std::string Message() const;
};

// Visits the sections of a file, as lookups do, and numbers them.
class SectionWalk {
public:
    // REQUIRES: no other walk over the file is under way.
    explicit SectionWalk(const InputFile& file, std::uint64_t start = Orm::Lux::Trace::kTDFIdentifier.size());

    // Returns: false behind the last section. Errors: Failure (kNotATrace): the file became shorter.
    bool Next();

    // Valid until the next step.
    const Orm::Lux::Trace::TDFSection& Section() const noexcept { return m_reader.Section(); }
    std::uint64_t Number() const noexcept { return m_count - 1; }
    // Units: bytes, of the section's data that the file has.
    std::uint64_t DataThere() const noexcept;

    // Valid behind the last section.
    std::uint64_t Count() const noexcept { return m_count; }
    const std::optional<Fault>& Damage() const noexcept { return m_damage; }
    // Units: bytes between the last section and the end of the file.
    std::uint64_t BytesBehind() const noexcept;

private:
    const InputFile& m_file;
    Orm::Lux::Trace::TDFSectionReader m_reader;
    std::uint64_t m_end;  // of the section, or where the first one is looked for
    std::uint64_t m_count = 0;
    std::optional<Fault> m_damage;
};

}  // namespace orm_trace
