// Finding what can be recovered of a TDF file.
#pragma once

#include <cstdint>
#include <optional>

#include "capture/InputFile.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

// Goes through a file, as often as wanted, and shows what it finds: sections, faults, and gaps. Every byte of the file is
// in one section or in one gap.
//
// As far as the headers lead, the sections are those that lookups see. After a fault it searches for more: first for a
// chain of sections that reaches the end of the file, then, before that chain, for single sections. The section at the
// fault may get another length than its header states:
//
//   the end of the file cuts it                     up to the end of the file
//   a section found by the scan begins within it    up to that section
//   its header has a name, but no usable length     up to the next section found, or the end of the file
//   bytes after it are in no section, and withTail asks to add them to it    the same
//
// A section whose name is not text, and which a fault follows, may be data that a wrong length led to: it is dropped if such
// a chain begins before it, or if the end of the file cuts it and what was taken for its name holds a header.
class Salvage {
public:
    enum class State { kIntact, kCut, kShortened, kRebuilt, kExtended, kFoundByScan };

    struct Item {
        Orm::Lux::Trace::TDFSection section;  // as its header states
        std::uint32_t length = 0;             // recovered, header included
        State state = State::kIntact;
    };

    // Bytes that are in no section, [begin, end).
    struct Gap {
        // Whether the section before could have them (kOffered), would be too long for readers, or does not exist.
        enum class Tail { kOffered, kTooLong, kNoSection };

        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        Tail tail = Tail::kNoSection;
    };

    // Takes what is found, in the order of the file. What is passed is valid during the call.
    class Visitor {
    public:
        virtual ~Visitor() = default;
        virtual void OnSection(const Item&) {}
        virtual void OnGap(const Gap&) {}
        virtual void OnFault(const LocatedFault&) {}
    };

    struct Totals {
        std::uint64_t sections = 0;
        std::uint64_t faults = 0;
        std::uint64_t recovered = 0;    // bytes, the identifier included
        std::uint64_t unrecovered = 0;  // bytes in gaps
        std::uint64_t gaps = 0;
        std::uint64_t firstGap = 0;    // where it begins
        std::uint64_t lastGapEnd = 0;  // where the last one ends

        friend bool operator==(const Totals&, const Totals&) = default;
    };

    Salvage(const InputFile& file, bool withTail) : m_file(file), m_withTail(withTail) {}

    // Errors: Error, and those of the visitor.
    Totals Visit(Visitor& visitor);

private:
    class Pass;

    const InputFile& m_file;
    bool m_withTail;
    bool m_isScanned = false;
    std::optional<std::uint64_t> m_chain;  // where the chain to the end of the file begins, once it is scanned for
};

}  // namespace orm_trace
