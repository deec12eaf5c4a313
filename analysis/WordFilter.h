// Searching for words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "analysis/Word.h"

namespace orm_trace {

// Which words are hits. Searching uses the widest vectors that the processor has.
//
// Threads: a filter does not change; any number of threads may search with one.
class WordFilter {
public:
    // A hit equals value in the bits of the mask. A mask of 0 hits every word.
    static WordFilter Masked(std::uint64_t value, std::uint64_t mask) noexcept;
    // A hit has one of the types for which the table is true.
    static WordFilter OfTypes(const std::array<bool, kTypes>& types) noexcept;

    bool IsHit(std::uint64_t word) const noexcept {
        return m_isMasked ? (word & m_mask) == m_value : m_types[TypeOf(word)];
    }

    // Returns: the index of the first hit from `from` on, words.size() if none follows.
    std::size_t Next(Words words, std::size_t from) const noexcept;
    // Stores the indexes of the hits, each with first added. Returns: the number of hits. REQUIRES: hits has room for
    // words.size() of them, also where fewer are hits.
    std::size_t Collect(Words words, std::uint64_t first, std::uint64_t* hits) const noexcept;
    // Returns: the number of hits.
    std::uint64_t Count(Words words) const noexcept;

private:
    bool m_isMasked = true;
    std::uint64_t m_value = 0;  // only bits of the mask
    std::uint64_t m_mask = 0;
    std::array<bool, kTypes> m_types{};
};

}  // namespace orm_trace
