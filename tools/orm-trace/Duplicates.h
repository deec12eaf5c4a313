// Finding sections that no lookup finds, because one before them has the same name and version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "tools/orm-trace/InputFile.h"
#include "tools/orm-trace/SectionWalk.h"

namespace orm_trace {

// Remembers sections by a hash of name and version, and compares with the file when one recurs. It remembers a bounded
// number of them, so that memory stays bounded too.
class Duplicates {
public:
    static constexpr std::size_t kLimit = 32 * 1024;  // sections, different ones

    explicit Duplicates(const InputFile& file) : m_file(file) {}

    // Returns: the offset of the first section that has the name and version of this one, if there is one before it.
    std::optional<std::uint32_t> Find(const Orm::Lux::Trace::TDFSection& section);

    // Whether there were more sections than are remembered: later ones were compared with those alone.
    bool IsFull() const noexcept { return m_isFull; }

private:
    bool IsSame(std::uint32_t offset, const Orm::Lux::Trace::TDFSection& section) const;

    const InputFile& m_file;
    std::unordered_map<std::size_t, std::uint32_t> m_offsets;  // of the first section with this hash
    bool m_isFull = false;
};

}  // namespace orm_trace
