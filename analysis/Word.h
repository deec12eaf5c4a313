// What a 64-bit word of a capture holds.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace orm_trace {

using Words = std::span<const std::uint64_t>;

inline constexpr int kTypeShift = 56;
inline constexpr std::size_t kTypes = 256;
inline constexpr std::uint64_t kCountMask = (std::uint64_t{1} << kTypeShift) - 1;
inline constexpr std::uint64_t kTicksPerMicrosecond = 170;
inline constexpr std::uint64_t kTicksPerSecond = kTicksPerMicrosecond * 1000000;

// The upper 8 bits.
inline constexpr std::uint8_t TypeOf(std::uint64_t word) noexcept {
    return static_cast<std::uint8_t>(word >> kTypeShift);
}

// The types of receiver time stamps: one whose count is absolute, and those whose count is relative to a reference.
inline constexpr std::uint8_t kAbsoluteStampType = 0xB0;
inline constexpr std::array<std::uint8_t, 9> kRelativeStampTypes{0x88, 0x90, 0x98, 0xA0, 0xC0, 0xC8, 0xD8, 0xE0, 0xE8};

// For each type, whether it is that of a receiver time stamp.
inline constexpr auto kIsStamp = [] {
    std::array<bool, kTypes> table{};
    for (const std::uint8_t type : kRelativeStampTypes) table[type] = true;
    table[kAbsoluteStampType] = true;
    return table;
}();

inline constexpr bool IsStamp(std::uint64_t word) noexcept { return kIsStamp[TypeOf(word)]; }

// Returns: the ticks of a stamp: its count and, unless it is absolute, the reference, modulo 2^64.
inline constexpr std::uint64_t TicksOf(std::uint64_t word, std::uint64_t reference) noexcept {
    return (word & kCountMask) + (TypeOf(word) == kAbsoluteStampType ? 0 : reference);
}

}  // namespace orm_trace
