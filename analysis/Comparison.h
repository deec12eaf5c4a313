// Comparing two runs of words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/Word.h"

namespace orm_trace {

// Compares words at the same index. A pair is equal if it agrees in the bits of the mask, or if both words have types that
// are ignored.
//
// Errors: std::bad_alloc, for the list of differences.
class Comparison {
public:
    struct Settings {
        std::uint64_t mask = UINT64_MAX;
        std::array<bool, kTypes> ignored{};  // by type
        std::size_t limit = 10;              // differences that are kept
    };

    struct Difference {
        std::uint64_t sample = 0;  // index
        std::uint64_t a = 0;
        std::uint64_t b = 0;
    };

    explicit Comparison(const Settings& settings) : m_settings(settings) {}

    // Compares the next words of both runs. REQUIRES: a and b have the same size.
    void Add(Words a, Words b);

    // Pairs that were compared, and those of them that differ.
    std::uint64_t Compared() const noexcept { return m_compared; }
    std::uint64_t Differing() const noexcept { return m_differing; }
    // The first difference. Without meaning while none differ.
    const Difference& First() const noexcept { return m_first; }
    // The first differences, up to the limit.
    const std::vector<Difference>& Kept() const noexcept { return m_kept; }

private:
    void AddBlock(Words a, Words b);

    Settings m_settings;
    std::uint64_t m_compared = 0;
    std::uint64_t m_differing = 0;
    Difference m_first;
    std::vector<Difference> m_kept;
};

}  // namespace orm_trace
