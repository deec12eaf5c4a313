// The types and the stamps of a block of words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "analysis/Word.h"

namespace orm_trace {

// Words that are counted at once. They stay in the processor's first cache, and 16 bits hold every count and index.
inline constexpr std::size_t kBlockWords = 4096;

class BlockCounts {
public:
    // block: at most kBlockWords words.
    explicit BlockCounts(Words block) noexcept {
        // Stamps are collected without a branch, since none could predict where they are. Neighbours count in different
        // tables: a word does not wait for the one before it, which often has its type.
        std::array<std::array<std::uint16_t, kTypes>, 4> counts{};
        std::size_t stampCount = 0;
        const auto add = [&](std::size_t n, std::size_t table) {
            const std::uint8_t type = TypeOf(block[n]);
            ++counts[table][type];
            m_stamps[stampCount] = static_cast<std::uint16_t>(n);
            stampCount += kIsStamp[type];
        };
        std::size_t n = 0;
        for (; n + 4 <= block.size(); n += 4) {
            add(n, 0);
            add(n + 1, 1);
            add(n + 2, 2);
            add(n + 3, 3);
        }
        for (; n < block.size(); ++n) add(n, 0);
        m_stampCount = stampCount;
        for (std::size_t type = 0; type < kTypes; ++type) {
            m_types[type] =
                static_cast<std::uint16_t>(counts[0][type] + counts[1][type] + counts[2][type] + counts[3][type]);
        }
    }

    // The number of words, by type.
    const std::array<std::uint16_t, kTypes>& Types() const noexcept { return m_types; }
    // The indexes of the words that are stamps, in order.
    std::span<const std::uint16_t> Stamps() const noexcept { return {m_stamps.data(), m_stampCount}; }

private:
    std::array<std::uint16_t, kTypes> m_types;
    std::array<std::uint16_t, kBlockWords + 1> m_stamps;  // has room for a word after the last stamp
    std::size_t m_stampCount;
};

}  // namespace orm_trace
