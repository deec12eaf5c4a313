// What of a TDF file can be recovered.
#pragma once

#include <cstdint>
#include <optional>

#include "capture/InputFile.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

// Goes through a file, as often as wanted, and shows what it finds: sections, what is wrong, and what is left out. Every
// byte of the file is in one section, or is left out.
//
// Where the headers lead, the sections are those that lookups see. Behind a damage it looks for more, first for a chain
// of sections that reaches the end of the file, then before that for sections that stand for themselves. The section at
// the damage may get another length than it says:
//
//   the end of the file cuts it                     up to the end of the file
//   a section found by the scan begins within it    up to that section
//   its header has a name, but no usable length     up to the section found behind it, or the end of the file
//   bytes behind it are in no section, and are wanted with it (withTail)    the same
class Salvage {
public:
    enum class State { kIntact, kCut, kShortened, kRebuilt, kExtended, kFoundByScan };

    struct Item {
        Orm::Lux::Trace::TDFSection section;  // as its header tells
        std::uint32_t length = 0;             // that it gets, header included
        State state = State::kIntact;
    };

    // Bytes that are left out, [begin, end).
    struct Gap {
        // Whether the section before it could have them (kOffered), would be longer than readers find, or is not there.
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
        virtual void OnFault(const Fault&) {}
    };

    struct Totals {
        std::uint64_t sections = 0;
        std::uint64_t faults = 0;
        std::uint64_t recovered = 0;  // bytes, the identifier included
        std::uint64_t leftOut = 0;    // bytes
        std::uint64_t gaps = 0;
        std::uint64_t firstGap = 0;    // where it begins
        std::uint64_t lastGapEnd = 0;  // where the last one ends

        friend bool operator==(const Totals&, const Totals&) = default;
    };

    Salvage(const InputFile& file, bool withTail) : m_file(file), m_withTail(withTail) {}

    // Errors: Failure, and those of the visitor.
    Totals Visit(Visitor& visitor);

private:
    class Pass;

    const InputFile& m_file;
    bool m_withTail;
    bool m_isScanned = false;
    std::optional<std::uint64_t> m_chain;  // where the chain to the end of the file begins, once it is scanned for
};

}  // namespace orm_trace
