// The sections of two files, paired.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "capture/InputFile.h"
#include "capture/Progress.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

// Pairs sections of the same name and version: the first with the first, the second with the second, and so on. A file may
// have a million sections: no names are kept.
class SectionPairs {
public:
    // Where the data of a section is, and how much of it the file has, in bytes.
    struct Data {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        std::uint64_t available = 0;
    };

    // Sections of one name and version; one of a and b may be missing.
    struct Pair {
        std::string_view name;  // valid during the call
        std::uint32_t version = 0;
        std::optional<Data> a;
        std::optional<Data> b;
    };

    // Sections that the filter does not choose are not paired. The files outlive this. Errors: Error (kInput).
    using Filter = std::function<bool(const Orm::Lux::Trace::TDFSection&)>;
    SectionPairs(const InputFile& a, const InputFile& b, Filter filter);

    // Calls visit for each pair: in the order of a, then what is only in b, in the order of b.
    // Errors: those of visit, and Error: kInput, kChanged when a file is no longer as it was.
    void Visit(const std::function<void(const Pair&)>& visit) const;

    // The fault that ended the walk over each file.
    const std::optional<LocatedFault>& FaultA() const noexcept { return m_faultA; }
    const std::optional<LocatedFault>& FaultB() const noexcept { return m_faultB; }

private:
    struct Entry {
        std::uint64_t offset = 0;   // of the section
        std::optional<Data> other;  // of the section in b
    };
    struct Slot {
        std::uint64_t hash = 0;
        std::size_t entry = 0;
        std::size_t matched = 0;  // in the first slot of a hash: of how many slots the entries have a pair
    };

    Entry* Match(const Orm::Lux::Trace::TDFSection& section, std::vector<Slot>& slots);

    const InputFile& m_a;
    const InputFile& m_b;
    Filter m_filter;
    std::vector<Entry> m_entries;          // of a, in the order of the file
    std::vector<std::uint64_t> m_onlyInB;  // offsets, in order
    std::optional<LocatedFault> m_faultA;
    std::optional<LocatedFault> m_faultB;
};

// Whether two files have the same bytes at these offsets. onProgress is called with numbers of bytes that were compared, of
// both files. Errors: Error: kFailed, kInput when a file became shorter.
bool HasSameBytes(const InputFile& a, std::uint64_t offsetA, const InputFile& b, std::uint64_t offsetB,
                  std::uint64_t size, const ProgressCallback& onProgress = {});

}  // namespace orm_trace
