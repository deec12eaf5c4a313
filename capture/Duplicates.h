// Finding sections that lookups never reach, because an earlier one has the same name and version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "capture/InputFile.h"
#include "capture/SectionIdentity.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

// Remembers a part of the sections of a file by a hash of name and version, and compares with the file when one recurs.
// A file with many sections is walked over once for each part, so that memory stays below 64 MiB.
class Duplicates {
public:
    // count: the sections of the file. Returns: into how many parts they are divided.
    static std::uint64_t Parts(std::uint64_t count) noexcept { return count / kLimit + 1; }

    Duplicates(const InputFile& file, std::uint64_t part, std::uint64_t parts)
        : m_file(file), m_part(part), m_parts(parts) {}

    // Returns: whether the section belongs to this part.
    bool Has(const Orm::Lux::Trace::TDFSection& section) const { return HashOf(section) % m_parts == m_part; }

    // Returns: the offset of the first section that has the name and version of this one, if there is one before it.
    // REQUIRES: the section belongs to this part. Errors: Error.
    std::optional<std::uint32_t> Find(const Orm::Lux::Trace::TDFSection& section);

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t offset = 0;  // 0 when the slot is free: no section begins there
    };
    static constexpr std::uint64_t kLimit = 15U << 17;  // sections of a part, on average: 2^21 fill half of the slots

    void Grow();

    const InputFile& m_file;
    std::uint64_t m_part;
    std::uint64_t m_parts;
    std::vector<Slot> m_slots = std::vector<Slot>(64);  // a power of two; the next free one takes what collides
    std::size_t m_used = 0;
};

}  // namespace orm_trace
